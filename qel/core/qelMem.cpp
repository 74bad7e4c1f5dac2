#include <qel/core/qelMem.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <qel/core/qelFatalError.h>

// The size as the fatal path prints it. It is passed twice, once for the console and once for the
// log line, which reads the following argument.
static void Exhausted(const char* reason, size_t size) {
  const uint32_t shown = static_cast<uint32_t>(size);
  qelFatalError(reason, shown, shown);
}

static size_t WideLength(const qelWChar* text) {
  size_t length = 0;
  while (text[length] != 0)
    ++length;
  return length;
}

// Hands the new text to the slot, and only then frees the old one: the new one may have been
// copied out of it.
static char* ReplaceText(char** slot, char* text) {
  char* old = *slot;
  *slot = text;
  free(old);
  return text;
}

void* qelMem_Alloc(size_t size) {
  void* block = malloc(size != 0 ? size : 1); // malloc(0) may give null without being exhausted
  if (block == nullptr)
    Exhausted("memory:malloc", size);
  return block;
}

void* qelMem_AllocZero(size_t size) {
  return memset(qelMem_Alloc(size), 0, size);
}

void* qelMem_Realloc(void* block, size_t size) {
  if (block == nullptr && size == 0)
    return nullptr;
  if (size == 0) { // realloc(block, 0) differs between systems
    free(block);
    return nullptr;
  }
  void* moved = realloc(block, size);
  if (moved == nullptr)
    Exhausted("memory:realloc", size);
  return moved;
}

char* qelMem_StrDup(const char* text) {
  if (text == nullptr)
    return nullptr;
  const size_t length = strlen(text);
  char* copy = static_cast<char*>(malloc(length + 1));
  if (copy == nullptr)
    Exhausted("memory:strdup", length);
  return static_cast<char*>(memcpy(copy, text, length + 1));
}

char* qelMem_StrDupUpper(const char* text) {
  char* copy = qelMem_StrDup(text);
  if (copy == nullptr)
    return nullptr;
  for (char* at = copy; *at != '\0'; ++at)
    *at = static_cast<char>(toupper(static_cast<unsigned char>(*at)));
  return copy;
}

char* qelMem_StrNDup(const char* text, size_t n) {
  if (text == nullptr)
    return nullptr;
  char* copy = static_cast<char*>(qelMem_Alloc(n + 1));
  memcpy(copy, text, n);
  copy[n] = '\0';
  return copy;
}

qelWChar* qelMem_WStrDup(const qelWChar* text) {
  return text != nullptr ? qelMem_WStrNDup(text, WideLength(text)) : nullptr;
}

qelWChar* qelMem_WStrNDup(const qelWChar* text, size_t n) {
  if (text == nullptr)
    return nullptr;
  qelWChar* copy = static_cast<qelWChar*>(qelMem_Alloc(n * sizeof(qelWChar) + sizeof(qelWChar)));
  memcpy(copy, text, n * sizeof(qelWChar));
  copy[n] = 0;
  return copy;
}

char* qelMem_SetStr(char** slot, const char* text) {
  return ReplaceText(slot, qelMem_StrDup(text));
}

char* qelMem_SetStrN(char** slot, const char* text, size_t n) {
  return ReplaceText(slot, qelMem_StrNDup(text, n));
}

char* qelMem_AppendStr(char** slot, const char* text) {
  if (*slot == nullptr)
    return *slot = qelMem_StrDup(text);
  return ReplaceText(slot, qelMem_Concat(*slot, text != nullptr ? text : ""));
}

char* qelMem_Concat(const char* a, const char* b) {
  const size_t lengthA = strlen(a);
  const size_t lengthB = strlen(b);
  char* joined = static_cast<char*>(qelMem_Alloc(lengthA + lengthB + 1));
  memcpy(joined, a, lengthA);
  memcpy(joined + lengthA, b, lengthB + 1);
  return joined;
}
