#include <qel/posix/qelArguments.h>

#include <cstring>

#include <qel/core/qelMem.h>

static bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// Takes the backslashes at *at and a quote behind them, and writes what they stand for. True if the
// quote opens or closes; false leaves *at at the next ordinary byte.
static bool TakeBackslashes(const char** at, char** to) {
  size_t count = 0;
  for (; **at == '\\'; ++*at)
    ++count;
  const bool isQuote = **at == '"';
  const size_t written = isQuote ? count / 2 : count;
  memset(*to, '\\', written);
  *to += written;
  if (!isQuote)
    return false;
  ++*at;
  if (count % 2 == 0)
    return true;
  *(*to)++ = '"';
  return false;
}

// Takes one argument off *at and writes it, terminated. Returns the byte behind the terminator.
static char* TakeArgument(const char** at, char* to) {
  bool isQuoted = false;
  while (**at != '\0' && (isQuoted || !IsBlank(**at))) {
    if (**at != '\\' && **at != '"') {
      *to++ = *(*at)++;
      continue;
    }
    if (!TakeBackslashes(at, &to))
      continue;
    if (isQuoted && **at == '"')
      *to++ = *(*at)++;
    else
      isQuoted = !isQuoted;
  }
  *to++ = '\0';
  return to;
}

char** qelArguments_Split(const char* text, size_t reserved, size_t* count) {
  // Every argument but the last has a blank behind it, and none gets longer than it was.
  const size_t length = strlen(text);
  const size_t most = reserved + length / 2 + 2;
  char** arguments = static_cast<char**>(qelMem_AllocZero(most * sizeof(char*) + length + 1));
  char* to = reinterpret_cast<char*>(arguments + most);
  size_t found = 0;
  for (const char* at = text;;) {
    while (IsBlank(*at))
      ++at;
    if (*at == '\0')
      break;
    arguments[reserved + found++] = to;
    to = TakeArgument(&at, to);
  }
  if (count != nullptr)
    *count = found;
  return arguments;
}
