#define QEL_LOG_MODULE 0
#define QEL_LOG_FILE "..\\..\\MediaInfo"

#include <qel/media/MediaInfo.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <qel/containers/qelCustomHashTable.h>
#include <qel/core/Convert.h>
#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/files/PathName.h>

// The table's removal never ends when it meets two keys of one hash, so a key that would make such a
// pair must not get as far as the table.
static bool RefusesKey(const qelCustomHashTable_t* table, const char* key) {
  if (qelCustomHashTable_HasCollidingKey(table, key) == 0)
    return false;
  QEL_LOG(1, "qelMediaInfo: Refused the key '%s' (its hash is that of another key)\n", key);
  return true;
}

// Gives the two texts to the table, or releases them.
static void AddTakingKeyAndValue(qelCustomHashTable_t* table, char* key, char* value) {
  if (RefusesKey(table, key)) {
    std::free(key);
    std::free(value);
    return;
  }
  qelCustomHashTable_AddTakingKeyAndValue(table, key, value);
}

static const char* FindText(const qelCustomHashTable_t* table, const char* key) {
  return static_cast<const char*>(qelCustomHashTable_GetValue(table, key));
}

// The nearest float. The language leaves a cast beyond the largest one open, so that is decided here:
// up to half a step above it rounds down to it, as among all other floats.
static float Narrow(double value) {
  const double kRoundsToInfinity = 0x1.FFFFFFp127;
  const double magnitude = std::fabs(value);
  if (!(magnitude > static_cast<double>(FLT_MAX)))
    return static_cast<float>(value);
  const bool isFinite = magnitude < kRoundsToInfinity;
  return std::copysign(isFinite ? FLT_MAX : HUGE_VALF, value < 0 ? -1.0f : 1.0f);
}

static bool IsLineEnd(char c) {
  return c == '\r' || c == '\n';
}

// The end of the line at text: its "\n" or the terminator.
static const char* FindLineEnd(const char* text) {
  return text + std::strcspn(text, "\n");
}

// A copy of text[0..n-1] with every "==" made "=".
static char* DupUnescaped(const char* text, size_t n) {
  char* copy = static_cast<char*>(qelMem_Alloc(n + 1));
  size_t length = 0;
  for (size_t i = 0; i < n; ++i) {
    copy[length++] = text[i];
    if (text[i] == '=' && i + 1 < n && text[i + 1] == '=')
      ++i;
  }
  copy[length] = '\0';
  return copy;
}

// Writing the line form: the first walk counts, the second one writes.
namespace {
struct LineWriter {
  char* out;     // null while counting
  size_t length; // bytes so far

  void Put(char c) {
    if (out != nullptr)
      out[length] = c;
    ++length;
  }
};
} // namespace

static void WriteLine(const void* key, const void* value, void* context) {
  LineWriter* writer = static_cast<LineWriter*>(context);
  if (writer->length != 0)
    writer->Put('\n');
  for (const char* c = static_cast<const char*>(key); *c != '\0'; ++c)
    writer->Put(*c);
  writer->Put('=');
  if (value == nullptr)
    return;
  for (const char* c = static_cast<const char*>(value); *c != '\0'; ++c) {
    writer->Put(*c);
    if (*c == '=')
      writer->Put('=');
  }
}

qelMediaInfo::qelMediaInfo() : properties(qelCustomHashTable_NewStringString()) {}

// INTENDED: the copy shares the table with no count. Copies are short-lived views; Duplicate copies.
// Pinned by MediaInfo.SharesItsTableWithACopy.
qelMediaInfo::qelMediaInfo(const qelMediaInfo& other) = default;

// INTENDED: the table that the left side had is abandoned, since another object may share it. Pinned
// by MediaInfo.AbandonsItsTableWhenAssignedTo.
qelMediaInfo& qelMediaInfo::operator=(const qelMediaInfo& other) = default;

qelMediaInfo::~qelMediaInfo() {
  qelCustomHashTable_Delete(properties);
}

