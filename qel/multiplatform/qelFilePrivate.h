#ifndef QEL_MULTIPLATFORM_QELFILEPRIVATE_H
#define QEL_MULTIPLATFORM_QELFILEPRIVATE_H
//===----------------------------------------------------------------------===//
// What the file and directory back-ends share. Not for clients.
//
// THREADS: any; no state.
//===----------------------------------------------------------------------===//

#include <cstdlib>
#include <memory>

#include <qel/core/Types.h>

// Owners of texts that are released with free.
struct qelFreeText {
  void operator()(void* text) const { free(text); }
};
typedef std::unique_ptr<char, qelFreeText> qelOwnedText;
typedef std::unique_ptr<qelOSChar, qelFreeText> qelOwnedName;

// The name as log lines show it.
const char* qelFile_ShownName(const char* name);

// Applies the rules of the open mode to *mode: append forces write on. Returns null if the mode may be
// opened, otherwise the format of the log line that refuses it, which takes the file's name.
const char* qelFile_CheckMode(int* mode);

// 1 if the name leads to an ordinary file: no directory, and no device or pipe, which could keep an
// open waiting.
int qelFile_IsRegular(const char* name);

// The pattern that an enumeration uses: "*" for "" and "*.*".
const char* qelDir_EffectivePattern(const char* pattern);

// 1 if an entry of this kind passes the filter.
int qelDir_PassesFilter(int filter, const char* name, int isDir, int isHidden);

#endif
