#include "Properties.h"

#include <qel/core/DateTime.h>

#include "Text.h"

namespace mediaquery {

// Numbers of the library's operators that are looked at here.
enum { kEqual = 1, kNotEqual = 2, kAtMost = 3, kAtLeast = 4, kGreater = 5, kLess = 6 };

static bool ReadText(const qelCString& value, qelCString* text) {
  *text = value;
  return !value.IsEmpty();
}

// A property that stands in the item's table.
static bool ReadKey(qelMediaInfo& item, const char* key, qelCString* text) {
  return ReadText(item.GetCString(key, ""), text);
}

static bool ReadID(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "id", text);
}

static bool ReadParentID(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "pa", text);
}

// No item refers to another one.
static bool ReadRefID(qelMediaInfo&, qelCString*) {
  return false;
}

static bool ReadTitle(qelMediaInfo& item, qelCString* text) {
  return ReadText(item.title, text);
}

static bool ReadCreator(qelMediaInfo& item, qelCString* text) {
  return ReadText(item.creator, text);
}

static bool ReadDate(qelMediaInfo& item, qelCString* text) {
  return item.date.IsValid() && ReadText(item.date.FormatISO(), text);
}

static bool ReadClass(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "cn", text);
}

static bool ReadAlbum(qelMediaInfo& item, qelCString* text) {
  return ReadText(item.album, text);
}

static bool ReadGenre(qelMediaInfo& item, qelCString* text) {
  return ReadText(item.genre, text);
}

static bool ReadURI(qelMediaInfo& item, qelCString* text) {
  return ReadText(MakeFileURI(item.path), text);
}

static bool ReadSize(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "si", text);
}

static bool ReadResolution(qelMediaInfo& item, qelCString* text) {
  const qelCString width = item.GetCString("wi", "");
  const qelCString height = item.GetCString("he", "");
  if (width.IsEmpty() || height.IsEmpty())
    return false;
  return ReadText(width + "x" + height, text);
}

// "H:MM:SS.mmm"
static bool ReadDuration(qelMediaInfo& item, qelCString* text) {
  if (item.GetCString("du", "").IsEmpty())
    return false;
  const unsigned long long ms = item.GetUInt64("du", 0).GetValue();
  const unsigned long long seconds = ms / 1000;
  text->Printf("%llu:%02llu:%02llu.%03llu", seconds / 3600, seconds / 60 % 60, seconds % 60,
               ms % 1000);
  return true;
}

static bool ReadProtocolInfo(qelMediaInfo& item, qelCString* text) {
  return ReadText("http-get:*:" + item.GetCString("mt", "") + ":*", text);
}

static bool ReadChannels(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "ch", text);
}

static bool ReadSampleRate(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "sr", text);
}

static bool ReadBitsPerSample(qelMediaInfo& item, qelCString* text) {
  return ReadKey(item, "bs", text);
}

static const Property kProperties[] = {
    {"@id", kPropertyText, ReadID},
    {"@parentID", kPropertyText, ReadParentID},
    {"@refID", kPropertyText, ReadRefID},
    {"dc:title", kPropertyText, ReadTitle},
    {"dc:creator", kPropertyText, ReadCreator},
    {"dc:date", kPropertyDate, ReadDate},
    {"upnp:class", kPropertyText, ReadClass},
    {"upnp:album", kPropertyText, ReadAlbum},
    {"upnp:genre", kPropertyText, ReadGenre},
    {"res", kPropertyText, ReadURI},
    {"res@size", kPropertyNumber, ReadSize},
    {"res@resolution", kPropertyText, ReadResolution},
    {"res@duration", kPropertyText, ReadDuration},
    {"res@protocolInfo", kPropertyText, ReadProtocolInfo},
    {"res@nrAudioChannels", kPropertyNumber, ReadChannels},
    {"res@sampleFrequency", kPropertyNumber, ReadSampleRate},
    {"res@bitsPerSample", kPropertyNumber, ReadBitsPerSample},
};

size_t GetPropertyCount() {
  return sizeof kProperties / sizeof *kProperties;
}

const Property& GetProperty(size_t index) {
  return kProperties[index];
}

int FindProperty(const qelCString& name) {
  for (size_t i = 0; i < GetPropertyCount(); ++i)
    if (name.Compare(kProperties[i].name) == 0)
      return static_cast<int>(i);
  return -1;
}

static bool IsComparison(int operatorID) {
  return operatorID >= kEqual && operatorID <= kLess;
}

// Whole numbers have two typed tests: MatchInt for values like "5", MatchDouble for "1.5" and for
// those beyond 31 bits.
static bool MatchNumber(qelRelExpression* test, const qelCString& digits) {
  if (test->MatchInt(digits) || test->MatchDouble(digits))
    return true;
  // A size beyond 31 bits is no candidate for MatchInt, but greater than any value it compares with.
  const bool valueIsInt = test->valueKind == 1;
  qelLong fits = 0;
  if (!valueIsInt || digits.ToLong(&fits, 10))
    return false;
  return test->operatorID == kNotEqual || test->operatorID == kAtLeast ||
         test->operatorID == kGreater;
}

bool ItemEvaluator::EvaluateRelExpression(qelRelExpression* test) {
  const Property& property = kProperties[test->propertyID];
  qelCString text;
  const bool present = property.read(*m_item, &text);
  if (IsComparison(test->operatorID)) {
    if (property.kind == kPropertyNumber)
      return present && MatchNumber(test, text);
    if (property.kind == kPropertyDate)
      return present && test->MatchDate(m_item->date);
  }
  return test->MatchString(present ? text.c_str() : nullptr);
}

} // namespace mediaquery
