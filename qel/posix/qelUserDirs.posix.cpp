#include <qel/posix/qelUserDirs.h>

#include <qel/core/qelMem.h>

#include <cstdlib>
#include <cstring>

static const char* SkipBlanks(const char* p) {
  while (*p == ' ' || *p == '\t')
    ++p;
  return p;
}

// What follows `key="` at the start of a line, or null if the line is another one.
static const char* ValueOfLine(const char* line, const char* key) {
  const size_t length = strlen(key);
  const char* p = SkipBlanks(line);
  if (strncmp(p, key, length) != 0)
    return nullptr;
  p = SkipBlanks(p + length);
  if (*p != '=')
    return nullptr;
  p = SkipBlanks(p + 1);
  return *p == '"' ? p + 1 : nullptr;
}

// A new text of what stands ahead of the closing quote, or null if the line ends first.
static char* Unquoted(const char* value) {
  const size_t most = strcspn(value, "\n");
  char* text = static_cast<char*>(qelMem_Alloc(most + 1));
  size_t length = 0;
  const char* end = value + most;
  for (const char* p = value; p < end; ++p) {
    if (*p == '"') {
      text[length] = '\0';
      return text;
    }
    if (*p == '\\' && ++p == end)
      break;
    text[length++] = *p;
  }
  free(text);
  return nullptr;
}

// Cuts "/" at the end. The root, also as an empty home, comes out as "/".
static char* StripTrailingSlashes(char* path) {
  size_t length = strlen(path);
  while (length > 1 && path[length - 1] == '/')
    path[--length] = '\0';
  if (length != 0)
    return path;
  free(path);
  return qelMem_StrDup("/");
}

// The folder of a value, or null.
static char* FolderOfValue(const char* value, const char* home) {
  static const char variable[] = "$HOME";
  const size_t length = sizeof variable - 1;
  const bool isBelowHome =
      strncmp(value, variable, length) == 0 && (value[length] == '/' || value[length] == '"');
  if (!isBelowHome && value[0] != '/')
    return nullptr;
  char* folder = Unquoted(isBelowHome ? value + length : value);
  if (folder == nullptr)
    return nullptr;
  if (isBelowHome) {
    char* joined = qelMem_Concat(home, folder);
    free(folder);
    folder = joined;
  }
  return StripTrailingSlashes(folder);
}

char* qelUserDirs_Find(const char* text, const char* key, const char* home) {
  char* found = nullptr;
  for (const char* line = text; line != nullptr;) {
    const char* value = ValueOfLine(line, key);
    char* folder = value != nullptr ? FolderOfValue(value, home) : nullptr;
    if (folder != nullptr) {
      free(found);
      found = folder;
    }
    line = strchr(line, '\n');
    line = line != nullptr ? line + 1 : nullptr;
  }
  return found;
}
