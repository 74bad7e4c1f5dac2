#include <qel/multiplatform/qelDir.h>

#include <cstring>

#include <qel/multiplatform/qelFilePrivate.h>

static bool IsDots(const char* name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// INTENDED: "*.*" takes names without a dot, too; it is the usual way to ask for everything. Pinned by
// qelDirEnumeration.MatchesPatterns.
const char* qelDir_EffectivePattern(const char* pattern) {
  return *pattern == '\0' || strcmp(pattern, "*.*") == 0 ? "*" : pattern;
}

int qelDir_PassesFilter(int filter, const char* name, int isDir, int isHidden) {
  const int kind = isDir ? qelDirFilterDirs : qelDirFilterFiles;
  return (filter & kind) != 0 && (!isHidden || (filter & qelDirFilterHidden) != 0) &&
         (!IsDots(name) || (filter & qelDirFilterDots) != 0);
}
