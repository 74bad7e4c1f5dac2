// The wildcard matcher: the first byte is the separator, the second the length of the pattern, and
// what follows the pattern is the text.

#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/core/qelMatch.h>

typedef const unsigned char* Bytes;

// Matches one byte with the class at *pattern and steps behind it. False too if it is not closed.
static bool ReferenceClass(unsigned char byte, Bytes* pattern) {
  Bytes at = *pattern + 1;
  const bool negated = *at == '^';
  at += negated ? 1 : 0;
  bool members[256] = {};
  Bytes first = at;
  while (*at != 0 && (*at != ']' || at == first)) {
    if (at != first && *at == '-' && at[1] != ']' && at[1] != 0) {
      for (int c = at[-1]; c <= at[1]; ++c)
        members[c] = true;
      at += 2;
    } else {
      members[*at++] = true;
    }
  }
  if (*at == 0)
    return false;
  *pattern = at + 1;
  return members[byte] != negated;
}

// The plain search: a call for each "*", at each place of the text.
static int Reference(Bytes text, Bytes pattern, unsigned char separator) {
  while (*pattern != 0) {
    if (*pattern == '*') {
      while (*pattern == '*')
        ++pattern;
      if (*pattern == 0)
        return 1;
      int result = 0;
      for (; result == 0 && *text != 0; ++text)
        result = Reference(text, pattern, separator);
      return result != 0 ? result : -1;
    }
    if (*text == 0 || *text == separator)
      return -1;
    if (*pattern == '[') {
      if (!ReferenceClass(*text, &pattern))
        return 0;
    } else if (*pattern == '?') {
      ++pattern;
    } else {
      if (*pattern == '\\')
        ++pattern;
      if (*pattern++ != *text)
        return 0;
    }
    ++text;
  }
  return *text == 0 || *text == separator ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const char separator = static_cast<char>(input.TakeByte());
  const std::vector<char> pattern = input.TakeText(input.TakeByte());
  const std::vector<char> text = input.TakeText(4096);

  const int core = qelMatch_Core(text.data(), pattern.data(), 0, separator);
  FUZZ_CHECK(core == Reference(reinterpret_cast<Bytes>(text.data()),
                               reinterpret_cast<Bytes>(pattern.data()),
                               static_cast<unsigned char>(separator)));
  FUZZ_CHECK(core == qelMatch_Core(text.data(), pattern.data(), 1, separator));

  const int match = qelMatch_Wildcard(pattern.data(), text.data(), 0, separator);
  const char first = pattern[0];
  const bool looks = first == '*' || first == '?' || first == text[0];
  FUZZ_CHECK(match == (looks && core == 1 ? 1 : 0));
  FUZZ_CHECK(qelMatch_WildcardSimple(pattern.data(), text.data()) ==
             qelMatch_Wildcard(pattern.data(), text.data(), 1, '\0'));
  return 0;
}
