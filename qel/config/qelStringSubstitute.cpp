#include <qel/config/qelStringSubstitute.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelPlatform.h>

static const char kEnvironmentPrefix[] = "env.";
static const size_t kEnvironmentPrefixLength = sizeof kEnvironmentPrefix - 1;

char* qelStringSubstitute(const char* text, const char* delimiter, int rescan,
                          char* (*callback)(char* name, void* userData), void* userData) {
  return qelStringSubstituteDelimited(text, delimiter, delimiter, rescan, callback, userData);
}

char* qelStringSubstituteDelimited(const char* text, const char* open, const char* close,
                                   int rescan, char* (*callback)(char* name, void* userData),
                                   void* userData) {
  char* result = qelMem_StrDup(text);
  const size_t openLength = strlen(open);
  const size_t closeLength = strlen(close);
  if (result == nullptr || openLength == 0 || closeLength == 0)
    return result;
  const bool isSame = strcmp(open, close) == 0;
  int rescansLeft = rescan != 0 ? qelStringSubstituteMaxRescans : 0;
  size_t at = 0; // what stands ahead is done
  for (;;) {
    const char* token = strstr(result + at, open);
    const char* name = token != nullptr ? token + openLength : nullptr;
    const char* end = name != nullptr ? strstr(name, close) : nullptr;
    if (end == nullptr)
      return result;
    const bool isEscape = isSame && name == end;
    const qelOwnedText nameText(qelMem_StrNDup(name, static_cast<size_t>(end - name)));
    const qelOwnedText answer(
        isEscape ? nullptr : qelStringResolveVariable(nameText.get(), callback, userData));
    const char* inserted = isEscape ? open : answer != nullptr ? answer.get() : "";
    const size_t head = static_cast<size_t>(token - result);
    result = qelPath_ReplaceRange(result, head, inserted, end + closeLength);
    // A delimiter that was escaped is text and begins nothing.
    const bool scansAgain = !isEscape && rescansLeft > 0;
    rescansLeft -= scansAgain ? 1 : 0;
    at = head + (scansAgain ? 0 : strlen(inserted));
  }
}

char* qelStringResolveVariable(const char* name, char* (*callback)(char* name, void* userData),
                               void* userData) {
  if (callback != nullptr) {
    const qelOwnedText asked(qelMem_StrDup(name)); // the callback's to write in
    char* answer = callback(asked.get(), userData);
    if (answer != nullptr)
      return answer;
  }
  if (strncmp(name, kEnvironmentPrefix, kEnvironmentPrefixLength) != 0)
    return nullptr;
  return qelGetEnvironmentVariable(name + kEnvironmentPrefixLength);
}
