#ifndef QEL_SERIALIZE_OBFUSCATE_H
#define QEL_SERIALIZE_OBFUSCATE_H
//===----------------------------------------------------------------------===//
// Makes a text unreadable at a glance: RC4, then base64.
//
// This is an obfuscation and nothing more. It does not protect a secret; see
// qelRC4.h. The key is always the caller's.
//
// ERRORS: none is reported. Exhausted memory is fatal.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/Export.h>

class QEL_EXPORT qelObfuscate {
public:
  // The text up to its first zero byte, encrypted and encoded. The first zero byte of the encrypted
  // text ends it, and the rest is lost without notice: who needs the whole text checks that
  // From_B64RC4 gives it back. An empty or null key gives the empty text.
  static qelCString To_B64RC4(const qelCString& text, const char* key);

  // What To_B64RC4 kept of the text. A text that is not base64 gives the empty one, as does an empty
  // or null key; a wrong key gives nonsense.
  static qelCString From_B64RC4(const qelCString& text, const char* key);
};

#endif
