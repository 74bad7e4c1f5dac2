#define QEL_LOG_FILE "..\\..\\posix\\qelThread.posix"

#include <qel/multiplatform/qelThread.h>

#include <qel/multiplatform/qelThreadBackend.h>
#include <qel/posix/qelDeadline.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <link.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

const char* const qelThread_LogFile = QEL_LOG_FILE;

namespace {

// What the record's handle points to. The system has no suspended threads, so one waits at a gate.
struct Handle {
  qelOSThread* record;  // whose thread it is
  pthread_t thread;     // joinable, until it is joined or let go
  sem_t known;          // posted once `id` is set
  sem_t gate;           // posted by the release
  pthread_mutex_t lock; // guards the fields below
  pid_t id;             // 0 once the thread has ended: the system may give it to another one
  bool released;        // the gate is open
  bool joined;          // nothing is left to join or to let go
};

class Locker {
public:
  explicit Locker(Handle* handle) : m_handle(handle) { ::pthread_mutex_lock(&m_handle->lock); }
  ~Locker() { ::pthread_mutex_unlock(&m_handle->lock); }
  Locker(const Locker&) = delete;
  Locker& operator=(const Locker&) = delete;

private:
  Handle* m_handle;
};

} // namespace

static void Await(sem_t* semaphore) {
  while (::sem_wait(semaphore) != 0 && errno == EINTR) {
  }
}

// Stack sizes ------------------------------------------------------------------

// Adds a module's thread-local objects, which lie on a thread's stack.
static int AddThreadLocals(dl_phdr_info* module, size_t, void* sum) {
  for (int i = 0; i < module->dlpi_phnum; ++i) {
    const auto& part = module->dlpi_phdr[i];
    if (part.p_type == PT_TLS)
      *static_cast<uint64_t*>(sum) += part.p_memsz + part.p_align;
  }
  return 0;
}

// What a thread needs of its stack before its body has any.
static uint64_t StackOverhead() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  uint64_t sum = 0x40000; // a sanitizer makes frames several times as large
#else
  uint64_t sum = 0;
#endif
  const long least = ::sysconf(_SC_THREAD_STACK_MIN);
  sum += least > 0 ? static_cast<uint64_t>(least) : 0;
  ::dl_iterate_phdr(&AddThreadLocals, &sum);
  return sum;
}

// Asks for a stack of that many bytes for the body. Returns 0 or the system's error number.
static int SetStackSize(pthread_attr_t* attributes, uint64_t bytes) {
  const uint64_t page = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
  const uint64_t extra = StackOverhead() + page - 1;
  if (bytes > std::numeric_limits<uint64_t>::max() - extra)
    return ENOMEM;
  return ::pthread_attr_setstacksize(attributes, (bytes + extra) / page * page);
}

// The thread -------------------------------------------------------------------

static void* RunThread(void* block) {
  Handle* handle = static_cast<Handle*>(block);
  // Not `handle` behind the end: with the record its handle goes.
  qelOSThread* record = handle->record;
  handle->id = ::gettid();
  ::sem_post(&handle->known);
  Await(&handle->gate);
  qelThread_RunBody(record);
  {
    Locker locker(handle);
    handle->id = 0;
  }
  qelThread_End(record);
  return nullptr;
}

static int StartSystemThread(Handle* handle, uint64_t stackSize) {
  pthread_attr_t attributes;
  int error = ::pthread_attr_init(&attributes);
  if (error != 0)
    return error;
  if (stackSize != 0)
    error = SetStackSize(&attributes, stackSize);
  if (error == 0)
    error = ::pthread_create(&handle->thread, &attributes, &RunThread, handle);
  ::pthread_attr_destroy(&attributes);
  return error;
}

static void FreeHandle(Handle* handle) {
  ::sem_destroy(&handle->known);
  ::sem_destroy(&handle->gate);
  ::pthread_mutex_destroy(&handle->lock);
  free(handle);
}

// Handles ----------------------------------------------------------------------

int qelThread_CreateHandle(qelOSThread* thread, uint64_t stackSize) {
  void* block = malloc(sizeof(Handle));
  if (block == nullptr)
    return ENOMEM;
  Handle* handle = new (block) Handle();
  handle->record = thread;
  // None of these three can fail with such arguments on this system.
  ::sem_init(&handle->known, /*pshared=*/0, /*value=*/0);
  ::sem_init(&handle->gate, /*pshared=*/0, /*value=*/0);
  ::pthread_mutex_init(&handle->lock, nullptr);
  const int error = StartSystemThread(handle, stackSize);
  if (error != 0) {
    FreeHandle(handle);
    return error;
  }
  Await(&handle->known);
  thread->handle = handle;
  return 0;
}

bool qelThread_ReleaseHandle(void* block) {
  Handle* handle = static_cast<Handle*>(block);
  {
    Locker locker(handle);
    if (handle->released)
      return false;
    handle->released = true;
  }
  // The last that is done with the handle, for a thread that is let go may end and free it.
  ::sem_post(&handle->gate);
  return true;
}

int qelThread_WaitHandle(void* block, int* error) {
  Handle* handle = static_cast<Handle*>(block);
  *error = ::pthread_join(handle->thread, nullptr);
  if (*error == 0) {
    Locker locker(handle);
    handle->joined = true;
  }
  return *error;
}

int qelThread_CloseHandle(void* block) {
  Handle* handle = static_cast<Handle*>(block);
  const int error = handle->joined ? 0 : ::pthread_detach(handle->thread);
  FreeHandle(handle);
  return error;
}

int qelThread_SetLevel(void* block, int level) {
  Handle* handle = static_cast<Handle*>(block);
  Locker locker(handle);
  if (handle->id == 0)
    return ESRCH;
  const int nice = level * -5;
  return ::setpriority(PRIO_PROCESS, static_cast<id_t>(handle->id), nice) == 0 ? 0 : errno;
}

// The calling thread -----------------------------------------------------------

void qelOSThread_Sleep(qelULong ms) {
  if (ms == 0) {
    ::sched_yield();
    return;
  }
  if (ms == 0xFFFFFFFFu) {
    for (;;)
      ::pause();
  }
  const timespec deadline = qelDeadline_After(ms);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
  }
}

void qelOSThread_SetName(const char* name) {
  const size_t limit = 15;
  char shown[limit + 1] = "";
  if (name != nullptr)
    memcpy(shown, name, std::min(strlen(name), limit));
  ::pthread_setname_np(::pthread_self(), shown);
}
