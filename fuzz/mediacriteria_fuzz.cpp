// mediaquery's search for the fault in criteria: it finds one exactly when the parser refuses the text,
// and shows it whatever the text holds.

#include <string>

#include <fuzz/FuzzInput.h>

#include <examples/mediaquery/Criteria.h>
#include <examples/mediaquery/Properties.h>
#include <examples/mediaquery/Text.h>

using namespace mediaquery;

// An item that has every kind of property.
static qelMediaInfo& GetItem() {
  static qelMediaInfo item;
  if (item.title.IsEmpty()) {
    item.path = "/pictures/Holiday/The Sea.png";
    item.Set("cn", "object.item.imageItem.photo", true);
    item.Set("mt", "image/png", true);
    item.Set("si", 5000000000u, true);
    item.Set("wi", 640, true);
    item.Set("he", 480, true);
    item.date = qelDateTime(qelLong{1000000000});
    item.Finalize(false);
  }
  return item;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qelCString text(reinterpret_cast<const char*>(data), size);
  CriteriaParser parser(text);
  const bool valid = parser.Parse();
  const CriteriaFault fault = FindCriteriaFault(text);
  FUZZ_CHECK(valid == fault.message.empty());
  if (valid) {
    ItemEvaluator evaluator(&GetItem());
    parser.Evaluate(&evaluator);
    return 0;
  }
  FUZZ_CHECK(fault.offset <= size);
  const std::string shown = FormatCriteriaFault(text, fault);
  FUZZ_CHECK(shown.size() < 2048);
  FUZZ_CHECK(ToValidUTF8(shown.c_str()).Compare(shown.c_str()) == 0);
  return 0;
}
