#define QEL_LOG_MODULE 57
#define QEL_LOG_FILE qelPath_LogFile

#include <qel/multiplatform/qelPath.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelPathBackend.h>

#include <cstdlib>
#include <cstring>

static bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

static char ToLowerASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Special folders --------------------------------------------------------------

struct SpecialFolder {
  const char* name;
  int folder;
};

// The order decides which name a shortened one means: "<My>" is the first row.
static const SpecialFolder kSpecialFolders[] = {
    {"MyAppData", qelPathFolderAppData},
    {"MyMusic", qelPathFolderMusic},
    {"MyPictures", qelPathFolderPictures},
    {"MyVideos", qelPathFolderVideos},
    {"AllUsersMusic", qelPathFolderAllUsersMusic},
    {"AllUsersPictures", qelPathFolderAllUsersPictures},
    {"AllUsersVideos", qelPathFolderAllUsersVideos},
};

// The folder of name[0..length-1], or null.
//
// INTENDED: only as many characters are compared as were given, so a shortened name means the first
// row that begins with it. Texts with short names are in use.
// Pinned by QelPathExpandSpecialFolders.TakesTheFirstRowThatAShortNameBegins.
static char* FolderByName(const char* name, size_t length) {
  for (const SpecialFolder& row : kSpecialFolders)
    if (strncmp(row.name, name, length) == 0)
      return qelPath_GetSpecialFolder(row.folder);
  return nullptr;
}

// The folder that the name at `open`, a "<", stands for, or null; *rest gets what follows its ">".
static char* FolderAt(const char* open, const char** rest) {
  const char* name = open + 1;
  const char* close = strchr(name, '>');
  if (close == nullptr || close == name)
    return nullptr;
  *rest = close + 1;
  return FolderByName(name, static_cast<size_t>(close - name));
}

// Normalisation ----------------------------------------------------------------

// The text that is joined to an anchor: without a leading "./" or ".\", and "." alone is nothing.
static const char* WithoutLeadingDot(const char* text) {
  if (text[0] != '.')
    return text;
  if (IsSeparator(text[1]))
    return text + 2;
  return text[1] == '\0' ? text + 1 : text;
}

// Takes text over and returns it joined to its anchor, or null if there is none. An absolute text
// comes back as it is.
static char* Anchored(char* text, const char* anchor) {
  if (qelPath_IsAbsolute(text))
    return text;
  char* own = anchor == nullptr ? qelPath_GetApplicationDirectory() : nullptr;
  const char* base = anchor != nullptr ? anchor : own;
  char* joined = base != nullptr ? qelMem_Concat(base, WithoutLeadingDot(text)) : nullptr;
  free(own);
  free(text);
  return joined;
}

// Cuts separators at the end, but neither the only character nor that of "C:/".
static void StripTrailing(char* text) {
  size_t length = strlen(text);
  while (length > 1 && IsSeparator(text[length - 1]) && !(length == 3 && text[1] == ':'))
    text[--length] = '\0';
}

char* qelPath_Normalize(const char* text, int stripTrailing, int flags, const char* anchor) {
  char* expanded = qelPath_ExpandSpecialFolders(text);
  if (expanded == nullptr)
    return nullptr;
  char* path = Anchored(expanded, anchor);
  if (path == nullptr) {
    QEL_LOG(1,
            "qelPath: Cannot get an anchor path (or none specified) to build an absolute path for "
            "'%s'\n",
            text);
    return nullptr;
  }
  path = qelPath_ApplyForm(path, flags);
  if (stripTrailing != 0)
    StripTrailing(path);
  return path;
}

char* qelPath_ExpandSpecialFolders(const char* text) {
  char* work = qelMem_StrDup(text);
  char* open = work != nullptr ? strchr(work, '<') : nullptr;
  while (open != nullptr) {
    const char* rest = nullptr;
    char* folder = FolderAt(open, &rest);
    if (folder == nullptr) {
      free(work);
      return nullptr;
    }
    const size_t head = static_cast<size_t>(open - work);
    const size_t done = head + strlen(folder);
    work = qelPath_ReplaceRange(work, head, folder, rest);
    free(folder);
    // Behind the folder, whose own name may hold a "<" on some systems.
    open = strchr(work + done, '<');
  }
  return work;
}

// The program -------------------------------------------------------------------

char* qelPath_GetApplicationDirectory() {
  char* name = qelPath_GetApplicationFileName();
  char* last = name != nullptr ? strrchr(name, '/') : nullptr;
  if (last == nullptr) {
    free(name);
    return nullptr;
  }
  last[1] = '\0';
  return name;
}

// Whether text ends in ".exe", in any case.
static bool EndsInExe(const char* text, size_t length) {
  static const char ending[] = ".exe";
  if (length <= 3)
    return false;
  for (size_t i = 0; i < 4; ++i)
    if (ToLowerASCII(text[length - 4 + i]) != ending[i])
      return false;
  return true;
}

char* qelPath_GetApplicationName(int cutExtension) {
  char* fullName = qelPath_GetApplicationFileName();
  if (fullName == nullptr)
    return nullptr;
  const char* last = strrchr(fullName, '/');
  char* name = qelMem_StrDup(last != nullptr ? last + 1 : fullName);
  free(fullName);
  const size_t length = strlen(name);
  if (cutExtension != 0 && EndsInExe(name, length))
    name[length - 4] = '\0';
  return name;
}

// Text --------------------------------------------------------------------------

char* qelPath_GetCurrentDirectoryText() {
  return qelMem_StrDup("./");
}

char* qelPath_ReplaceRange(char* prefix, size_t prefixLength, const char* middle,
                           const char* suffix) {
  const size_t middleLength = strlen(middle);
  const size_t suffixLength = strlen(suffix);
  char* text = static_cast<char*>(qelMem_Alloc(prefixLength + middleLength + suffixLength + 1));
  memcpy(text, prefix, prefixLength);
  memcpy(text + prefixLength, middle, middleLength);
  memcpy(text + prefixLength + middleLength, suffix, suffixLength + 1);
  free(prefix);
  return text;
}
