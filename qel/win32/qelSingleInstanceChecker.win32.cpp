#include <qel/multiplatform/qelSingleInstanceCheckerBackend.h>

#include <windows.h>

const char* const qelSingleInstance_LogFile = "..\\..\\win32\\qelSingleInstanceChecker.win32";

int qelSingleInstance_Take(const qelWChar* name, void** handle, bool* existed) {
  const HANDLE mutex = ::CreateMutexW(nullptr, /*bInitialOwner=*/FALSE, name);
  const DWORD error = ::GetLastError();
  if (mutex == nullptr)
    return static_cast<int>(error);
  *handle = mutex;
  *existed = error == ERROR_ALREADY_EXISTS;
  return 0;
}

int qelSingleInstance_Release(void* handle) {
  return ::CloseHandle(handle) ? 0 : static_cast<int>(::GetLastError());
}
