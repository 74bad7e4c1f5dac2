#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE qelSingleInstance_LogFile

#include <qel/multiplatform/qelSingleInstanceChecker.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelSingleInstanceCheckerBackend.h>

// Spans all sessions of the machine.
static const char kPrefix[] = "Global\\";

// The name as the system gets it; null for an empty one, or without memory. Not of the guarded family,
// which would end the process.
static char* FullName(const char* name) {
  if (name == nullptr || name[0] == '\0')
    return nullptr;
  const size_t size = strlen(name) + 1;
  const size_t prefixLength = sizeof kPrefix - 1;
  char* fullName = static_cast<char*>(malloc(prefixLength + size));
  if (fullName == nullptr)
    return nullptr;
  memcpy(fullName, kPrefix, prefixLength);
  memcpy(fullName + prefixLength, name, size);
  return fullName;
}

// Takes hold of the name for the record. False after a log line.
static bool TakeName(qelOSSingleInstanceChecker* checker, const char* name) {
  const qelOwnedText fullName(FullName(name));
  if (fullName == nullptr) {
    QEL_LOG(1, "qelOSSingleInstanceChecker: Cannot create checker: name '%s' may be invalid\n",
            qelFile_ShownName(name));
    return false;
  }
  const std::unique_ptr<qelWChar, qelFreeText> wideName(qelUTF8_ToWide(fullName.get()));
  if (wideName == nullptr) {
    QEL_LOG(1, "qelOSSingleInstanceChecker: Cannot create wide char name '%s'\n", fullName.get());
    return false;
  }
  bool existed = false;
  const int error = qelSingleInstance_Take(wideName.get(), &checker->mutex, &existed);
  if (error != 0) {
    QEL_LOG(1, "qelOSSingleInstanceChecker: CreateMutex failed (error = %d)\n", error);
    return false;
  }
  checker->anotherRunning = existed ? 1 : 0;
  return true;
}

qelOSSingleInstanceChecker* qelOSSingleInstanceChecker_New(const char* name) {
  qelOSSingleInstanceChecker* checker =
      static_cast<qelOSSingleInstanceChecker*>(qelMem_AllocZero(sizeof *checker));
  if (!TakeName(checker, name)) {
    checker->error = 1;
    checker->anotherRunning = 1;
  }
  return checker;
}

int qelOSSingleInstanceChecker_IsAnotherRunning(const qelOSSingleInstanceChecker* checker) {
  return checker->anotherRunning;
}

int qelOSSingleInstanceChecker_Error(const qelOSSingleInstanceChecker* checker) {
  return checker->error;
}

void qelOSSingleInstanceChecker_Delete(qelOSSingleInstanceChecker* checker) {
  if (checker == nullptr)
    return;
  const int error = checker->mutex != nullptr ? qelSingleInstance_Release(checker->mutex) : 0;
  if (error != 0)
    QEL_LOG(1, "qelOSSingleInstanceChecker: CloseHandle failed (error = %d)\n", error);
  free(checker);
}
