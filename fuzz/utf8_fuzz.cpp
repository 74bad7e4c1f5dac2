// Conversion between UTF-8 and UTF-16: the first byte is a size, the rest is a text, which is read
// once as bytes and once as units.

#include <cstring>
#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/core/Convert.h>
#include <qel/core/qelUTF8.h>

static bool IsSurrogate(qelWChar unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

// Decodes by the definition of UTF-8, in a way of its own: every form is tested by encoding its
// value again. Encoded surrogates are let through. False for malformed text.
static bool ReferenceDecode(const std::vector<char>& text, std::vector<qelWChar>* units) {
  const unsigned char* at = reinterpret_cast<const unsigned char*>(text.data());
  while (*at != 0) {
    uint32_t c = *at++;
    int more = c < 0x80 ? 0 : c >= 0xC2 && c <= 0xDF ? 1 : c >= 0xE0 && c <= 0xEF ? 2 : 3;
    if (more == 3 && (c < 0xF0 || c > 0xF4))
      return false;
    static const uint32_t kMask[] = {0x7F, 0x1F, 0x0F, 0x07};
    static const uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    c &= kMask[more];
    for (int i = 0; i < more; ++i, ++at) {
      if (*at < 0x80 || *at > 0xBF)
        return false;
      c = c * 64 + (*at - 0x80u);
    }
    if (c < kSmallest[more] || c > 0x10FFFF)
      return false;
    if (c > 0xFFFF) {
      units->push_back(static_cast<qelWChar>(0xD800 + (c - 0x10000) / 0x400));
      units->push_back(static_cast<qelWChar>(0xDC00 + (c - 0x10000) % 0x400));
    } else {
      units->push_back(static_cast<qelWChar>(c));
    }
  }
  return true;
}

static void CheckNarrow(const std::vector<char>& text, size_t size) {
  std::vector<qelWChar> expected;
  const bool valid = ReferenceDecode(text, &expected);
  const int64_t count = qelUTF8_Decode(nullptr, text.data(), 0);
  FUZZ_CHECK(count == (valid ? static_cast<int64_t>(expected.size()) : -1));

  std::vector<qelWChar> units(size);
  const int64_t written = qelUTF8_Decode(units.data(), text.data(), size);
  if (size == 0 && units.data() == nullptr)
    return; // that was a count
  FUZZ_CHECK(written >= -1 && written <= static_cast<int64_t>(size) + 1);

  const qelWCharBuffer wide = qelConvUTF8.ToString(text.data());
  FUZZ_CHECK((wide.data() != nullptr) == valid);
  if (!valid)
    return;
  FUZZ_CHECK(wide[expected.size()] == 0);
  for (size_t i = 0; i < expected.size(); ++i) {
    FUZZ_CHECK(wide[i] == expected[i]);
    if (i < size)
      FUZZ_CHECK(units[i] == expected[i]);
  }
  bool hasSurrogates = false; // encoded ones come back joined or repeated
  for (const char* at = strchr(text.data(), '\xED'); at != nullptr; at = strchr(at + 1, '\xED'))
    hasSurrogates = hasSurrogates || static_cast<unsigned char>(at[1]) >= 0xA0;
  if (!hasSurrogates) {
    const qelCharBuffer back = qelConvUTF8.ToUTF8(wide);
    FUZZ_CHECK(strcmp(back, text.data()) == 0);
  }
}

static void CheckWide(const std::vector<qelWChar>& text, size_t size) {
  // What begins no pair writes the character before it again; two low surrogates are told apart.
  bool begins = true;
  bool beyondUnicode = false;
  size_t length = 0;
  size_t last = 1;
  for (size_t i = 0; text[i] != 0; ++i) {
    const qelWChar unit = text[i];
    if (!IsSurrogate(unit)) {
      last = unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
      begins = false;
    } else if (text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      beyondUnicode = beyondUnicode || unit >= 0xDC00;
      last = unit >= 0xDFC0 ? 5 : 4;
      begins = false;
      ++i;
    } else if (begins) {
      last = 1;
    }
    length += last;
  }
  FUZZ_CHECK(qelUTF8_Encode(nullptr, text.data(), 0) == length + (text[0] != 0 ? 1 : 0));

  std::vector<char> bytes(size + 1, 'x');
  const size_t written = qelUTF8_Encode(bytes.data(), text.data(), size);
  FUZZ_CHECK(bytes[size] == 'x');
  FUZZ_CHECK(written <= size + 4);
  if (written < size)
    FUZZ_CHECK(bytes[written] == '\0' && written == length);

  char* whole = qelUTF8_FromWide(text.data());
  FUZZ_CHECK(strlen(whole) <= length && whole[length] == '\0');
  const qelWCharBuffer back = qelConvUTF8.ToString(whole);
  FUZZ_CHECK((back.data() != nullptr) == !beyondUnicode || strlen(whole) < length);
  free(whole);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const size_t limit = input.TakeByte();
  const std::vector<char> text = input.TakeText();
  CheckNarrow(text, limit);
  std::vector<qelWChar> units((text.size() - 1) / 2 + 1);
  memcpy(units.data(), text.data(), (units.size() - 1) * sizeof(qelWChar));
  CheckWide(units, limit);
  return 0;
}
