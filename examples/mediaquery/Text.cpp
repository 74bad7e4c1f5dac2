#include "Text.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace mediaquery {

static bool IsContinuation(uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

// Sequences of two to four bytes: no overlong forms, no surrogates, nothing above U+10FFFF.
size_t GetCharacterLength(const char* text, size_t n) {
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(text);
  if (n == 0)
    return 0;
  const uint8_t lead = bytes[0];
  if (lead < 0x80)
    return 1;
  const size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (length == 0 || length > n)
    return 0;
  for (size_t i = 1; i < length; ++i)
    if (!IsContinuation(bytes[i]))
      return 0;
  const uint8_t second = bytes[1];
  const bool outOfRange = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                          (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return outOfRange ? 0 : length;
}

qelCString ToValidUTF8(const qelCString& text) {
  std::string result;
  const char* bytes = text.c_str();
  for (size_t i = 0; i < text.length();) {
    const size_t length = GetCharacterLength(bytes + i, text.length() - i);
    if (length == 0)
      result += "\xEF\xBF\xBD";
    else
      result.append(bytes + i, length);
    i += length == 0 ? 1 : length;
  }
  return qelCString(result.c_str(), result.size());
}

// What a path may hold as it stands.
static bool IsPlainInURI(char c) {
  const bool alphanumeric =
      (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  return alphanumeric || (c != '\0' && std::strchr("-._~/:@!$&'()*+,;=", c) != nullptr);
}

qelCString MakeFileURI(const qelCString& path) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string result = "file://";
  const char* start = path.c_str();
  if (std::strncmp(start, "\\\\", 2) == 0)
    start += 2; // a server's name follows
  else if (*start != '/')
    result += '/'; // ahead of a drive's letter
  for (const char* c = start; *c != '\0'; ++c) {
    if (IsPlainInURI(*c)) {
      result += *c;
      continue;
    }
    const uint8_t byte = static_cast<uint8_t>(*c);
    result += '%';
    result += kDigits[byte >> 4];
    result += kDigits[byte & 15];
  }
  return qelCString(result.c_str(), result.size());
}

} // namespace mediaquery
