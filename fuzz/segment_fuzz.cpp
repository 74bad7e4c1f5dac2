// Splitting, trimming and quoting: the first byte is the escape, the second chooses the needle's
// length and the offsets; then come the needle and the text.

#include <cstring>
#include <string>
#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelSegment.h>

typedef std::vector<std::string> Texts;

// The segments' texts; checks that they lie in the text, and frees the list.
static Texts Taken(qelSegmentList* list, const char* begin, const char* end) {
  Texts texts;
  for (const qelSegment* at = list->first; at != nullptr; at = at->next) {
    FUZZ_CHECK(at->start >= begin && at->start <= end);
    FUZZ_CHECK(at->length <= static_cast<size_t>(end - at->start));
    FUZZ_CHECK((at->next == nullptr) == (at == list->last));
    texts.emplace_back(at->start, at->length);
  }
  FUZZ_CHECK(!texts.empty() && texts.size() == list->count);
  qelSegmentList_Free(list);
  return texts;
}

static std::string Joined(const Texts& texts, const std::string& needle) {
  std::string joined = texts[0];
  for (size_t i = 1; i < texts.size(); ++i)
    joined += needle + texts[i];
  return joined;
}

// The segments outside quotes, by a table of what is inside.
static Texts ReferenceQuoted(const std::string& text, const std::string& needle) {
  const size_t quoteAt = text.find_first_of("\"'");
  std::vector<bool> inside(text.size(), false);
  bool now = false;
  for (size_t i = quoteAt; i < text.size(); ++i) {
    if (text[i] == text[quoteAt])
      now = !now;
    inside[i] = now;
  }
  Texts texts(1);
  for (size_t i = 0; i < text.size();) {
    if (!needle.empty() && !inside[i] && text.compare(i, needle.size(), needle) == 0) {
      texts.emplace_back();
      i += needle.size();
      // A quote byte inside a needle is not seen; such needles are left out by the caller.
    } else {
      texts.back() += text[i++];
    }
  }
  return texts;
}

static void CheckTrim(std::string text) {
  qelSegment segment = {&text[0], text.size(), nullptr};
  qelSegment_Trim(&segment);
  const std::string trimmed(segment.start, segment.length);
  FUZZ_CHECK(trimmed.empty() || !qelChar_IsSpace(trimmed.back()));
  const size_t taken = static_cast<size_t>(segment.start - &text[0]);
  for (size_t i = 0; i < taken; ++i)
    FUZZ_CHECK(qelChar_IsSpace(text[i]));
  FUZZ_CHECK(taken <= text.size() / 2 + 1);

  char* both = qelStr_DupTrimmed(text.data(), text.size(), 1, 1);
  const size_t length = strlen(both);
  FUZZ_CHECK(length == 0 || !qelChar_IsSpace(both[0]));
  free(both);
}

static void CheckQuote(const std::string& text) {
  char* quoted = qelStr_Quote(text.data(), text.size(), "\"\\", 0, '"', '"');
  std::string back; // by the rule of a reader: a backslash makes the next byte plain
  const char* at = quoted + 1;
  for (size_t i = 0; i < text.size(); ++i, ++at)
    back += *at == '\\' ? *++at : *at;
  FUZZ_CHECK(back == text && at[0] == '"' && at[1] == '\0' && quoted[0] == '"');
  const size_t length = static_cast<size_t>(at + 1 - quoted);
  FUZZ_CHECK(qelStr_IsDelimited(quoted, length, '"', '"', 1) == 1);
  FUZZ_CHECK(qelStr_IsDelimited(quoted, length, '"', '"', 0) ==
             (text.find('"') == text.npos ? 1 : 0));
  FUZZ_CHECK(qelStr_HasAnyOf(text.data(), text.size(), "\"\\") ==
             (text.find_first_of("\"\\") != text.npos ? 1 : 0));
  free(quoted);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const char escape = static_cast<char>(input.TakeByte());
  const uint8_t choice = input.TakeByte();
  const std::vector<char> needleBytes = input.TakeBytes(choice & 3);
  const std::vector<char> block = input.TakeBytes(input.Left());
  const std::string needle(needleBytes.begin(), needleBytes.end());
  const size_t start = static_cast<size_t>(choice >> 2) % (block.size() + 1);
  const size_t end = block.size();
  const char* base = block.data();
  const std::string text(block.begin() + static_cast<std::ptrdiff_t>(start), block.end());

  const Texts plain = Taken(qelSegmentList_Split(base, start, end, needle.data(), needle.size()),
                            base + start, base + end);
  const Texts escaped =
      Taken(qelSegmentList_SplitEscaped(base, start, end, needle.data(), needle.size(), escape),
            base + start, base + end);
  const Texts quoted =
      Taken(qelSegmentList_SplitQuoted(base, start, end, needle.data(), needle.size()),
            base + start, base + end);
  FUZZ_CHECK(Joined(plain, needle) == text);
  FUZZ_CHECK(Joined(escaped, needle) == text);
  FUZZ_CHECK(Joined(quoted, needle) == text);
  for (const std::string& segment : plain)
    FUZZ_CHECK(needle.empty() || segment.find(needle) == segment.npos);
  if (escape == '\0')
    FUZZ_CHECK(plain == escaped);
  if (needle.find_first_of("\"'") == needle.npos)
    FUZZ_CHECK(quoted == ReferenceQuoted(text, needle));

  Taken(qelSegmentList_SplitCommas(base, start, end), base + start, base + end);
  const std::string terminated(text.c_str());
  qelSegmentList_HasToken(terminated.c_str(), needle.c_str(), plain[0].c_str());
  CheckTrim(text);
  CheckQuote(text);
  return 0;
}
