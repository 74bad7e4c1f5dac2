#ifndef QEL_CONFIG_QELINIFILE_H
#define QEL_CONFIG_QELINIFILE_H
//===----------------------------------------------------------------------===//
// INI text: an ordered table of lower-cased keys that holds whole files in
// memory, a tolerant reader and a writer. What lies above, layers and safe
// saving, is qelConfigFile's.
//
//   [Net]                  entry "net"        value ""
//   Port = 8080 ; text     entry "net/port"   value "8080"
//
// A section is an entry without "/" in its key; a key of a section is an entry
// "section/key". Names are lower-cased on their way in, in ASCII; values keep
// their case. A key's own name may hold "/"; a section "a/b" is at the same time
// the key "b" of "a". Keys without a section belong to "default", which is
// written without a header. Wherever a section is asked for, null and "" mean
// "default".
//
// WHAT A FILE HOLDS: a load of a save gives the same entries with the same values
// in the order in which they are written (each section in table order, then its
// keys in table order), but for these:
//   - a value that holds CR or LF, or that begins or ends with a whitespace other
//     than the blank while it holds none of blank, quotes, "#", ";" and "\"
//   - a key that is empty, holds "=", CR or LF, begins with "#" or ";", begins or
//     ends with whitespace, is longer than 127 bytes, or begins with "[" while the
//     key or its value holds "]"
//   - a section name that holds "]", CR or LF, begins or ends with whitespace, or
//     is longer than 127 bytes
//   - a section "a/b" without a section "a", and keys whose section has no entry of
//     its own: they are not written
//   - a value of a section's own entry, "a/b" of a section "a" excepted
//   - keys of "default" when other sections stand ahead of it in the table: the
//     order is kept, so these keys are read back in the section ahead. A table
//     that was parsed has "default" first.
//   - a line "key=value", with the value as it is written, of more than 1023 bytes
//   - a first line that begins with the three bytes of a UTF-8 byte order mark
//   - upper case in a name that qelINIFile_Store was given
// An empty "default" is there after any load.
//
// COST: a look-up walks the table from its start; the hash only shortens the
// comparisons. The size of a table is meant to be hundreds of entries.
// OWNERSHIP: the table owns all its texts. What an operation returns as const char*
// is the table's, until that entry is set or removed, or the caller's own default.
// ERRORS: results, as told below. The one log line, for a boolean that is none, is
// of level 1 and module 23. Exhausted memory is fatal.
// THREADS: one at a time, and reading is writing: a read creates its section.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

constexpr size_t qelINIFileGrowth = 128; // entries that a table begins with and grows by

struct qelINIFileEntry {
  char* key;     // owned; "" marks a free entry, never null
  uint32_t hash; // qelINIFile_Hash of key; 0 in a free entry
  char* value;   // owned; "" for a section or a key without value, never null
};

struct qelINIFile {
  size_t capacity;          // entries allocated
  qelINIFileEntry* entries; // owned; those in use stand in front
  size_t count;             // entries in use
};

// Table --------------------------------------------------------------------------

// An empty table with room for `capacity` entries, at least 128. Released by qelINIFile_Delete.
qelINIFile* qelINIFile_New(size_t capacity);

// Null does nothing.
void qelINIFile_Delete(qelINIFile* table);

// The value of exactly this key, as it is stored, or defaultValue.
const char* qelINIFile_Find(const qelINIFile* table, const char* key, const char* defaultValue);

// Sets the value of exactly this key or adds it at the end; a null value means "". An empty key
// stores nothing.
void qelINIFile_Store(qelINIFile* table, const char* key, const char* value);

// Removes exactly this key, if it is there; the entries behind it move up.
void qelINIFile_Unset(qelINIFile* table, const char* key);

// Entries in use.
size_t qelINIFile_Count(const qelINIFile* table);

// The entry at a position; "" behind the last one.
const char* qelINIFile_KeyAt(const qelINIFile* table, size_t index);
const char* qelINIFile_ValueAt(const qelINIFile* table, size_t index);

// The Jenkins one-at-a-time hash of a terminated text, each byte taken as a signed one.
uint32_t qelINIFile_Hash(const char* text);

