#include <qel/core/Error.h>

static qelErrorInfo* CopyOf(const qelErrorInfo* cause) {
  return cause != nullptr ? new qelErrorInfo(*cause) : nullptr;
}

static qelCString NumberText(qelLong code) {
  return qelCString::Format("%ld", static_cast<long>(code));
}

qelErrorInfo::qelErrorInfo(qelLong code, const qelCString& message)
    : m_code(code), m_message(message), m_context(""), m_cause(nullptr) {}

qelErrorInfo::qelErrorInfo(const qelErrorInfo& other)
    : m_code(other.m_code), m_message(other.m_message), m_context(other.m_context),
      m_cause(CopyOf(other.m_cause)) {}

qelErrorInfo::~qelErrorInfo() {
  delete m_cause;
}

// INTENDED: keeps the own chain if the other has none, and loses it unreleased if it has one.
// Assigning a plain error never forgets where the first one came from. Pinned by
// ErrorAssignment.KeepsTheOwnCauseIfTheOtherHasNone.
qelErrorInfo& qelErrorInfo::operator=(const qelErrorInfo& other) {
  m_code = other.m_code;
  m_message = other.m_message;
  m_context = other.m_context;
  if (other.m_cause != nullptr)
    m_cause = CopyOf(other.m_cause);
  return *this;
}

// Put together by hand, since a formatted text is cut where it is long.
qelCString qelErrorInfo::ToString() const {
  if (m_code == 0)
    return qelCString();
  qelCString text = " (error: " + NumberText(m_code);
  if (m_context != nullptr && *m_context != '\0') {
    text += " [";
    text += m_context;
    text += ']';
  }
  if (!m_message.IsEmpty()) {
    text += " '";
    text += m_message.c_str();
    text += '\'';
  }
  text += ')';
  if (m_cause != nullptr)
    text += m_cause->ToString();
  return text;
}

qelCString qelErrorInfo::ToShortString() const {
  if (m_code == 0)
    return qelCString();
  qelCString text = NumberText(m_code);
  if (!m_message.IsEmpty()) {
    text += ": ";
    text += m_message.c_str();
  }
  return text;
}

void qelErrorInfo::ConvertTo(qelLong code, const qelCString& message) {
  qelErrorInfo* copy = new qelErrorInfo(*this);
  delete m_cause;
  m_cause = nullptr;
  *this = qelErrorInfo(code, message);
  m_cause = copy;
}

qelError::qelError() : qelErrorInfo(0, qelCString()) {}

qelError::qelError(qelLong code, const qelCString& message) : qelErrorInfo(code, message) {}

qelError::qelError(const qelError& other) : qelErrorInfo(other) {}

qelError::~qelError() {}

qelError& qelError::operator=(const qelError& other) {
  qelErrorInfo::operator=(other);
  return *this;
}

qelError& qelError::operator=(int code) {
  m_code = code;
  m_message.Empty();
  return *this;
}

qelError& qelError::operator=(const char* message) {
  m_message = message;
  return *this;
}

qelCString qelError::ToString() const {
  return qelErrorInfo::ToString();
}

qelCString qelError::ToShortString() const {
  return qelErrorInfo::ToShortString();
}
