#ifndef QEL_CONFIG_CONFIGCONFIG_H
#define QEL_CONFIG_CONFIGCONFIG_H
//===----------------------------------------------------------------------===//
// The bootstrap file beside the program, "ConfigPath.ini". It tells where all other
// configuration files live, and carries the program's brand:
//
//   ReadPath=./data          (ahead of any section: read-only configuration)
//   WritePath=<MyAppData>    (the directory of what is saved)
//   [Brand]
//   Dorv=...
//   Kelset=...
//
// The file is read only; nothing is ever written to it.
//
// ERRORS, THREADS: as in qelConfig. The static operations share nothing and may be
// called from any thread.
//===----------------------------------------------------------------------===//

#include <qel/config/Config.h>

class QEL_EXPORT qelConfigConfig : public qelConfig {
public:
  explicit qelConfigConfig(const char* fileName = "ConfigPath.ini");
  qelConfigConfig(const qelConfigConfig&) = default;
  qelConfigConfig& operator=(const qelConfigConfig&) = default;
  ~qelConfigConfig() override;

  // The two paths as they stand in the file. False, after a log line, if either is missing or empty;
  // both hold what was found all the same.
  bool GetPaths(qelCString& readPath, qelCString& writePath);

  // The two paths with "./" for one that is missing. Missing directories are created, the read path's
  // first. False, after a log line, if that failed; the write path's is then not tried behind a read
  // path that failed.
  bool GetAndCheckPaths(qelCString& readPath, qelCString& writePath);

  // GetAndCheckPaths on the bootstrap file of that name.
  static bool GetConfigPaths(qelCString& readPath, qelCString& writePath, const char* fileName);

  // A brand value by its name, "Dorv" or "Kelset", or what it is when the file does not say. Any
  // other name gives the empty text.
  static qelCString GetBrandInfo(const char* name, const char* fileName);
};

#endif
