// JSON in: the parser against the plain machine of the tests, on a whole text and on its first half.

#include <algorithm>

#include <fuzz/FuzzInput.h>

#include <qel/serialize/JSONFormatter.h>
#include <tests/support/JSONModel.h>

static std::vector<std::string> Check(const char* text) {
  JSONModel model;
  JSONEvents events;
  FUZZ_CHECK(qelJSONFormatter::Parse(text, events) == model.Parse(text));
  FUZZ_CHECK(events.list == model.events.list);
  return events.list;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<std::string> whole = Check(FuzzInput(data, size).TakeText().data());
  const std::vector<std::string> half = Check(FuzzInput(data, size).TakeText(size / 2).data());

  // What is cut off changes nothing about what came first.
  FUZZ_CHECK(half.size() <= whole.size());
  FUZZ_CHECK(std::equal(half.begin(), half.end(), whole.begin()));
  return 0;
}
