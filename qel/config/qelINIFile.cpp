// Lines, each trimmed, in the order in which they are tried:
//
//   ""  ";..."  "#..."     ignored
//   "[" name "]" ...       the current section, created at once; what stands behind "]" is ignored
//   key                    without "=": a key with an empty value, quotes and comments included
//   "=" ...                ignored
//   key "=" value          the first "=" counts
//
// A value in double or single quotes ends at the same quote; "\" takes the next byte as it is, and
// what stands behind is ignored. Any other value ends ahead of the first "#" or ";". A "[" without
// "]" is part of a key.

#define QEL_LOG_MODULE 23
#define QEL_LOG_FILE "..\\..\\qelINIFile"

#include <qel/config/qelINIFile.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <qel/config/qelStringSubstitute.h>
#include <qel/core/Log.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelNum.h>
#include <qel/core/qelSegment.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>

#include <trio.h>

static const char kSeparator = '/';
static const char kDefaultSection[] = "default";
static const char kLineEnd[] = "\r\n";
static const size_t kNameLimit = 127; // bytes of a section or key name in a file
static const size_t kLineSize = 1024; // bytes of a line with its terminator, read and written
static const size_t kReadPiece = 100; // bytes of one read
static const size_t kNotFound = SIZE_MAX;

typedef char SectionName[128];  // lower-cased
typedef char ComposedName[256]; // "section/key" or a section, lower-cased

// Names ------------------------------------------------------------------------

static char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

static void LowerText(char* text) {
  for (; *text != '\0'; ++text)
    *text = Lower(*text);
}

static const char* SectionOrDefault(const char* section) {
  return section != nullptr && *section != '\0' ? section : kDefaultSection;
}

// The section as it is spelled, cut to what a name may have.
static void CopySection(SectionName& name, const char* section) {
  trio_snprintf(name, sizeof name, "%s", SectionOrDefault(section));
}

static void LowerSection(SectionName& name, const char* section) {
  CopySection(name, section);
  LowerText(name);
}

// "section/key"; without a key, the section's own entry. Returns the length.
static size_t ComposeName(ComposedName& name, const char* section, const char* key) {
  SectionName lowered;
  LowerSection(lowered, section);
  if (key == nullptr)
    trio_snprintf(name, sizeof name, "%s", lowered);
  else
    trio_snprintf(name, sizeof name, "%s%c%s", lowered, kSeparator, key);
  LowerText(name);
  return strlen(name);
}

static bool IsSection(const qelINIFileEntry& entry) {
  return entry.key[0] != '\0' && strchr(entry.key, kSeparator) == nullptr;
}

static bool BeginsWith(const char* text, const char* prefix, size_t length) {
  return strncmp(text, prefix, length) == 0;
}

// Table ------------------------------------------------------------------------

static void FillEntry(qelINIFileEntry* entry) {
  entry->key = qelMem_StrDup("");
  entry->hash = 0;
  entry->value = qelMem_StrDup("");
}

static void FreeEntry(qelINIFileEntry* entry) {
  free(entry->key);
  free(entry->value);
}

static void Grow(qelINIFile* table, size_t capacity) {
  table->entries = static_cast<qelINIFileEntry*>(
      qelMem_Realloc(table->entries, capacity * sizeof(qelINIFileEntry)));
  for (size_t i = table->capacity; i != capacity; ++i)
    FillEntry(&table->entries[i]);
  table->capacity = capacity;
}

// Entries in use stand in front, so nothing behind them needs a look.
static size_t FindIndex(const qelINIFile* table, const char* key) {
  const uint32_t hash = qelINIFile_Hash(key);
  for (size_t i = 0; i != table->count; ++i)
    if (table->entries[i].hash == hash && strcmp(table->entries[i].key, key) == 0)
      return i;
  return kNotFound;
}

qelINIFile* qelINIFile_New(size_t capacity) {
  auto* table = static_cast<qelINIFile*>(qelMem_AllocZero(sizeof(qelINIFile)));
  Grow(table, std::max(capacity, qelINIFileGrowth));
  return table;
}

void qelINIFile_Delete(qelINIFile* table) {
  if (table == nullptr)
    return;
  for (size_t i = 0; i != table->capacity; ++i)
    FreeEntry(&table->entries[i]);
  free(table->entries);
  free(table);
}

