#ifndef QEL_CORE_ERROR_H
#define QEL_CORE_ERROR_H
//===----------------------------------------------------------------------===//
// qelError: a code, a message and the chain of errors that led to it, for
// functions whose failure needs more than a bool. Code 0 means no error.
//
//   (error: 5 'cannot load') (error: 2 'no such file')
//    the error itself         its cause
//
// All of it stands in qelErrorInfo, which is also a link of the chain; its second
// name is qelError::qelErrorInfo.
//
// OWNERSHIP: an error owns its causes. A copy has a chain of its own.
// ERRORS: none.
// THREADS: a plain value, with the rules of qelCString for its message.
//===----------------------------------------------------------------------===//

#include <type_traits>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelErrorInfo {
public:
  // No context, no cause.
  qelErrorInfo(qelLong code, const qelCString& message);
  // Copies the chain as well.
  qelErrorInfo(const qelErrorInfo& other);
  // Releases the chain.
  ~qelErrorInfo();

  // Copies code, message and context, and a copy of the other's chain takes the place of the own
  // one, which is NOT released. An other without a cause leaves the own chain as it is.
  qelErrorInfo& operator=(const qelErrorInfo& other);

  bool operator==(qelLong code) const { return m_code == code; }
  bool operator!=(qelLong code) const { return m_code != code; }

  qelLong GetErrorCode() const { return m_code; }
  qelCString GetErrorStr() const { return m_message; }

  // " (error: CODE [CONTEXT] 'MESSAGE')", without what is empty, and the same of each cause, newest
  // first. The leading blank lets it stand behind a sentence. Empty for code 0, which also ends a
  // chain.
  qelCString ToString() const;
  // "CODE" or "CODE: MESSAGE", empty for code 0. Without the causes.
  qelCString ToShortString() const;

  // Becomes the error (code, message), without context, whose cause is what this error was.
  void ConvertTo(qelLong code, const qelCString& message);

protected:
  qelLong m_code;        // 0 for no error
  qelCString m_message;  // empty for none
  const char* m_context; // a static text; null or empty for none
  qelErrorInfo* m_cause; // what this error replaced; owned; null for none
};

class QEL_EXPORT qelError : public qelErrorInfo {
public:
  // No error.
  qelError();
  qelError(qelLong code, const qelCString& message);
  qelError(const qelError& other);
  ~qelError();

  // As in the base: the own chain goes on only if the other has none, and is never released.
  qelError& operator=(const qelError& other);
  // Sets the code and empties the message; the chain stays.
  qelError& operator=(int code);
  // The same for the other integer types, as 32 bits.
  template <class Integer, class = typename std::enable_if<std::is_integral<Integer>::value>::type>
  qelError& operator=(Integer code) {
    return *this = static_cast<int>(code);
  }
  // Sets the message; the code stays.
  qelError& operator=(const char* message);

  qelCString ToString() const;
  qelCString ToShortString() const;
};

#endif
