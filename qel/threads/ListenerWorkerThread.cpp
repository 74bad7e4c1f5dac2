#include <qel/threads/ListenerWorkerThread.h>

#include <qel/threads/Listener.h>

// The states from the thread's release on and from its end on.
static constexpr int kStateReleased = 2;
static constexpr int kStateReturned = 6;

// Between two tries of a stop to reach the worker, in milliseconds.
static constexpr int kRetryInterval = 1;

static bool IsAlive(int state) {
  return state >= kStateReleased && state < kStateReturned;
}

static void Deliver(const qelMessage& job) {
  qelListener* listener = static_cast<qelListener*>(job.param1);
  if (listener != nullptr && listener->IsListening())
    listener->ListenToMessage(job.id, job.param2);
}

qelListenerWorkerThread::qelListenerWorkerThread()
    : qelStoppableThread("qelListenerWorkerThread", /*kind=*/0), m_processPendingJobs(true) {}

qelListenerWorkerThread::~qelListenerWorkerThread() = default;

qelListenerWorkerThread::qelListenerWorkerThread(const qelListenerWorkerThread& other)
    : qelStoppableThread(other), m_jobs(other.m_jobs),
      m_processPendingJobs(other.m_processPendingJobs.load()) {}

qelListenerWorkerThread& qelListenerWorkerThread::operator=(const qelListenerWorkerThread& other) {
  qelStoppableThread::operator=(other);
  m_jobs = other.m_jobs;
  m_processPendingJobs = other.m_processPendingJobs.load();
  return *this;
}

int qelListenerWorkerThread::Start() {
  if (ThreadCreate() != 0)
    return 1;
  Go(/*minState=*/3);
  return 0;
}

// A cancel of the queue is lost on a worker that has seen TestExit false and is not yet asleep in Get.
// A job for nobody is not: that Get finds it, and the next TestExit ends the thread. While there is no
// memory for the job, cancels are repeated until one meets the worker asleep.
void qelListenerWorkerThread::Stop() {
  ThreadCancel();
  while (IsAlive(GetThreadState()) && m_jobs.Post(/*id=*/0, nullptr, nullptr) != 0) {
    m_jobs.Cancel();
    ThreadSleep(kRetryInterval);
  }
  m_jobs.Cancel();
  ThreadWaitTerminate();
}

int qelListenerWorkerThread::AddJob(qelListener* listener, qelLong message, void* data) {
  if (TestExit())
    return 1;
  return m_jobs.Post(message, listener, data);
}

void qelListenerWorkerThread::ProcessPendingJobsAtExit(bool process) {
  m_processPendingJobs = process;
}

void qelListenerWorkerThread::OnRun() {
  qelMessage job;
  while (!TestExit() || (m_processPendingJobs && !m_jobs.IsEmpty())) {
    if (m_jobs.Get(&job) == 0)
      Deliver(job);
  }
  m_jobs.Flush();
}
