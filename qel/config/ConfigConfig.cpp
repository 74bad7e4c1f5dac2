#define QEL_LOG_MODULE 26
#define QEL_LOG_FILE "..\\..\\ConfigConfig"

#include <qel/config/ConfigConfig.h>

#include <cstring>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelDir.h>
#include <qel/multiplatform/qelPath.h>

// Where the two locations stand: ahead of any section header.
static const char kLocations[] = "default";

// The brand values and what they are when the bootstrap file does not say.
static const struct {
  const char* name;
  const char* defaultValue;
} kBrand[] = {
    {"Dorv", "qelix"},
    {"Kelset", "com.qelix."},
};

static qelCString GetProgramDirectory() {
  return qelCString::FromAllocatedString(qelPath_GetCurrentDirectoryText());
}

qelConfigConfig::qelConfigConfig(const char* fileName)
    : qelConfig(GetProgramDirectory(), qelCString(), fileName) {}

qelConfigConfig::~qelConfigConfig() = default;

bool qelConfigConfig::GetPaths(qelCString& readPath, qelCString& writePath) {
  readPath = GetCString(kLocations, "ReadPath", "");
  writePath = GetCString(kLocations, "WritePath", "");
  if (!readPath.IsEmpty() && !writePath.IsEmpty())
    return true;
  QEL_LOG(1, "qelConfigConfig: Cannot get paths (RO = '%s', RW = '%s')\n", readPath.c_str(),
          writePath.c_str());
  return false;
}

bool qelConfigConfig::GetAndCheckPaths(qelCString& readPath, qelCString& writePath) {
  readPath = GetCString(kLocations, "ReadPath", "./");
  writePath = GetCString(kLocations, "WritePath", "./");
  if (qelDir_CreateRecursively(readPath.c_str()) != 0 &&
      qelDir_CreateRecursively(writePath.c_str()) != 0)
    return true;
  QEL_LOG(1, "qelConfigConfig: Cannot get checked paths (RO = '%s', RW = '%s')\n", readPath.c_str(),
          writePath.c_str());
  return false;
}

bool qelConfigConfig::GetConfigPaths(qelCString& readPath, qelCString& writePath,
                                     const char* fileName) {
  return qelConfigConfig(fileName).GetAndCheckPaths(readPath, writePath);
}

qelCString qelConfigConfig::GetBrandInfo(const char* name, const char* fileName) {
  qelConfigConfig config(fileName);
  for (const auto& value : kBrand)
    if (std::strcmp(name, value.name) == 0)
      return config.GetCString("Brand", value.name, value.defaultValue);
  return qelCString();
}
