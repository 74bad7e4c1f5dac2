// All readers of number text: the first byte is the base, the rest the text.

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/core/UInt64.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelNum.h>
#include <qel/core/qelULongLong.h>

static bool IsOnScale(int result, const char* text) {
  return result >= -3 && (result <= 0 || static_cast<size_t>(result) < strlen(text));
}

// A positive result is the length of the part that is a number: it gives 0 and the same value.
template <class Value, class Reader>
static void CheckCutText(const char* text, Reader reader) {
  Value value = 7;
  const int result = reader(text, &value);
  FUZZ_CHECK(IsOnScale(result, text));
  if (result <= 0)
    return;
  const std::string cut(text, static_cast<size_t>(result));
  Value again = 7;
  FUZZ_CHECK(reader(cut.c_str(), &again) == 0);
  FUZZ_CHECK(again == value);
}

// A whole span is read as the terminated text is.
template <class Value, class SpanReader, class Reader>
static void CheckSpan(const char* text, SpanReader spanReader, Reader reader) {
  Value span = 7;
  Value whole = 7;
  FUZZ_CHECK(spanReader(text, strlen(text), &span) == reader(text, &whole));
  FUZZ_CHECK(span == whole);
}

static void CheckIntegers(const char* text, int base) {
  CheckCutText<qelLong>(
      text, [base](const char* cut, qelLong* out) { return qelNum_ToS32(cut, out, base); });
  CheckCutText<qelULong>(
      text, [base](const char* cut, qelULong* out) { return qelNum_ToU32(cut, out, base); });
  CheckCutText<int16_t>(text, qelNum_ToS16);
  CheckCutText<uint16_t>(text, qelNum_ToU16);
  void* pointer = nullptr;
  FUZZ_CHECK(IsOnScale(qelNum_ToPointer(text, &pointer), text));

  CheckSpan<qelLong>(text, qelNum_ToS32N, qelNum_ToS32Dec);
  CheckSpan<qelULong>(text, qelNum_ToU32N, qelNum_ToU32Dec);
  CheckSpan<qelULong>(text, qelNum_ToHex32N, qelNum_ToHex32);
}

// The signed 64-bit reader and the runtime library's are meant to agree.
static void CheckBesideRuntimeLibrary(const char* text, int base) {
  if (base != 0 && (base < 2 || base > 36))
    return;
  const char* x = strpbrk(text, "xX");
  if (x != nullptr && !qelChar_IsHexDigit(x[1]))
    return; // runtime libraries disagree about a "0x" that no hexadecimal digit follows
  char* libraryEnd = nullptr;
  errno = 0;
  const long long expected = strtoll(text, &libraryEnd, base);
  const bool outOfRange = errno == ERANGE;
  const char* end = nullptr;
  int status = 7;
  qelint64 out = {7, 7};
  FUZZ_CHECK(qelNum_ParseS64(text, &end, base, &status, &out) == status);
  FUZZ_CHECK(IsOnScale(status, text));
  const uint64_t bits = out.low | static_cast<uint64_t>(static_cast<uint32_t>(out.high)) << 32;
  FUZZ_CHECK(static_cast<int64_t>(bits) == expected);
  FUZZ_CHECK((status == -3) == (libraryEnd == text));
  FUZZ_CHECK((status == -1 || status == -2) == outOfRange);
  if (!outOfRange)
    FUZZ_CHECK(end == libraryEnd);

  qelULongLong record = {7, 7};
  qeluint64 value = 7;
  FUZZ_CHECK(qelNum_ParseU64(text, nullptr, base, &status, &record) <= 0);
  FUZZ_CHECK(qelNum_ToU64Dec(text, &value) == qelNum_ToU64Dec(text, &record));
  FUZZ_CHECK(value.GetValue() == (record.low | static_cast<uint64_t>(record.high) << 32));
}

static void CheckDouble(const char* text) {
  double value = 7;
  const int result = qelNum_ToDouble(text, &value);
  FUZZ_CHECK(IsOnScale(result, text));
  if (result < 0)
    FUZZ_CHECK(value == 0.0);
  if (result == 0 && strspn(text, "0123456789") == strlen(text) && strlen(text) <= 15)
    FUZZ_CHECK(value == strtod(text, nullptr)); // an integer below 2^53 is exact
}

static void CheckFractions(const char* text) {
  double value = 7;
  const int result = qelNum_ParseFractionZ(text, &value);
  FUZZ_CHECK(result == 0 || (result == 1 && value == 7));
  double mixed = 7;
  const int mixedResult = qelNum_ParseMixed(text, &mixed);
  FUZZ_CHECK(IsOnScale(mixedResult, text));
  FUZZ_CHECK(mixedResult == 0 || mixed == 0.0);

  char* written = nullptr;
  const int writtenResult = qelNum_FractionToText(value, 1000, 1e-6, &written);
  FUZZ_CHECK((writtenResult == 0) == (written != nullptr));
  if (written != nullptr && std::fabs(value) < 1e9) {
    double back = 7;
    FUZZ_CHECK(qelNum_ParseMixed(written, &back) == 0);
    FUZZ_CHECK(std::fabs(back - value) < 1.1e-3); // below 1 by the largest denominator
  }
  free(written);
}

static void CheckTimes(const char* text) {
  int fields[9];
  const int date = qelNum_ParseISODateTime(text, fields);
  FUZZ_CHECK(date == 0 || date == -3);
  FUZZ_CHECK(date != 0 || (fields[1] >= 1 && fields[1] <= 12));
  FUZZ_CHECK(fields[0] <= 9999 && fields[2] <= 31 && fields[6] <= 999 && fields[7] >= -23);
  for (int i = 0; date != 0 && i < 9; ++i)
    FUZZ_CHECK(fields[i] == 0);

  qelULong seconds = 7;
  qelULong milliseconds = 7;
  int result = qelNum_ParseClock(text, &seconds, &milliseconds);
  FUZZ_CHECK(result == 0 || (result == -3 && seconds == 0 && milliseconds == 0));
  FUZZ_CHECK(seconds <= 359999999 && milliseconds <= 999);
  qelULong again = 7;
  FUZZ_CHECK(qelNum_ParseClock(text, &again, nullptr) == result && again == seconds);

  result = qelNum_ParseNPT(text, &seconds, &milliseconds);
  FUZZ_CHECK(result == 0 || (result == -3 && seconds == 0 && milliseconds == 0));
  FUZZ_CHECK(seconds <= 3599999999u && milliseconds <= 999);
  result = qelNum_ParseSeconds(text, &seconds, &milliseconds);
  FUZZ_CHECK(IsOnScale(result, text) && result != -2 && milliseconds <= 999);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const int base = input.TakeByte() % 40;
  const std::vector<char> text = input.TakeText();
  CheckIntegers(text.data(), base);
  CheckBesideRuntimeLibrary(text.data(), base);
  CheckDouble(text.data());
  CheckFractions(text.data());
  CheckTimes(text.data());
  return 0;
}