// Files --------------------------------------------------------------------------
// Loading adds to what the table holds. Lines end in CR, LF or CR LF and hold 1023 bytes; a longer
// one goes on as the next line. A zero byte ends its line's text.

// Reads a file. 1; or 0, and the table as it was, if it can't be opened or read.
int qelINIFile_LoadFile(const char* path, qelINIFile* table);

// Reads data[0..length-1]. Always 1.
int qelINIFile_LoadBuffer(const char* data, size_t length, qelINIFile* table);

// Writes the table to a file, replacing what is there. 1, or 0 if the file can't be opened. Lines
// end in CR LF and are cut to 1023 bytes, their end included.
// Whether all could be written is not told; qelINIFile_SaveWhole tells it.
int qelINIFile_Save(const char* path, const qelINIFile* table);

// The same, but 0 also when a write or the close fails; the file is cut short then.
int qelINIFile_SaveWhole(const char* path, const qelINIFile* table);

// Access by section and key ---------------------------------------------------------
// Names are lower-cased; a section is cut to 127 bytes, and "section/key" to 255.
// *found, where it is asked for, is 1 if the key exists, whatever its text, else 0; it may be null.
// A null key means the section's own entry.

// Sections, "default" included.
size_t qelINIFile_GetSectionCount(const qelINIFile* table);

// The name of a section in table order; "" for "default" and for an index out of range.
const char* qelINIFile_GetSectionName(const qelINIFile* table, size_t index);

// Keys of a section.
size_t qelINIFile_GetKeyCount(const qelINIFile* table, const char* section);

// The name of a section's key, without "section/"; "" for an index out of range.
const char* qelINIFile_GetKeyName(const qelINIFile* table, const char* section, size_t index);

// The stored value, or defaultValue. Reads create the section: an entry for it is there afterwards,
// whether the key was found or not.
const char* qelINIFile_GetValue(qelINIFile* table, const char* section, const char* key,
                                const char* defaultValue, int* found);

// The value or the default with each "%name%" replaced, as qelStringSubstitute does it. A new text of
// the caller's, released with free; null if there is neither value nor default.
char* qelINIFile_GetValueWithSubstitution(qelINIFile* table, const char* section, const char* key,
                                          const char* defaultValue, int* found,
                                          char* (*callback)(char* name, void* userData));

// 1 or 0. A whole decimal number of 32 bits is true unless it is 0; otherwise the first letter
// decides: T and Y are true, F and N false, in any case. Anything else is logged and gives the
// default.
int qelINIFile_GetBool(qelINIFile* table, const char* section, const char* key, int defaultValue,
                       int* found);

// A whole decimal number of the type; any other text gives the default.
qelLong qelINIFile_GetInt32(qelINIFile* table, const char* section, const char* key,
                            qelLong defaultValue, int* found);
qelULong qelINIFile_GetUInt32(qelINIFile* table, const char* section, const char* key,
                              qelULong defaultValue, int* found);

// What the C library's atof makes of the text: 0 for what is no number. The locale counts.
double qelINIFile_GetDouble(qelINIFile* table, const char* section, const char* key,
                            double defaultValue, int* found);

// Sets a value, null meaning "", and creates its section first. 1, or 0 for a null table.
int qelINIFile_SetValue(qelINIFile* table, const char* section, const char* key, const char* value);

// The same with the text "1" or "0", or of "%ld", "%lu" and "%g".
int qelINIFile_SetBool(qelINIFile* table, const char* section, const char* key, int value);
int qelINIFile_SetInt32(qelINIFile* table, const char* section, const char* key, qelLong value);
int qelINIFile_SetUInt32(qelINIFile* table, const char* section, const char* key, qelULong value);
int qelINIFile_SetDouble(qelINIFile* table, const char* section, const char* key, double value);

// Removes a key; with a null key the section's own entry alone, and its keys stay. 1, or 0 for a null
// table.
int qelINIFile_DeleteKey(qelINIFile* table, const char* section, const char* key);

// Removes the section's keys, and the section's own entry if `section` is spelled in lower case.
// 1, or 0 for a null table.
int qelINIFile_DeleteSection(qelINIFile* table, const char* section);

#endif