const char* qelINIFile_Find(const qelINIFile* table, const char* key, const char* defaultValue) {
  const size_t index = FindIndex(table, key);
  return index != kNotFound ? table->entries[index].value : defaultValue;
}

void qelINIFile_Store(qelINIFile* table, const char* key, const char* value) {
  if (*key == '\0') // such an entry would be a free one
    return;
  const size_t index = FindIndex(table, key);
  if (index == kNotFound && table->count == table->capacity)
    Grow(table, table->capacity + qelINIFileGrowth);
  qelINIFileEntry* entry = &table->entries[index != kNotFound ? index : table->count];
  if (index == kNotFound) {
    qelMem_SetStr(&entry->key, key);
    entry->hash = qelINIFile_Hash(key);
    ++table->count;
  }
  // Emptied in place: each read of a key does this to its section.
  if (value == nullptr || *value == '\0')
    entry->value[0] = '\0';
  else
    qelMem_SetStr(&entry->value, value);
}

void qelINIFile_Unset(qelINIFile* table, const char* key) {
  const size_t index = FindIndex(table, key);
  if (index == kNotFound)
    return;
  qelINIFileEntry* entry = &table->entries[index];
  FreeEntry(entry);
  --table->count;
  memmove(entry, entry + 1, (table->count - index) * sizeof *entry);
  FillEntry(&table->entries[table->count]);
}

size_t qelINIFile_Count(const qelINIFile* table) {
  return table->count;
}

const char* qelINIFile_KeyAt(const qelINIFile* table, size_t index) {
  return index < table->count ? table->entries[index].key : "";
}

const char* qelINIFile_ValueAt(const qelINIFile* table, size_t index) {
  return index < table->count ? table->entries[index].value : "";
}

uint32_t qelINIFile_Hash(const char* text) {
  uint32_t hash = 0;
  for (; *text != '\0'; ++text) {
    hash = (hash + static_cast<uint32_t>(static_cast<signed char>(*text))) * 1025;
    hash ^= hash >> 6;
  }
  hash *= 9;
  hash ^= hash >> 11;
  return hash * 32769;
}

// Parsing ----------------------------------------------------------------------

// Copies the next line, its end included, and terminates it. Returns what follows it.
static const char* TakeLine(const char* at, const char* end, char (&line)[kLineSize]) {
  size_t length = 0;
  while (at != end && length != kLineSize - 1) {
    const char c = *at++;
    line[length++] = c;
    if (c == '\r' || c == '\n')
      break;
  }
  line[length] = '\0';
  return at;
}

// Cuts whitespace off both ends, and then to `limit` bytes, where that is not 0.
static char* Trim(char* text, size_t limit) {
  while (qelChar_IsSpace(*text))
    ++text;
  size_t length = strlen(text);
  while (length > 0 && qelChar_IsSpace(text[length - 1]))
    --length;
  if (limit != 0)
    length = std::min(length, limit);
  text[length] = '\0';
  return text;
}

// Takes the escapes out of the text behind an opening quote, up to the closing one.
static void Unquote(char* text, char quote) {
  char* to = text;
  const char* from = text;
  while (*from != '\0' && *from != quote) {
    if (*from == '\\' && *++from == '\0')
      break;
    *to++ = *from++;
  }
  // INTENDED: without a closing quote the text keeps its old length, so that each escape doubles its
  // last bytes. Files that were read so once must read the same for ever. Pinned by
  // qelINIFileParse.DoublesTheEndOfAnUnterminatedQuotedValueForEachEscape.
  if (*from == quote)
    *to = '\0';
}

static char* ParseValue(char* text) {
  char* value = Trim(text, /*limit=*/0);
  if (*value == '"' || *value == '\'') {
    Unquote(value + 1, *value);
    return value + 1;
  }
  value[strcspn(value, "#;")] = '\0';
  return Trim(value, /*limit=*/0);
}

// Reads a header into `section`. False if the line is none.
static bool ParseHeader(qelINIFile* table, char* line, SectionName& section) {
  char* close = *line == '[' ? strchr(line, ']') : nullptr;
  if (close == nullptr)
    return false;
  *close = '\0';
  LowerSection(section, Trim(line + 1, kNameLimit));
  qelINIFile_Store(table, section, nullptr);
  return true;
}

