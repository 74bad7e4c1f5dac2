#ifndef QEL_CONFIG_QELCONFIGFILE_H
#define QEL_CONFIG_QELCONFIGFILE_H
//===----------------------------------------------------------------------===//
// Two INI tables one above the other. The read-only file gives the defaults, the
// read-write file holds what was changed. Reads ask the read-write table first;
// writes and deletions touch it alone. Nothing is saved unless asked for, and
// nothing is loaded again.
//
// SAVING replaces the read-write file P so that a process may end at any moment:
//
//   P           the valid file
//   P + ".tmp"  a save in progress; never read
//   P + ".ok"   a complete save that is not in its place yet
//
//   ended                              on disk                next load
//   while ".tmp" is written            P old, ".tmp" partial  ".tmp" removed, old
//   ".tmp" is whole, ".ok" removed     P old, ".tmp" new      ".tmp" removed, old
//   ".tmp" renamed to ".ok"            P old, ".ok" new       P replaced, new
//   P removed                          ".ok" new              ".ok" becomes P, new
//   ".ok" renamed to P                 P new                  new
//
// The same holds when an operation fails, or when a process ends during the
// recovery of a load. When an earlier save has left ".ok" alone without P, the next
// save puts it in its place before it touches it, so that a whole file is there at
// any moment. Nothing is forced to the disk: this guards against the end of the
// process, not against the loss of the system's own buffers. It is no lock between
// processes.
//
// OWNERSHIP: a record is its creator's, until qelConfigFile_Delete, which saves
// nothing. Texts given as const char* are the tables', until that entry is set or
// removed, or the caller's default.
// ERRORS: results; failures of files are level-1 lines of module 26, and the record
// goes on: without its file a table is empty. A failed save changes nothing in the
// tables and may be repeated.
// THREADS: one at a time. Reading is writing: a read creates its section in each
// table that it asks, so that a later save writes the section's header.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

struct qelINIFile;

struct qelConfigFile {
  char* readOnlyPath;         // owned, normalised; null: none, or it can't be normalised
  char* readWritePath;        // owned, normalised; null: none, or it can't be normalised
  qelINIFile* readOnlyTable;  // owned; never null
  qelINIFile* readWriteTable; // owned; null: the caller gave no read-write path
};

// A record of two files, either of which may be null, loaded as far as they can be. A save that was
// interrupted is completed or dropped first. Released by qelConfigFile_Delete.
qelConfigFile* qelConfigFile_New(const char* readOnlyPath, const char* readWritePath);

// Null does nothing. Changes that were not saved are lost.
void qelConfigFile_Delete(qelConfigFile* config);

// Empties the read-write table, if there is one. The files stay as they are.
void qelConfigFile_Reset(qelConfigFile* config);

// Replaces the read-write file. 1; or 0, after a log line, if that failed, or if there is no
// read-write path.
int qelConfigFile_Save(qelConfigFile* config);

// What the read-only table (readOnly not 0) or the read-write table holds, as in qelINIFile. A missing
// read-write table counts as empty.
size_t qelConfigFile_GetSectionCount(const qelConfigFile* config, int readOnly);
size_t qelConfigFile_GetKeyCount(const qelConfigFile* config, const char* section, int readOnly);
const char* qelConfigFile_GetSectionName(const qelConfigFile* config, size_t index, int readOnly);
const char* qelConfigFile_GetKeyName(const qelConfigFile* config, const char* section, size_t index,
                                     int readOnly);

// On the read-write table, as in qelINIFile: 1, or 0 when there is none.
int qelConfigFile_DeleteSection(qelConfigFile* config, const char* section);
int qelConfigFile_DeleteKey(qelConfigFile* config, const char* section, const char* key);

// Reading: a key that the read-write table has ends the search, whatever its text; else the read-only
// table is asked; a key in neither gives the default.

// 1 or 0. A text that is no boolean is logged and gives 0, never the default.
int qelConfigFile_GetBool(qelConfigFile* config, const char* section, const char* key,
                          int defaultValue);

// A text that is no number of the type gives the default.
qelLong qelConfigFile_GetInt32(qelConfigFile* config, const char* section, const char* key,
                               qelLong defaultValue);
qelULong qelConfigFile_GetUInt32(qelConfigFile* config, const char* section, const char* key,
                                 qelULong defaultValue);

// A number out of the range of the type gives the default as well.
uint16_t qelConfigFile_GetUInt16(qelConfigFile* config, const char* section, const char* key,
                                 uint16_t defaultValue);
uint8_t qelConfigFile_GetUInt8(qelConfigFile* config, const char* section, const char* key,
                               uint8_t defaultValue);

// The value or defaultValue, which may be null.
const char* qelConfigFile_GetValue(qelConfigFile* config, const char* section, const char* key,
                                   const char* defaultValue);

// The value or the default with each "%name%" replaced. A new text of the caller's, released with
// free; null if there is neither value nor default.
char* qelConfigFile_GetValueWithSubstitution(qelConfigFile* config, const char* section,
                                             const char* key, const char* defaultValue,
                                             char* (*callback)(char* name, void* userData));

// On the read-write table, as in qelINIFile: 1, or 0 when there is none.
int qelConfigFile_SetInt32(qelConfigFile* config, const char* section, const char* key,
                           qelLong value);
int qelConfigFile_SetUInt32(qelConfigFile* config, const char* section, const char* key,
                            qelULong value);
int qelConfigFile_SetValue(qelConfigFile* config, const char* section, const char* key,
                           const char* value);

#endif
