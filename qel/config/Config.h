#ifndef QEL_CONFIG_CONFIG_H
#define QEL_CONFIG_CONFIG_H
//===----------------------------------------------------------------------===//
// A program's configuration: a read-only file with the defaults and a read-write
// file with what was changed, named by two directories and a file name.
//
//   read-only   readOnlyDir/fileName
//   read-write  readWriteDir/_fileName, so that both can share a directory
//
// Reads ask the read-write file's table first, then the read-only one's, and give
// the default last. Sections and keys are named in any case. Set operations change
// the read-write table in memory alone, until Save.
//
// ERRORS: results; causes are level-1 lines of module 26. Files that are missing are
// no error: reads then give defaults.
// OWNERSHIP: the object owns its record. A copy shares the record, and each of the
// two deletes it: only one of them may be destroyed.
// THREADS: no locks; one thread at a time, reads included, since a read writes to
// the tables.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/String.h>
#include <qel/core/Types.h>

struct qelConfigFile;

class QEL_EXPORT qelConfig {
public:
  // Loads both files as far as they are there; a save that was interrupted is completed or dropped
  // first. With an empty readWriteDir nothing can be set or saved.
  qelConfig(const qelCString& readOnlyDir, const qelCString& readWriteDir,
            const qelCString& fileName);
  qelConfig(const qelConfig&) = default;
  qelConfig& operator=(const qelConfig&) = default;
  // Changes that were not saved are lost.
  virtual ~qelConfig();

  // The path that a configuration file has: "dir/prefixfileName", with "./" for an empty dir, each
  // "\" read as "/", and all of fileName up to its last "/" left out, so that it can't lead out of dir.
  static qelCString GetValidPath(const qelCString& dir, const qelCString& fileName,
                                 const char* prefix);

  // The object's record; never null.
  qelConfigFile* GetConfigFile();

  // Replaces the read-write file, so that a process may end at any moment of it. False: it failed, or
  // there is none; nothing in the tables has changed.
  bool Save();
  // Empties the read-write table. The files stay as they are.
  void Reset();

  // What one of the two tables holds, in its order. An index past the end gives the empty text.
  size_t GetSectionCount(bool readOnly);
  qelCString GetSectionName(size_t index, bool readOnly);
  size_t GetKeyCount(const char* section, bool readOnly);
  qelCString GetKeyNameCString(const char* section, size_t index, bool readOnly);
  qelString GetKeyName(const char* section, size_t index, bool readOnly);

  // In the read-write table. False: there is none.
  bool DeleteSection(const char* section);
  bool DeleteKey(const char* section, const char* key);

  // A text that is no boolean counts as false, never as the default.
  bool OptionIsSet(const char* section, const char* key, bool defaultValue);

  // A text that is no number, and for the first four a number out of the type's range, gives the
  // default.
  signed char GetInt8(const char* section, const char* key, signed char defaultValue);
  unsigned char GetUInt8(const char* section, const char* key, unsigned char defaultValue);
  short GetInt16(const char* section, const char* key, short defaultValue);
  unsigned short GetUInt16(const char* section, const char* key, unsigned short defaultValue);
  qelLong GetInt32(const char* section, const char* key, qelLong defaultValue);
  qelULong GetUInt32(const char* section, const char* key, qelULong defaultValue);

  qelCString GetCString(const char* section, const char* key, const qelCString& defaultValue);

  // The value or the default with each "%name%" replaced by what the callback gives for the name, in
  // memory that free releases, or, for "env.X" without such an answer, by the environment variable X.
  // Names without an answer vanish; "%%" is one "%". The callback may be null.
  qelCString GetCStringWithSubstitution(const char* section, const char* key,
                                        const qelCString& defaultValue,
                                        char* (*callback)(char* name, void* userData));

  // The value taken for UTF-8; malformed text gives the empty string.
  qelString GetString(const char* section, const char* key, const qelString& defaultValue);

  // In the read-write table. False: there is none.
  bool SetInt32(const char* section, const char* key, qelLong value);
  bool SetUInt32(const char* section, const char* key, qelULong value);
  bool SetString(const char* section, const char* key, const qelCString& value);
  bool SetString(const char* section, const char* key, const qelString& value); // as UTF-8

private:
  qelConfigFile* m_configFile; // owned
};

#endif
