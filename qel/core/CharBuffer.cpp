#include <qel/core/CharBuffer.h>

#include <cstdlib>
#include <utility>

#include <qel/core/qelMem.h>

// qelCharBuffer ----------------------------------------------------------------

qelCharBuffer::qelCharBuffer(const char* text, bool copy)
    : m_text(copy ? qelMem_StrDup(text) : const_cast<char*>(text)) {}

qelCharBuffer::qelCharBuffer(size_t length) : m_text(static_cast<char*>(qelMem_Alloc(length + 1))) {
  m_text[length] = '\0';
}

// INTENDED: copying empties the source, const or not, so that a buffer can be passed by value
// without a copy of its text. Pinned by CharBufferCopy.LeavesTheSourceHoldingNull.
qelCharBuffer::qelCharBuffer(const qelCharBuffer& other) : m_text(other.release()) {}

qelCharBuffer::~qelCharBuffer() {
  free(m_text);
}

qelCharBuffer& qelCharBuffer::operator=(const qelCharBuffer& other) {
  if (this == &other)
    return *this;
  free(m_text);
  m_text = other.release();
  return *this;
}

qelCharBuffer& qelCharBuffer::operator=(const char* text) {
  qelMem_SetStr(&m_text, text);
  return *this;
}

char* qelCharBuffer::release() const {
  return std::exchange(m_text, nullptr);
}

// qelWCharBuffer ---------------------------------------------------------------

qelWCharBuffer::qelWCharBuffer(const qelWChar* text, bool copy)
    : m_text(copy ? qelMem_WStrDup(text) : const_cast<qelWChar*>(text)) {}

qelWCharBuffer::qelWCharBuffer(size_t length)
    : m_text(static_cast<qelWChar*>(qelMem_Alloc((length + 1) * sizeof(qelWChar)))) {
  m_text[length] = 0;
}

qelWCharBuffer::qelWCharBuffer(const qelWCharBuffer& other) : m_text(other.release()) {}

qelWCharBuffer::~qelWCharBuffer() {
  free(m_text);
}

// INTENDED: no test for self-assignment, so a wide buffer that is assigned to itself ends with
// null, while a narrow one keeps its text. Pinned by
// WCharBufferAssign.LosesItsTextWhenAssignedToItself.
qelWCharBuffer& qelWCharBuffer::operator=(const qelWCharBuffer& other) {
  free(m_text);
  m_text = nullptr;
  m_text = other.release();
  return *this;
}

qelWCharBuffer& qelWCharBuffer::operator=(const qelWChar* text) {
  qelWChar* old = m_text;
  m_text = qelMem_WStrDup(text); // the text may be the buffer's own
  free(old);
  return *this;
}

qelWChar* qelWCharBuffer::release() const {
  return std::exchange(m_text, nullptr);
}
