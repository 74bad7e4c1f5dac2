#define QEL_LOG_MODULE 26
#define QEL_LOG_FILE "..\\..\\qelConfigFile"

#include <qel/config/qelConfigFile.h>

#include <cstdlib>

#include <qel/config/qelINIFile.h>
#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>

static const char kUnfinishedSuffix[] = ".tmp";
static const char kCompleteSuffix[] = ".ok";
static const qelLong kNoNumber = 0x7FFFFFFF; // stands for a number that is missing

static bool Removed(const char* name) {
  return qelFile_Remove(name) == qelFileErrorNone;
}

static bool Renamed(const char* from, const char* to) {
  return qelFile_Rename(from, to) == qelFileErrorNone;
}

// Opening ----------------------------------------------------------------------

static char* NormalizedPath(const char* path) {
  return qelPath_Normalize(path, /*stripTrailing=*/0, /*flags=*/0, /*anchor=*/nullptr);
}

// Completes or drops a save that was interrupted. The steps stand in an order in which each may be
// the last one of the process.
static void Recover(const char* path) {
  const qelOwnedText unfinished(qelMem_Concat(path, kUnfinishedSuffix));
  const qelOwnedText complete(qelMem_Concat(path, kCompleteSuffix));
  const bool isThere = qelFile_Exists(path) != 0;
  const bool isUnfinishedThere = qelFile_Exists(unfinished.get()) != 0;
  const bool isCompleteThere = qelFile_Exists(complete.get()) != 0;

  if (isUnfinishedThere && !Removed(unfinished.get()))
    QEL_LOG(1, "Cannot remove temporary file '%s'\n", unfinished.get());
  if (!isCompleteThere)
    return;
  if (isThere && !Removed(path)) {
    QEL_LOG(1, "Cannot remove previous valid file '%s', aborting commit\n", path);
    return;
  }
  if (!Renamed(complete.get(), path))
    QEL_LOG(1, "Cannot commit file '%s'\n", complete.get());
}

static void LoadReadOnly(qelConfigFile* config, const char* path) {
  if (path == nullptr)
    return;
  if (config->readOnlyPath == nullptr)
    QEL_LOG(1, "Cannot resolve read-only config file path for '%s'\n", path);
  else if (!qelINIFile_LoadFile(config->readOnlyPath, config->readOnlyTable))
    QEL_LOG(1, "Cannot load read-only config file '%s'\n", config->readOnlyPath);
}

qelConfigFile* qelConfigFile_New(const char* readOnlyPath, const char* readWritePath) {
  auto* config = static_cast<qelConfigFile*>(qelMem_AllocZero(sizeof(qelConfigFile)));
  config->readOnlyPath = NormalizedPath(readOnlyPath);
  config->readWritePath = NormalizedPath(readWritePath);
  config->readOnlyTable = qelINIFile_New(0);
  if (readWritePath != nullptr)
    config->readWriteTable = qelINIFile_New(0);
  LoadReadOnly(config, readOnlyPath);
  if (config->readWritePath != nullptr) {
    Recover(config->readWritePath);
    qelINIFile_LoadFile(config->readWritePath, config->readWriteTable); // a first start has none
  }
  return config;
}

void qelConfigFile_Delete(qelConfigFile* config) {
  if (config == nullptr)
    return;
  qelINIFile_Delete(config->readOnlyTable);
  qelINIFile_Delete(config->readWriteTable);
  free(config->readOnlyPath);
  free(config->readWritePath);
  free(config);
}

void qelConfigFile_Reset(qelConfigFile* config) {
  if (config->readWriteTable == nullptr)
    return;
  qelINIFile_Delete(config->readWriteTable);
  config->readWriteTable = qelINIFile_New(0);
}

// Saving -----------------------------------------------------------------------

// Moves what has been written to `unfinished` into the place of `path`.
static int Commit(const char* path, const char* unfinished, const char* complete,
                  bool wasCompleteThere) {
  // A commit that failed has left the only whole file there: it must not be removed ahead of the next.
  if (wasCompleteThere && !qelFile_Exists(path) && !Renamed(complete, path)) {
    QEL_LOG(1, "Cannot save file: cannot commit file '%s'\n", complete);
    return 0;
  }
  const bool isInTheWay = !Removed(complete) && wasCompleteThere;
  if (!Renamed(unfinished, complete)) {
    QEL_LOG(1, "Cannot save file: cannot rename temporary file '%s'\n", unfinished);
    if (isInTheWay)
      QEL_LOG(1, "Cannot save file: Was not able to remove previous valid file '%s'\n", complete);
    return 0;
  }
  qelFile_Remove(path); // a file that stays makes the next step fail
  if (!Renamed(complete, path)) {
    QEL_LOG(1, "Cannot save file: cannot commit file '%s'\n", complete);
    if (isInTheWay)
      QEL_LOG(1, "Cannot save file: Was not able to remove previous valid file '%s'\n", path);
    return 0;
  }
  return 1;
}

int qelConfigFile_Save(qelConfigFile* config) {
  const char* path = config->readWritePath;
  if (path == nullptr)
    return 0;
  const qelOwnedText unfinished(qelMem_Concat(path, kUnfinishedSuffix));
  const qelOwnedText complete(qelMem_Concat(path, kCompleteSuffix));
  const bool wasCompleteThere = qelFile_Exists(complete.get()) != 0;
  // Only a whole file may take the place of the valid one: a full disk is a failure here.
  if (!qelINIFile_SaveWhole(unfinished.get(), config->readWriteTable)) {
    QEL_LOG(1, "Cannot save file '%s'\n", unfinished.get());
    return 0;
  }
  return Commit(path, unfinished.get(), complete.get(), wasCompleteThere);
}

