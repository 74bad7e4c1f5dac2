#define QEL_LOG_FILE "..\\..\\win32\\qelThread.win32"

#include <qel/multiplatform/qelThread.h>

#include <qel/multiplatform/qelThreadBackend.h>

#include <cstdint>
#include <cstring>
#include <limits>

#include <windows.h>

const char* const qelThread_LogFile = QEL_LOG_FILE;

namespace {

// What a debugger reads out of the exception that names a thread.
struct NameRecord {
  DWORD type;       // kNameType
  const char* name; // the name
  DWORD thread;     // its thread
  DWORD flags;      // 0
};

} // namespace

constexpr DWORD kNameException = 0x406D1388;
constexpr DWORD kNameType = 0x1000;
constexpr DWORD kNameArguments = 6;
constexpr uint64_t kStackGrain = 0x10000;

// The thread -------------------------------------------------------------------

static DWORD WINAPI RunThread(void* block) {
  qelOSThread* record = static_cast<qelOSThread*>(block);
  qelThread_RunBody(record);
  qelThread_End(record);
  return 0;
}

// Handles ----------------------------------------------------------------------

int qelThread_CreateHandle(qelOSThread* thread, uint64_t stackSize) {
  // The system rounds sizes up, and such a one may come out as next to nothing.
  if (stackSize > std::numeric_limits<uint64_t>::max() - kStackGrain)
    return ERROR_NOT_ENOUGH_MEMORY;
  const DWORD flags = CREATE_SUSPENDED | (stackSize != 0 ? STACK_SIZE_PARAM_IS_A_RESERVATION : 0);
  thread->handle =
      ::CreateThread(nullptr, static_cast<SIZE_T>(stackSize), &RunThread, thread, flags, nullptr);
  return thread->handle != nullptr ? 0 : static_cast<int>(::GetLastError());
}

bool qelThread_ReleaseHandle(void* handle) {
  // The count of suspensions ahead of the call.
  return ::ResumeThread(handle) == 1;
}

int qelThread_WaitHandle(void* handle, int* error) {
  const DWORD result = ::WaitForSingleObject(handle, INFINITE);
  *error = result != WAIT_OBJECT_0 ? static_cast<int>(::GetLastError()) : 0;
  return static_cast<int>(result);
}

int qelThread_CloseHandle(void* handle) {
  return ::CloseHandle(handle) ? 0 : static_cast<int>(::GetLastError());
}

int qelThread_SetLevel(void* handle, int level) {
  return ::SetThreadPriority(handle, level) ? 0 : static_cast<int>(::GetLastError());
}

// The calling thread -----------------------------------------------------------

void qelOSThread_Sleep(qelULong ms) {
  ::Sleep(ms);
}

// Lets the system go on behind an exception that names a thread, whether a debugger saw it or not.
static LONG CALLBACK PassNameException(EXCEPTION_POINTERS* exception) {
  return exception->ExceptionRecord->ExceptionCode == kNameException ? EXCEPTION_CONTINUE_EXECUTION
                                                                     : EXCEPTION_CONTINUE_SEARCH;
}

// The compiler has no structured handlers, so a vectored one stands guard; the last, so that those
// that a program has of its own see the exception. The count of arguments is that of the
// convention and more than the record has, so the record lies in as many zeroed words.
void qelOSThread_SetName(const char* name) {
  const NameRecord record = {kNameType, name != nullptr ? name : "", ::GetCurrentThreadId(), 0};
  ULONG_PTR arguments[kNameArguments] = {};
  static_assert(sizeof(record) <= sizeof(arguments), "the record lies in the arguments");
  memcpy(arguments, &record, sizeof(record));
  void* guard = ::AddVectoredExceptionHandler(/*First=*/0, &PassNameException);
  if (guard == nullptr)
    return;
  ::RaiseException(kNameException, /*dwExceptionFlags=*/0, kNameArguments, arguments);
  ::RemoveVectoredExceptionHandler(guard);
}
