#include <qel/files/SingleInstanceChecker.h>

#include <qel/core/CString.h>
#include <qel/multiplatform/qelSingleInstanceChecker.h>

qelSingleInstanceChecker::qelSingleInstanceChecker(const char* name, const char* suffix) {
  qelCString fullName(name);
  if (suffix != nullptr) {
    fullName += "-";
    fullName += suffix;
  }
  m_checker = qelOSSingleInstanceChecker_New(fullName.c_str());
}

qelSingleInstanceChecker::~qelSingleInstanceChecker() {
  qelOSSingleInstanceChecker_Delete(m_checker);
}

bool qelSingleInstanceChecker::IsAnotherRunning() const {
  return m_checker == nullptr || qelOSSingleInstanceChecker_IsAnotherRunning(m_checker) != 0;
}

bool qelSingleInstanceChecker::Error() const {
  return m_checker == nullptr || qelOSSingleInstanceChecker_Error(m_checker) != 0;
}
