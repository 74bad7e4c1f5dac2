#include <qel/multiplatform/qelFile.h>

#include <qel/multiplatform/qelFilePrivate.h>

namespace {

// A mode is refused if its bits under the mask are exactly these.
struct ModeRule {
  int mask;
  int bits;
  const char* refusal; // format of the log line
};

constexpr int kRead = qelFileModeRead;
constexpr int kWrite = qelFileModeWrite;
constexpr int kExclusive = qelFileModeExclusive;
constexpr int kAppend = qelFileModeAppend;
constexpr int kCreate = qelFileModeCreate;
constexpr int kTruncate = qelFileModeTruncate;

// In the order in which they are tried: the first one that holds names the reason.
const ModeRule kModeRules[] = {
    {kRead | kWrite, 0, "qelFile: Cannot open file: '%s' because no mode is specified\n"},
    {kRead | kWrite | kTruncate, kRead | kTruncate,
     "qelFile: Cannot open file: '%s' because truncate mode can only be used on a file open for "
     "writing\n"},
    {kCreate | kAppend, kCreate | kAppend,
     "qelFile: Cannot open file: '%s' because append and create modes cannot be used together\n"},
    {kCreate | kTruncate | kExclusive, kCreate | kTruncate | kExclusive,
     "qelFile: Cannot open file: '%s' because truncate and exclusive modes cannot be used "
     "together\n"},
    {kCreate | kExclusive, kExclusive,
     "qelFile: Cannot open file: '%s' because exclusive modes can only be used with the create "
     "mode\n"},
};

} // namespace

const char* qelFile_ShownName(const char* name) {
  return name != nullptr ? name : "(null)";
}

const char* qelFile_CheckMode(int* mode) {
  if ((*mode & kAppend) != 0)
    *mode |= kWrite;
  for (const ModeRule& rule : kModeRules)
    if ((*mode & rule.mask) == rule.bits)
      return rule.refusal;
  return nullptr;
}