static void ParseLine(qelINIFile* table, char* text, SectionName& section) {
  char* line = Trim(text, /*limit=*/0);
  if (*line == '\0' || *line == ';' || *line == '#' || ParseHeader(table, line, section))
    return;
  char* equal = strchr(line, '=');
  if (equal == line)
    return;
  const char* value = equal != nullptr ? ParseValue(equal + 1) : nullptr;
  if (equal != nullptr)
    *equal = '\0';
  qelINIFile_SetValue(table, section, Trim(line, kNameLimit), value);
}

static int qelINIFile_Parse(const char* data, size_t length, qelINIFile* table) {
  static const char kByteOrderMark[] = "\xEF\xBB\xBF";
  static const size_t kMarkLength = sizeof kByteOrderMark - 1;
  SectionName section;
  LowerSection(section, nullptr);
  qelINIFile_Store(table, section, nullptr);

  const char* at = data;
  const char* const end = data + length;
  char line[kLineSize];
  while (at != end) {
    const bool isFirst = at == data;
    at = TakeLine(at, end, line);
    const bool isMarked = isFirst && BeginsWith(line, kByteOrderMark, kMarkLength);
    ParseLine(table, line + (isMarked ? kMarkLength : 0), section);
  }
  return 1;
}

// Files ------------------------------------------------------------------------

// Reads to the end of the file. The text is the caller's, whatever the result.
static bool ReadAll(void* fd, char** data, size_t* length) {
  int done = 0;
  do {
    *data = static_cast<char*>(qelMem_Realloc(*data, *length + kReadPiece));
    done = qelFile_Read(fd, *data + *length, kReadPiece);
    if (done < 0)
      return false;
    *length += static_cast<size_t>(done);
  } while (static_cast<size_t>(done) == kReadPiece);
  return true;
}

int qelINIFile_LoadFile(const char* path, qelINIFile* table) {
  void* fd = nullptr;
  if (qelFile_Open(path, qelFileModeRead, /*permissions=*/1, &fd) != qelFileErrorNone)
    return 0;
  char* data = nullptr;
  size_t length = 0;
  const bool isRead = ReadAll(fd, &data, &length);
  if (isRead)
    qelINIFile_Parse(data, length, table);
  free(data);
  qelFile_Close(fd);
  return isRead;
}

int qelINIFile_LoadBuffer(const char* data, size_t length, qelINIFile* table) {
  return qelINIFile_Parse(data, length, table);
}

namespace {

// A file that is written line by line.
struct Output {
  void* fd;
  bool isEmpty; // nothing has been written yet
  bool isWhole; // all that was to be written has been written
};

} // namespace

static void WriteText(Output* output, const char* text) {
  const size_t length = strlen(text);
  const int written = qelFile_Write(output->fd, text, length);
  output->isWhole = output->isWhole && written >= 0 && static_cast<size_t>(written) == length;
  output->isEmpty = false;
}

static void WriteHeader(Output* output, const char* name) {
  char line[kLineSize];
  if (!output->isEmpty)
    WriteText(output, kLineEnd);
  trio_snprintf(line, sizeof line, "[%s]%s", name, kLineEnd);
  WriteText(output, line);
}

static void WriteKey(Output* output, const char* name, const char* value) {
  char line[kLineSize];
  const size_t length = strlen(value);
  const qelOwnedText quoted(qelStr_HasAnyOf(value, length, " \"'#;\\")
                                ? qelStr_Quote(value, length, "\"'\\", 0, '"', '"')
                                : nullptr);
  // INTENDED: a line that is too long loses its line end as well. A reader takes a line of this length
  // for a whole one, so the next key is safe. Pinned by qelINIFileSave.CutsALongLineWithItsEnd.
  trio_snprintf(line, sizeof line, "%s=%s%s", name, quoted != nullptr ? quoted.get() : value,
                kLineEnd);
  WriteText(output, line);
}

static void WriteSection(Output* output, const qelINIFile* table, const char* name) {
  // INTENDED: without a header, "default" joins the section ahead of it, if there is one. The table's
  // order is kept all the same. Pinned by qelINIFileSave.KeepsTheOrderOfALateDefaultSection.
  if (strcmp(name, kDefaultSection) != 0)
    WriteHeader(output, name);
  const size_t length = strlen(name);
  for (size_t i = 0; i != table->count; ++i) {
    const qelINIFileEntry& entry = table->entries[i];
    if (BeginsWith(entry.key, name, length) && entry.key[length] == kSeparator)
      WriteKey(output, entry.key + length + 1, entry.value);
  }
}

