#ifndef EXAMPLES_MEDIAQUERY_TEXT_H
#define EXAMPLES_MEDIAQUERY_TEXT_H
//===----------------------------------------------------------------------===//
// Text for output. A file's name may be any bytes; what is printed is UTF-8.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>

namespace mediaquery {

// The length of the valid UTF-8 character at text[0..n-1], 0 if there is none.
size_t GetCharacterLength(const char* text, size_t n);

// A copy with U+FFFD in place of each byte that is not part of valid UTF-8.
qelCString ToValidUTF8(const qelCString& text);

// The absolute path as a file URI. Bytes that may not stand in one are written as "%" and two digits,
// so the path can be had back exactly, whatever its bytes.
qelCString MakeFileURI(const qelCString& path);

} // namespace mediaquery

#endif
