#include <qel/core/CStringTokenizer.h>

#include <qel/core/TokenizerCore.h>
#include <qel/core/qelChar.h>

typedef qelTokenizerCore<qelCString> Core;

static bool IsSpace(char c) {
  return qelChar_IsSpace(c) != 0;
}

qelCStringTokenizer::qelCStringTokenizer()
    : m_position(0), m_mode(qelTokenInvalid), m_lastEmpty(false) {}

qelCStringTokenizer::qelCStringTokenizer(const qelCString& text, const qelCString& delimiters,
                                         qelCStringTokenizerMode mode) {
  SetString(text, delimiters, mode);
}

void qelCStringTokenizer::SetString(const qelCString& text, const qelCString& delimiters,
                                    qelCStringTokenizerMode mode) {
  if (mode == qelTokenDefault)
    mode = Core::DefaultMode(delimiters.c_str(), IsSpace);
  m_delimiters = delimiters;
  m_mode = mode;
  Reinit(text);
}

void qelCStringTokenizer::Reinit(const qelCString& text) {
  m_text = text;
  m_position = 0;
  m_lastEmpty = !m_text.IsEmpty();
}

bool qelCStringTokenizer::HasMoreTokens() const {
  return Core::HasMore(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
}

qelCString qelCStringTokenizer::GetNextToken() {
  return Core::Next(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
}

// INTENDED: changes a const object, and does not put position and last token back: counting in the
// middle of a walk begins the position anew. Pinned by
// CStringTokenizerCountTokens.BeginsThePositionAnew.
size_t qelCStringTokenizer::CountTokens() const {
  const size_t count = Core::Count(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
  m_text.Erase(0, m_position);
  m_position = 0;
  m_lastEmpty = !m_text.IsEmpty();
  return count;
}

qelCString qelCStringTokenizer::GetString() const {
  return m_text.Mid(m_position);
}

uint64_t qelCStringTokenizer::GetPosition() const {
  return m_position;
}

qelCStringTokenizerMode qelCStringTokenizer::GetMode() const {
  return m_mode;
}

bool qelCStringTokenizer::IsOk() const {
  return m_mode != qelTokenInvalid;
}