// Returns 0 if the file can't be opened. *isWhole tells whether all of the table is in it.
static int Save(const char* path, const qelINIFile* table, bool* isWhole) {
  *isWhole = false;
  Output output = {nullptr, true, true};
  const qelOwnedText name(qelPath_Normalize(path, /*stripTrailing=*/0, /*flags=*/0, nullptr));
  const int mode = qelFileModeWrite | qelFileModeCreate | qelFileModeTruncate;
  if (name == nullptr ||
      qelFile_Open(name.get(), mode, /*permissions=*/3, &output.fd) != qelFileErrorNone)
    return 0;
  for (size_t i = 0; i != table->count; ++i)
    if (IsSection(table->entries[i]))
      WriteSection(&output, table, table->entries[i].key);
  *isWhole = qelFile_Close(output.fd) == qelFileErrorNone && output.isWhole;
  return 1;
}

int qelINIFile_Save(const char* path, const qelINIFile* table) {
  // INTENDED: a full disk is no failure here; those who care ask for the whole. Pinned by
  // qelINIFileSave.DoesNotTellAFailedWrite.
  bool isWhole = false;
  return Save(path, table, &isWhole);
}

int qelINIFile_SaveWhole(const char* path, const qelINIFile* table) {
  bool isWhole = false;
  Save(path, table, &isWhole);
  return isWhole;
}

// Sections and keys --------------------------------------------------------------

size_t qelINIFile_GetSectionCount(const qelINIFile* table) {
  return static_cast<size_t>(
      std::count_if(table->entries, table->entries + table->count, IsSection));
}

const char* qelINIFile_GetSectionName(const qelINIFile* table, size_t index) {
  for (size_t i = 0; i != table->count; ++i)
    if (IsSection(table->entries[i]) && index-- == 0)
      return strcmp(table->entries[i].key, kDefaultSection) != 0 ? table->entries[i].key : "";
  return "";
}

size_t qelINIFile_GetKeyCount(const qelINIFile* table, const char* section) {
  ComposedName prefix;
  const size_t length = ComposeName(prefix, section, "");
  size_t count = 0;
  for (size_t i = 0; i != table->count; ++i)
    count += BeginsWith(table->entries[i].key, prefix, length);
  return count;
}

const char* qelINIFile_GetKeyName(const qelINIFile* table, const char* section, size_t index) {
  ComposedName prefix;
  const size_t length = ComposeName(prefix, section, "");
  for (size_t i = 0; i != table->count; ++i)
    if (BeginsWith(table->entries[i].key, prefix, length) && index-- == 0)
      return table->entries[i].key + length;
  return "";
}

// Reading ----------------------------------------------------------------------

const char* qelINIFile_GetValue(qelINIFile* table, const char* section, const char* key,
                                const char* defaultValue, int* found) {
  // INTENDED: a read makes the section, and a later save writes its header; a section's own value is
  // emptied. It is how a file comes to list what a program looks for. Pinned by
  // qelINIFileGetValue.CreatesTheSectionThatItLooksIn.
  SectionName lowered;
  LowerSection(lowered, section);
  qelINIFile_Store(table, lowered, nullptr);

  ComposedName name;
  ComposeName(name, section, key);
  const char* value = qelINIFile_Find(table, name, nullptr);
  if (found != nullptr)
    *found = value != nullptr;
  return value != nullptr ? value : defaultValue;
}

char* qelINIFile_GetValueWithSubstitution(qelINIFile* table, const char* section, const char* key,
                                          const char* defaultValue, int* found,
                                          char* (*callback)(char* name, void* userData)) {
  const char* value = qelINIFile_GetValue(table, section, key, defaultValue, found);
  return qelStringSubstitute(value, "%", /*rescan=*/0, callback, /*userData=*/nullptr);
}

// 1 or 0; -1 for what is no boolean.
static int ParseBool(const char* text) {
  qelLong number = 0;
  if (qelNum_ToS32Dec(text, &number) == 0)
    return number != 0;
  const char first = Lower(*text);
  if (first == 't' || first == 'y')
    return 1;
  return first == 'f' || first == 'n' ? 0 : -1;
}