qelCString qelMediaInfo::GetSerializedInfo() {
  LineWriter counter = {nullptr, 0};
  qelCustomHashTable_ForEach(properties, WriteLine, &counter);
  if (counter.length == 0)
    return qelCString();
  qelCString text;
  LineWriter writer = {text.GetWriteBuf(counter.length), 0};
  qelCustomHashTable_ForEach(properties, WriteLine, &writer);
  writer.out[writer.length] = '\0';
  text.UngetWriteBuf(writer.length);
  return text;
}

void qelMediaInfo::DeserializeInfo(const char* text) {
  if (text == nullptr)
    return;
  const char* token = text;
  char* key = nullptr; // null: reading a key
  for (const char* c = text;; ++c) {
    if (key == nullptr) {
      if (*c == '\0')
        return;
      // INTENDED: a line end leaves the key as it is, so a line with no "=" becomes the front of the
      // next key. Pinned by MediaInfoDeserialize.MakesALineWithoutEqualsThePartOfTheNextKey.
      if (*c == '=') {
        key = qelMem_StrNDup(token, static_cast<size_t>(c - token));
        token = c + 1;
      }
      continue;
    }
    if (*c != '\0' && !IsLineEnd(*c))
      continue;
    AddTakingKeyAndValue(properties, key, DupUnescaped(token, static_cast<size_t>(c - token)));
    key = nullptr;
    if (*c == '\0')
      return;
    // INTENDED: any second line end belongs to the first one, so "\n\n" ends one line, too. Pinned by
    // MediaInfoDeserialize.ReadsLinesOfEveryLineEnd.
    if (IsLineEnd(c[1]))
      ++c;
    token = c + 1;
  }
}

void qelMediaInfo::GetMediaInfoAsString(const qelCString& text) {
  qelCustomHashTable_Clear(properties);
  const char* line = text.c_str();
  const char* const textEnd = line + text.length();
  while (line != textEnd && *line != '\n') {
    const size_t left = static_cast<size_t>(textEnd - line);
    const char* found = static_cast<const char*>(std::memchr(line, '\n', left));
    const char* end = found != nullptr ? found : textEnd;
    const size_t length = static_cast<size_t>(end - line);
    const char* equals = static_cast<const char*>(std::memchr(line, '=', length));
    const char* keyEnd = equals != nullptr ? equals : end;
    const char* value = equals != nullptr ? equals + 1 : end;
    if (keyEnd != line)
      AddTakingKeyAndValue(properties, qelMem_StrNDup(line, static_cast<size_t>(keyEnd - line)),
                           DupUnescaped(value, static_cast<size_t>(end - value)));
    line = end != textEnd ? end + 1 : end;
  }
}

void qelMediaInfo::Finalize(bool keepEmptyTitle) {
  qelPathName file = qelPathName::MakeFilePath(path);
  if (title.IsEmpty() && !keepEmptyTitle)
    title = file.GetFileName();
  if (album.IsEmpty() && GetCString("cn", "").Contains("imageItem"))
    album = file.GetDirName();
  title.TrimLeftRight();
  album.TrimLeftRight();
  creator.TrimLeftRight();
  if (title.IsEmpty() && !keepEmptyTitle)
    title = "-";
}

bool qelMediaInfo::Validate() {
  return !GetCString("cn", "").IsEmpty() && !GetCString("mt", "").IsEmpty();
}

qelMediaInfo* qelMediaInfo::Duplicate() const {
  qelMediaInfo* copy = new qelMediaInfo(*this);
  copy->properties = qelCustomHashTable_Duplicate(properties);
  return copy;
}

void qelMediaInfo::Set(const char* key, const char* value, bool overwrite) {
  // INTENDED: the test looks at the table, where the four routed keys never stand; their fields are
  // not protected. Pinned by MediaInfoSet.ReplacesAFieldEvenWithoutOverwrite.
  if (!overwrite) {
    const char* old = FindText(properties, key);
    if (old != nullptr && *old != '\0')
      return;
  }
  const struct {
    const char* key;
    qelCString* field;
  } routes[] = {{"ti", &title}, {"cr", &creator}, {"ge", &genre}, {"an", &album}};
  for (const auto& route : routes) {
    if (std::strcmp(key, route.key) == 0) {
      *route.field = value;
      return;
    }
  }
  if (!RefusesKey(properties, key))
    qelCustomHashTable_Add(properties, key, value);
}

