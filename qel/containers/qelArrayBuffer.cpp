#include <qel/containers/qelArrayBuffer.h>

#include <cstdlib>
#include <cstring>

#include <trio.h>

#include <qel/core/qelMem.h>

static const size_t kNumberSize = 12; // bytes of a formatted number, terminator included

qelArrayBuffer_t* qelArrayBuffer_New(size_t capacity) {
  auto* buffer = static_cast<qelArrayBuffer_t*>(qelMem_AllocZero(sizeof(qelArrayBuffer_t)));
  buffer->block = static_cast<char*>(qelMem_Alloc(capacity));
  buffer->capacity = capacity;
  return buffer;
}

void qelArrayBuffer_Delete(qelArrayBuffer_t* buffer) {
  if (buffer == nullptr)
    return;
  free(buffer->block);
  free(buffer);
}

void qelArrayBuffer_Resize(qelArrayBuffer_t* buffer, size_t capacity) {
  buffer->block = static_cast<char*>(qelMem_Realloc(buffer->block, capacity));
  buffer->capacity = capacity;
}

void qelArrayBuffer_Append(qelArrayBuffer_t* buffer, const void* data, size_t n) {
  const size_t needed = buffer->used + n;
  if (needed >= buffer->capacity)
    qelArrayBuffer_Resize(buffer, 2 * needed);
  if (n == 0)
    return;
  memcpy(buffer->block + buffer->used, data, n);
  buffer->used = needed;
}

void qelArrayBuffer_AppendString(qelArrayBuffer_t* buffer, const char* text) {
  qelArrayBuffer_Append(buffer, text, strlen(text));
}

void qelArrayBuffer_AppendDecimal(qelArrayBuffer_t* buffer, qelULong value) {
  char text[kNumberSize];
  trio_snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(value));
  qelArrayBuffer_AppendString(buffer, text);
}

void qelArrayBuffer_AppendHex(qelArrayBuffer_t* buffer, qelULong value) {
  char text[kNumberSize];
  trio_snprintf(text, sizeof text, "%08lX", static_cast<unsigned long>(value));
  qelArrayBuffer_AppendString(buffer, text);
}

char* qelArrayBuffer_Detach(qelArrayBuffer_t* buffer, int shrink, size_t* size) {
  if (shrink != 0)
    qelArrayBuffer_Resize(buffer, buffer->used);
  if (size != nullptr)
    *size = buffer->used;
  char* block = buffer->block;
  memset(buffer, 0, sizeof *buffer);
  return block;
}

int qelIsDottedNumber(const char* text) {
  int dots = 0;
  for (; *text != '\0'; ++text) {
    if (*text == '.')
      ++dots;
    else if (*text < '0' || *text > '9')
      return 0;
  }
  return dots == 3;
}