// Enumeration and deletion -------------------------------------------------------

static const qelINIFile* ChosenTable(const qelConfigFile* config, int readOnly) {
  return readOnly != 0 ? config->readOnlyTable : config->readWriteTable;
}

size_t qelConfigFile_GetSectionCount(const qelConfigFile* config, int readOnly) {
  const qelINIFile* table = ChosenTable(config, readOnly);
  return table != nullptr ? qelINIFile_GetSectionCount(table) : 0;
}

size_t qelConfigFile_GetKeyCount(const qelConfigFile* config, const char* section, int readOnly) {
  const qelINIFile* table = ChosenTable(config, readOnly);
  return table != nullptr ? qelINIFile_GetKeyCount(table, section) : 0;
}

const char* qelConfigFile_GetSectionName(const qelConfigFile* config, size_t index, int readOnly) {
  const qelINIFile* table = ChosenTable(config, readOnly);
  return table != nullptr ? qelINIFile_GetSectionName(table, index) : "";
}

const char* qelConfigFile_GetKeyName(const qelConfigFile* config, const char* section, size_t index,
                                     int readOnly) {
  const qelINIFile* table = ChosenTable(config, readOnly);
  return table != nullptr ? qelINIFile_GetKeyName(table, section, index) : "";
}

int qelConfigFile_DeleteSection(qelConfigFile* config, const char* section) {
  return qelINIFile_DeleteSection(config->readWriteTable, section);
}

int qelConfigFile_DeleteKey(qelConfigFile* config, const char* section, const char* key) {
  return qelINIFile_DeleteKey(config->readWriteTable, section, key);
}

// Reading ----------------------------------------------------------------------

// Asks the read-write table, and the read-only one for what is not found there.
template <typename Get>
static auto ReadLayers(qelConfigFile* config, int* found, Get get) {
  *found = 0;
  if (config->readWriteTable != nullptr) {
    const auto value = get(config->readWriteTable, found);
    if (*found != 0)
      return value;
  }
  return get(config->readOnlyTable, found);
}

int qelConfigFile_GetBool(qelConfigFile* config, const char* section, const char* key,
                          int defaultValue) {
  // INTENDED: 0 goes down, so a text that is no boolean reads as false; the caller's default is for a
  // missing key alone. Pinned by qelConfigFileGetBool.ReadsAnUnreadableBooleanAsFalse.
  int found = 0;
  const int value = ReadLayers(config, &found, [=](qelINIFile* table, int* isFound) {
    return qelINIFile_GetBool(table, section, key, /*defaultValue=*/0, isFound);
  });
  return found != 0 ? value : defaultValue;
}

qelLong qelConfigFile_GetInt32(qelConfigFile* config, const char* section, const char* key,
                               qelLong defaultValue) {
  int found = 0;
  return ReadLayers(config, &found, [=](qelINIFile* table, int* isFound) {
    return qelINIFile_GetInt32(table, section, key, defaultValue, isFound);
  });
}

qelULong qelConfigFile_GetUInt32(qelConfigFile* config, const char* section, const char* key,
                                 qelULong defaultValue) {
  int found = 0;
  return ReadLayers(config, &found, [=](qelINIFile* table, int* isFound) {
    return qelINIFile_GetUInt32(table, section, key, defaultValue, isFound);
  });
}

uint16_t qelConfigFile_GetUInt16(qelConfigFile* config, const char* section, const char* key,
                                 uint16_t defaultValue) {
  const qelLong value = qelConfigFile_GetInt32(config, section, key, kNoNumber);
  return value >= 0 && value <= UINT16_MAX ? static_cast<uint16_t>(value) : defaultValue;
}

uint8_t qelConfigFile_GetUInt8(qelConfigFile* config, const char* section, const char* key,
                               uint8_t defaultValue) {
  const qelLong value = qelConfigFile_GetInt32(config, section, key, kNoNumber);
  return value >= 0 && value <= UINT8_MAX ? static_cast<uint8_t>(value) : defaultValue;
}

const char* qelConfigFile_GetValue(qelConfigFile* config, const char* section, const char* key,
                                   const char* defaultValue) {
  int found = 0;
  return ReadLayers(config, &found, [=](qelINIFile* table, int* isFound) {
    return qelINIFile_GetValue(table, section, key, defaultValue, isFound);
  });
}

char* qelConfigFile_GetValueWithSubstitution(qelConfigFile* config, const char* section,
                                             const char* key, const char* defaultValue,
                                             char* (*callback)(char* name, void* userData)) {
  int found = 0;
  if (config->readWriteTable != nullptr) {
    char* value = qelINIFile_GetValueWithSubstitution(config->readWriteTable, section, key,
                                                      defaultValue, &found, callback);
    if (found != 0)
      return value;
    free(value);
  }
  return qelINIFile_GetValueWithSubstitution(config->readOnlyTable, section, key, defaultValue,
                                             &found, callback);
}

// Writing ----------------------------------------------------------------------

int qelConfigFile_SetInt32(qelConfigFile* config, const char* section, const char* key,
                           qelLong value) {
  return qelINIFile_SetInt32(config->readWriteTable, section, key, value);
}

int qelConfigFile_SetUInt32(qelConfigFile* config, const char* section, const char* key,
                            qelULong value) {
  return qelINIFile_SetUInt32(config->readWriteTable, section, key, value);
}

int qelConfigFile_SetValue(qelConfigFile* config, const char* section, const char* key,
                           const char* value) {
  return qelINIFile_SetValue(config->readWriteTable, section, key, value);
}
