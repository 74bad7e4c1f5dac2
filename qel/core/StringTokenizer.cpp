#include <qel/core/StringTokenizer.h>

#include <cwctype>

#include <qel/core/TokenizerCore.h>

typedef qelTokenizerCore<qelString> Core;

static bool IsSpace(qelWChar c) {
  return iswspace(c) != 0;
}

qelStringTokenizer::qelStringTokenizer()
    : m_position(0), m_mode(qelTokenInvalid), m_lastEmpty(false) {}

qelStringTokenizer::qelStringTokenizer(const qelString& text, const qelString& delimiters,
                                       qelStringTokenizerMode mode) {
  SetString(text, delimiters, mode);
}

void qelStringTokenizer::SetString(const qelString& text, const qelString& delimiters,
                                   qelStringTokenizerMode mode) {
  if (mode == qelTokenDefault)
    mode = Core::DefaultMode(delimiters.c_str(), IsSpace);
  m_delimiters = delimiters;
  m_mode = mode;
  Reinit(text);
}

void qelStringTokenizer::Reinit(const qelString& text) {
  m_text = text;
  m_position = 0;
  m_lastEmpty = !m_text.IsEmpty();
}

bool qelStringTokenizer::HasMoreTokens() const {
  return Core::HasMore(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
}

qelString qelStringTokenizer::GetNextToken() {
  return Core::Next(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
}

// INTENDED: changes a const object, and does not put position and last token back: counting in the
// middle of a walk begins the position anew. Pinned by
// StringTokenizerCountTokens.BeginsThePositionAnew.
size_t qelStringTokenizer::CountTokens() const {
  const size_t count = Core::Count(m_text, m_delimiters, m_position, m_mode, m_lastEmpty);
  m_text.Erase(0, m_position);
  m_position = 0;
  m_lastEmpty = !m_text.IsEmpty();
  return count;
}

qelString qelStringTokenizer::GetString() const {
  return m_text.Mid(m_position);
}

uint64_t qelStringTokenizer::GetPosition() const {
  return m_position;
}

qelStringTokenizerMode qelStringTokenizer::GetMode() const {
  return m_mode;
}

bool qelStringTokenizer::IsOk() const {
  return m_mode != qelTokenInvalid;
}
