#include <qel/config/Config.h>

#include <qel/config/qelConfigFile.h>
#include <qel/core/Convert.h>

qelConfig::qelConfig(const qelCString& readOnlyDir, const qelCString& readWriteDir,
                     const qelCString& fileName) {
  const qelCString readOnlyPath = GetValidPath(readOnlyDir, fileName, "");
  if (readWriteDir.IsEmpty()) {
    m_configFile = qelConfigFile_New(readOnlyPath.c_str(), nullptr);
    return;
  }
  const qelCString readWritePath = GetValidPath(readWriteDir, fileName, "_");
  m_configFile = qelConfigFile_New(readOnlyPath.c_str(), readWritePath.c_str());
}

qelConfig::~qelConfig() {
  qelConfigFile_Delete(m_configFile);
}

qelCString qelConfig::GetValidPath(const qelCString& dir, const qelCString& fileName,
                                   const char* prefix) {
  qelCString path(dir.IsEmpty() ? "./" : dir.c_str());
  qelCString name(fileName.c_str());
  path.Replace("\\", "/");
  name.Replace("\\", "/");
  if (path.Last() != '/')
    path += '/';
  path += prefix;
  path += name.AfterLast('/');
  return path;
}

qelConfigFile* qelConfig::GetConfigFile() {
  return m_configFile;
}

bool qelConfig::Save() {
  return qelConfigFile_Save(m_configFile) != 0;
}

void qelConfig::Reset() {
  qelConfigFile_Reset(m_configFile);
}

size_t qelConfig::GetSectionCount(bool readOnly) {
  return qelConfigFile_GetSectionCount(m_configFile, readOnly);
}

qelCString qelConfig::GetSectionName(size_t index, bool readOnly) {
  return qelConfigFile_GetSectionName(m_configFile, index, readOnly);
}

size_t qelConfig::GetKeyCount(const char* section, bool readOnly) {
  return qelConfigFile_GetKeyCount(m_configFile, section, readOnly);
}

qelCString qelConfig::GetKeyNameCString(const char* section, size_t index, bool readOnly) {
  return qelConfigFile_GetKeyName(m_configFile, section, index, readOnly);
}

qelString qelConfig::GetKeyName(const char* section, size_t index, bool readOnly) {
  return qelConvUTF8.ToString(qelConfigFile_GetKeyName(m_configFile, section, index, readOnly));
}

bool qelConfig::DeleteSection(const char* section) {
  return qelConfigFile_DeleteSection(m_configFile, section) != 0;
}

bool qelConfig::DeleteKey(const char* section, const char* key) {
  return qelConfigFile_DeleteKey(m_configFile, section, key) != 0;
}

bool qelConfig::OptionIsSet(const char* section, const char* key, bool defaultValue) {
  return qelConfigFile_GetBool(m_configFile, section, key, defaultValue) != 0;
}

// The number if the type has it, otherwise the default. What the tables give for a text that is no
// number lies outside every narrower type.
template <typename Number>
static Number GetNarrow(qelConfigFile* config, const char* section, const char* key,
                        Number defaultValue) {
  const qelLong value = qelConfigFile_GetInt32(config, section, key, 0x7FFFFFFF);
  const Number narrow = static_cast<Number>(value);
  return narrow == value ? narrow : defaultValue;
}

signed char qelConfig::GetInt8(const char* section, const char* key, signed char defaultValue) {
  return GetNarrow(m_configFile, section, key, defaultValue);
}

unsigned char qelConfig::GetUInt8(const char* section, const char* key,
                                  unsigned char defaultValue) {
  return qelConfigFile_GetUInt8(m_configFile, section, key, defaultValue);
}

short qelConfig::GetInt16(const char* section, const char* key, short defaultValue) {
  return GetNarrow(m_configFile, section, key, defaultValue);
}

unsigned short qelConfig::GetUInt16(const char* section, const char* key,
                                    unsigned short defaultValue) {
  return qelConfigFile_GetUInt16(m_configFile, section, key, defaultValue);
}

qelLong qelConfig::GetInt32(const char* section, const char* key, qelLong defaultValue) {
  return qelConfigFile_GetInt32(m_configFile, section, key, defaultValue);
}

qelULong qelConfig::GetUInt32(const char* section, const char* key, qelULong defaultValue) {
  return qelConfigFile_GetUInt32(m_configFile, section, key, defaultValue);
}

qelCString qelConfig::GetCString(const char* section, const char* key,
                                 const qelCString& defaultValue) {
  return qelConfigFile_GetValue(m_configFile, section, key, defaultValue.c_str());
}

qelCString qelConfig::GetCStringWithSubstitution(const char* section, const char* key,
                                                 const qelCString& defaultValue,
                                                 char* (*callback)(char* name, void* userData)) {
  return qelCString::FromAllocatedString(qelConfigFile_GetValueWithSubstitution(
      m_configFile, section, key, defaultValue.c_str(), callback));
}

qelString qelConfig::GetString(const char* section, const char* key,
                               const qelString& defaultValue) {
  const qelCharBuffer fallback = qelConvUTF8.ToUTF8(defaultValue.c_str());
  return qelConvUTF8.ToString(qelConfigFile_GetValue(m_configFile, section, key, fallback.data()));
}

bool qelConfig::SetInt32(const char* section, const char* key, qelLong value) {
  return qelConfigFile_SetInt32(m_configFile, section, key, value) != 0;
}

bool qelConfig::SetUInt32(const char* section, const char* key, qelULong value) {
  return qelConfigFile_SetUInt32(m_configFile, section, key, value) != 0;
}

bool qelConfig::SetString(const char* section, const char* key, const qelCString& value) {
  return qelConfigFile_SetValue(m_configFile, section, key, value.c_str()) != 0;
}

bool qelConfig::SetString(const char* section, const char* key, const qelString& value) {
  const qelCharBuffer text = qelConvUTF8.ToUTF8(value.c_str());
  return qelConfigFile_SetValue(m_configFile, section, key, text.data()) != 0;
}
