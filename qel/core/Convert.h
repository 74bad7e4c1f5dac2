#ifndef QEL_CORE_CONVERT_H
#define QEL_CORE_CONVERT_H
//===----------------------------------------------------------------------===//
// The two converters between narrow and wide text, and their constant objects.
//
// The names of the operations say from what to what:
//   MB   multi-byte narrow text                        char
//   WC   wide text                                     qelWChar
//   WX   a second wide form                            qelWChar
//   QEL  the library's own character type, qelString's qelWChar
// The three wide forms are one type, so a conversion between two of them gives
// back its argument; the names let the calling code say which form it means.
//
// OWNERSHIP: a buffer that is returned owns its block.
// ERRORS: malformed UTF-8 gives a buffer that holds null. Malformed UTF-16 is
//   passed over (see qelUTF8_Encode). Nothing is logged.
// THREADS: any; the objects have no state. qelLibCConvert reads the C library's
//   current locale.
//===----------------------------------------------------------------------===//

#include <qel/core/CharBuffer.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

// UTF-8 to and from UTF-16.
class QEL_EXPORT qelUTF8Convert {
public:
  constexpr qelUTF8Convert() noexcept {}

  // REQUIRES: text is not null.
  qelCharBuffer ToUTF8(const qelWChar* text) const;
  // A null or malformed text gives a buffer that holds null.
  qelWCharBuffer ToString(const char* text) const;

  // As ToUTF8.
  qelCharBuffer cWC2MB(const qelWChar* text) const;
  qelCharBuffer cWX2MB(const qelWChar* text) const;
  qelCharBuffer cQEL2MB(const qelWChar* text) const;

  // As ToString.
  qelWCharBuffer cMB2WC(const char* text) const;
  qelWCharBuffer cMB2WX(const char* text) const;
  qelWCharBuffer cMB2QEL(const char* text) const;
  qelWCharBuffer cWX2WC(const char* text) const;
  qelWCharBuffer cQEL2WC(const char* text) const;

  // The argument itself.
  const qelWChar* cWX2WC(const qelWChar* text) const { return text; }
  const qelWChar* cQEL2WC(const qelWChar* text) const { return text; }
  const qelWChar* cWC2WX(const qelWChar* text) const { return text; }
  const qelWChar* cWC2QEL(const qelWChar* text) const { return text; }
};

// The C library's current locale to and from UTF-16.
//
// A null text, or one that the locale can't convert, gives a buffer of two zero units, never null.
class QEL_EXPORT qelLibCConvert {
public:
  constexpr qelLibCConvert() noexcept {}

  qelWCharBuffer cMB2QEL(const char* text) const;
  qelWCharBuffer cMB2WC(const char* text) const;
  qelWCharBuffer cMB2WX(const char* text) const;

  qelCharBuffer cQEL2MB(const qelWChar* text) const;
  qelCharBuffer cWX2MB(const qelWChar* text) const;
};

extern QEL_EXPORT const qelUTF8Convert qelConvUTF8;
extern QEL_EXPORT const qelLibCConvert qelConvLibC;

#endif