void qelMediaInfo::Set(const char* key, const qelCString& value, bool overwrite) {
  Set(key, value.c_str(), overwrite);
}

void qelMediaInfo::Set(const char* key, const qelString& value, bool overwrite) {
  Set(key, qelConvUTF8.ToUTF8(value.c_str()).data(), overwrite);
}

void qelMediaInfo::Set(const char* key, unsigned int value, bool overwrite) {
  Set(key, static_cast<unsigned long>(value), overwrite);
}

void qelMediaInfo::Set(const char* key, unsigned long value, bool overwrite) {
  Set(key, qelCString::Format("%lu", value), overwrite);
}

void qelMediaInfo::Set(const char* key, unsigned long long value, bool overwrite) {
  Set(key, qelCString::Format("%llu", value), overwrite);
}

void qelMediaInfo::Set(const char* key, int value, bool overwrite) {
  Set(key, qelCString::Format("%d", value), overwrite);
}

void qelMediaInfo::Set(const char* key, long value, bool overwrite) {
  Set(key, qelCString::Format("%ld", value), overwrite);
}

void qelMediaInfo::Set(const char* key, long long value, bool overwrite) {
  Set(key, qelCString::Format("%lld", value), overwrite);
}

void qelMediaInfo::Set(const char* key, float value, bool overwrite) {
  Set(key, qelCString::Format("%f", static_cast<double>(value)), overwrite);
}

void qelMediaInfo::Set(const char* key, const qeluint64& value, bool overwrite) {
  Set(key, value.ToCString(), overwrite);
}

void qelMediaInfo::Remove(const char* key) {
  if (!RefusesKey(properties, key))
    qelCustomHashTable_Remove(properties, key);
}

qelCString qelMediaInfo::GetCString(const char* key, const qelCString& fallback) const {
  const char* text = FindText(properties, key);
  return text != nullptr ? qelCString(text) : fallback;
}

qelString qelMediaInfo::GetString(const char* key, const qelString& fallback) const {
  const char* text = FindText(properties, key);
  return text != nullptr ? qelString(qelConvUTF8.ToString(text)) : fallback;
}

int qelMediaInfo::GetInt(const char* key, int fallback) const {
  const char* text = FindText(properties, key);
  qelLong value = 0;
  return text != nullptr && qelCString(text).ToInt32(&value, 10) ? static_cast<int>(value)
                                                                 : fallback;
}

qelULong qelMediaInfo::GetUInt32(const char* key, qelULong fallback) const {
  const char* text = FindText(properties, key);
  qelULong value = 0;
  return text != nullptr && qelCString(text).ToUInt32(&value, 10) ? value : fallback;
}

float qelMediaInfo::GetFloat(const char* key, float fallback) const {
  const char* text = FindText(properties, key);
  double value = 0;
  if (text == nullptr || !qelCString(text).ToDouble(&value))
    return fallback;
  return Narrow(value);
}

// INTENDED: unlike the narrower getters it takes "12a" as 12, as the 64-bit value class does. Pinned by
// MediaInfoGetUInt64.ReadsTheDigitsAtTheFront.
qeluint64 qelMediaInfo::GetUInt64(const char* key, const qeluint64& fallback) const {
  const char* text = FindText(properties, key);
  return text != nullptr ? qeluint64::FromString(text, fallback) : fallback;
}

bool qelMediaInfo::HasInfo() const {
  return qelCustomHashTable_GetCount(properties) != 0 || !title.IsEmpty() || !creator.IsEmpty() ||
         !genre.IsEmpty() || !album.IsEmpty();
}

char* qelMediaInfo::Peek(const char* info, const char* key) {
  if (info == nullptr || key == nullptr)
    return nullptr;
  const char* found = std::strstr(info, key);
  while (found != nullptr && found != info && found[-1] != '\n')
    found = std::strstr(found + 1, key);
  if (found == nullptr)
    return nullptr;
  // INTENDED: the character behind the key is skipped whatever it is, so a key that is the front of a
  // longer one hits that one's line. Pinned by MediaInfoPeek.HitsALongerKeyThatBeginsWithTheKey.
  const char* value = found + std::strlen(key);
  if (*value != '\0')
    ++value;
  return DupUnescaped(value, static_cast<size_t>(FindLineEnd(value) - value));
}