int qelINIFile_GetBool(qelINIFile* table, const char* section, const char* key, int defaultValue,
                       int* found) {
  const char* value = qelINIFile_GetValue(table, section, key, nullptr, found);
  if (value == nullptr)
    return defaultValue;
  const int parsed = ParseBool(value);
  if (parsed >= 0)
    return parsed;
  QEL_LOG(1, "qelINIFile: invalid value '%s' for a boolean for entry '%s/%s' (returning %d) \n",
          value, SectionOrDefault(section), key != nullptr ? key : "", defaultValue);
  return defaultValue;
}

qelLong qelINIFile_GetInt32(qelINIFile* table, const char* section, const char* key,
                            qelLong defaultValue, int* found) {
  const char* value = qelINIFile_GetValue(table, section, key, nullptr, found);
  qelLong number = 0;
  return qelNum_ToS32Dec(value, &number) == 0 ? number : defaultValue;
}

qelULong qelINIFile_GetUInt32(qelINIFile* table, const char* section, const char* key,
                              qelULong defaultValue, int* found) {
  const char* value = qelINIFile_GetValue(table, section, key, nullptr, found);
  qelULong number = 0;
  return qelNum_ToU32Dec(value, &number) == 0 ? number : defaultValue;
}

double qelINIFile_GetDouble(qelINIFile* table, const char* section, const char* key,
                            double defaultValue, int* found) {
  const char* value = qelINIFile_GetValue(table, section, key, nullptr, found);
  return value != nullptr ? atof(value) : defaultValue;
}

// Writing ----------------------------------------------------------------------

int qelINIFile_SetValue(qelINIFile* table, const char* section, const char* key,
                        const char* value) {
  if (table == nullptr)
    return 0;
  SectionName lowered;
  LowerSection(lowered, section);
  qelINIFile_Store(table, lowered, nullptr);

  ComposedName name;
  ComposeName(name, section, key);
  qelINIFile_Store(table, name, value);
  return 1;
}

int qelINIFile_SetBool(qelINIFile* table, const char* section, const char* key, int value) {
  return qelINIFile_SetValue(table, section, key, value != 0 ? "1" : "0");
}

int qelINIFile_SetInt32(qelINIFile* table, const char* section, const char* key, qelLong value) {
  char text[16];
  trio_snprintf(text, sizeof text, "%ld", static_cast<long>(value));
  return qelINIFile_SetValue(table, section, key, text);
}

int qelINIFile_SetUInt32(qelINIFile* table, const char* section, const char* key, qelULong value) {
  char text[16];
  trio_snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(value));
  return qelINIFile_SetValue(table, section, key, text);
}

int qelINIFile_SetDouble(qelINIFile* table, const char* section, const char* key, double value) {
  char text[32];
  trio_snprintf(text, sizeof text, "%g", value);
  return qelINIFile_SetValue(table, section, key, text);
}

// Deleting ---------------------------------------------------------------------

int qelINIFile_DeleteKey(qelINIFile* table, const char* section, const char* key) {
  if (table == nullptr)
    return 0;
  // INTENDED: without a key the section's entry goes and its keys stay, unlisted and unsaved until the
  // section comes back. Pinned by qelINIFileDeleteKey.LeavesTheKeysOfASectionWithoutItsEntry.
  ComposedName name;
  ComposeName(name, section, key);
  qelINIFile_Unset(table, name);
  return 1;
}

// Removes the entries whose keys begin with prefix[0..length-1], the others keeping their order.
static void UnsetAll(qelINIFile* table, const char* prefix, size_t length) {
  size_t kept = 0;
  for (size_t i = 0; i != table->count; ++i) {
    if (BeginsWith(table->entries[i].key, prefix, length))
      FreeEntry(&table->entries[i]);
    else
      table->entries[kept++] = table->entries[i];
  }
  for (size_t i = kept; i != table->count; ++i)
    FillEntry(&table->entries[i]);
  table->count = kept;
}

int qelINIFile_DeleteSection(qelINIFile* table, const char* section) {
  if (table == nullptr)
    return 0;
  // INTENDED: the spelling counts here, so "Net" loses its keys and stays as an empty section. Pinned
  // by qelINIFileDeleteSection.LeavesTheEntryOfASectionThatIsSpelledWithUpperCase.
  SectionName spelled;
  CopySection(spelled, section); // first: the name may be the text of a key that goes
  ComposedName prefix;
  const size_t length = ComposeName(prefix, spelled, "");
  UnsetAll(table, prefix, length);
  qelINIFile_Unset(table, spelled);
  return 1;
}
