#include <qel/containers/GrowingBuffer.h>

#include <cstdlib>

#include <qel/core/qelMem.h>

static const size_t kDefaultCapacity = 128;

qelGrowingBuffer::qelGrowingBuffer() : qelGrowingBuffer(kDefaultCapacity) {}

qelGrowingBuffer::qelGrowingBuffer(size_t n) : m_bytes() {
  if (n != 0)
    Realloc(n);
}

qelGrowingBuffer::~qelGrowingBuffer() {
  free(m_bytes.block);
}

void qelGrowingBuffer::Append(const char* p, size_t n) {
  qelArrayBuffer_Append(&m_bytes, p, n);
}

qelGrowingBuffer& qelGrowingBuffer::operator+=(const char* text) {
  qelArrayBuffer_AppendString(&m_bytes, text);
  return *this;
}

qelGrowingBuffer& qelGrowingBuffer::operator+=(qelULong value) {
  qelArrayBuffer_AppendDecimal(&m_bytes, value);
  return *this;
}

void qelGrowingBuffer::SetPosition(size_t n) {
  if (n > m_bytes.capacity)
    Realloc(n);
  m_bytes.used = n;
}

void qelGrowingBuffer::Reduce(size_t n) {
  Realloc(n);
  m_bytes.used = n;
}

char* qelGrowingBuffer::TakeOwnership(bool shrink, size_t* size) {
  return qelArrayBuffer_Detach(&m_bytes, shrink, size);
}

void qelGrowingBuffer::Realloc(size_t n) {
  qelArrayBuffer_Resize(&m_bytes, n);
}
