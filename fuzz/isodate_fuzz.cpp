// ISO dates and clock times: what the readers accept, what they make of it, and that they take back
// what the formatters write.
//
// Six bytes make the value that stands before, four its seconds and two its milliseconds, 0xFFFF for
// an invalid one. The rest is the text, which is read as a date and as a clock time. The properties
// hold in every time zone.

#include <cstring>

#include <fuzz/FuzzInput.h>

#include <qel/core/CString.h>
#include <qel/core/DateTime.h>

namespace {

qelDateTime TakeValue(FuzzInput& input) {
  uint32_t seconds = 0;
  for (int i = 0; i < 4; ++i)
    seconds = seconds << 8 | input.TakeByte();
  const int32_t high = input.TakeByte();
  const int32_t ms = high << 8 | input.TakeByte();
  return ms == 0xFFFF
             ? qelDateTime()
             : qelDateTime(qeltimeval{static_cast<int32_t>(seconds), ms % 1000 * 1000 + ms % 7});
}

bool IsSameText(const qelCString& a, const qelCString& b) {
  return strcmp(a.c_str(), b.c_str()) == 0;
}

// Blanks, a sign and digits; only the blanks are free, the rest has at most `width` bytes. Returns
// false if there is no digit.
bool ReadNumber(const char*& at, int width, int& number) {
  while (*at != '\0' && strchr(" \t\n\v\f\r", *at) != nullptr)
    ++at;
  const bool negative = *at == '-';
  if (*at == '-' || *at == '+') {
    ++at;
    --width;
  }
  if (*at < '0' || *at > '9')
    return false;
  for (number = 0; width > 0 && *at >= '0' && *at <= '9'; --width)
    number = number * 10 + (*at++ - '0');
  if (negative)
    number = -number;
  return true;
}

bool ReadThree(const char* at, int firstWidth, char separator, int (&numbers)[3]) {
  return ReadNumber(at, firstWidth, numbers[0]) && *at++ == separator &&
         ReadNumber(at, 2, numbers[1]) && *at++ == separator && ReadNumber(at, 2, numbers[2]);
}

bool EnterDate(const char* text, qeltm& fields) {
  int date[3];
  if (!ReadThree(text, 4, '-', date))
    return false;
  if (date[0] < 1900 || date[1] < 1 || date[1] > 12 || date[2] < 1)
    return false;
  fields.year = date[0] - 1900;
  fields.mon = date[1] - 1;
  fields.mday = date[2];
  return true;
}

bool EnterTime(const char* text, qeltm& fields) {
  int time[3];
  if (!ReadThree(text, 2, ':', time))
    return false;
  for (int i = 0; i < 3; ++i)
    if (time[i] < 0 || time[i] > (i == 0 ? 24 : 59))
      return false;
  fields.hour = time[0];
  fields.min = time[1];
  fields.sec = time[2];
  return true;
}

// What a reader makes of a value.
qelDateTime Expected(qelDateTime value, const char* text, bool (*enter)(const char*, qeltm&)) {
  if (!value.IsValid())
    value.Reset();
  qeltm fields;
  if (!value.FetchTM(fields))
    return value; // before 1970; no reader touches it
  return enter(text, fields) ? qelDateTime(fields) : qelDateTime();
}

bool IsReadable(qelDateTime value) {
  qeltm fields;
  if (!value.IsValid())
    value.Reset();
  return value.FetchTM(fields);
}

void CheckReaders(const qelDateTime& before, const char* text) {
  qelDateTime date = before;
  qelDateTime time = before;
  const bool isDate = date.ParseISODate(text);
  const bool isTime = time.ParseISOTime(text);
  FUZZ_CHECK(date == Expected(before, text, EnterDate));
  FUZZ_CHECK(time == Expected(before, text, EnterTime));
  FUZZ_CHECK(isDate == (IsReadable(before) && date.IsValid()));
  FUZZ_CHECK(isTime == (IsReadable(before) && time.IsValid()));
}

// A value takes back its own date and its own time, and shows the same afterwards.
void CheckFormat(const qelDateTime& value) {
  const qelCString date = value.FormatISODate();
  const qelCString time = value.FormatISOTime();
  FUZZ_CHECK(date.length() == 10 && time.length() == 8);
  FUZZ_CHECK(IsSameText(value.FormatISO(), date + "T" + time));
  FUZZ_CHECK(IsSameText(value.FormatTime().Left(8), time));
  qeltm fields;
  if (!value.FetchTM(fields)) {
    FUZZ_CHECK(IsSameText(value.FormatISO(), "1900-01-00T00:00:00"));
    return;
  }
  // West of Greenwich the calendar shows moments of 1969 and refuses to make them.
  const bool isMade = fields.year >= 70;
  qelDateTime byDate = value;
  qelDateTime byTime = value;
  FUZZ_CHECK(byDate.ParseISODate(date) == isMade);
  FUZZ_CHECK(byTime.ParseISOTime(value.FormatISO().Mid(11)) == isMade);
  if (!isMade)
    return;
  FUZZ_CHECK(IsSameText(byDate.FormatISO(), value.FormatISO()) && byDate.IsSameTime(value));
  FUZZ_CHECK(IsSameText(byTime.FormatISO(), value.FormatISO()) && byTime.IsSameDate(value));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const qelDateTime before = TakeValue(input);
  const std::vector<char> text = input.TakeText();
  CheckFormat(before);
  CheckReaders(before, text.data());
  qelDateTime both = before;
  both.ParseISODate(text.data());
  CheckFormat(both);
  const char* clock = strchr(text.data(), 'T');
  both.ParseISOTime(clock != nullptr ? clock + 1 : text.data());
  CheckFormat(both);
  return 0;
}
