#ifndef QEL_THREADS_LISTENERWORKERTHREAD_H
#define QEL_THREADS_LISTENERWORKERTHREAD_H
//===----------------------------------------------------------------------===//
// qelListenerWorkerThread: a thread that delivers messages to listeners, so that
// the sender does not have to wait for them.
//
//   qelListenerWorkerThread worker;
//   worker.Start();
//   worker.AddJob(&display, kPaused, position);   // returns at once
//   worker.Stop();                                // all jobs are delivered
//
// A job is one call of a listener's ListenToMessage on the worker's thread. Jobs
// run in the order of AddJob. A listener that is not listening when its turn comes
// is passed over.
//
// ERRORS: an int is 0 for success and 1 for failure; a thread that can't be made
// is logged as well.
// OWNERSHIP: a job's listener and data are the client's and must live until the
// job is delivered or dropped: nothing tracks them. A copy is shallow, as for the
// thread and the queue in it, so only one of the two may be destroyed.
// THREADS: AddJob and ProcessPendingJobsAtExit from any; Start and Stop are the
// owner's, once each in this order. The owner stops the worker ahead of its
// destructor.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/MessageQueue.h>
#include <qel/threads/StoppableThread.h>

class qelListener;

class QEL_EXPORT qelListenerWorkerThread : public qelStoppableThread {
public:
  // Named "qelListenerWorkerThread", and delivering what is pending at its end.
  qelListenerWorkerThread();
  ~qelListenerWorkerThread() override;

  qelListenerWorkerThread(const qelListenerWorkerThread& other);
  qelListenerWorkerThread& operator=(const qelListenerWorkerThread& other);

  // Makes the thread and returns when it runs. Returns 0, or 1 when it can't be made.
  int Start();

  // Asks the thread to end and waits until it has; jobs added before are delivered first, or dropped
  // where that was chosen. A stopped worker can't be started again.
  void Stop();

  // Queues a job; a null listener makes one that calls nobody. Returns 0, or 1 when the thread is
  // stopping or there is no memory. A job added while Stop begins may be accepted and dropped.
  int AddJob(qelListener* listener, qelLong message, void* data);

  // Whether the jobs that are queued at the stop are delivered (as at first) or dropped.
  void ProcessPendingJobsAtExit(bool process);

protected:
  // Delivers jobs until TestExit.
  void OnRun() override;

  qelMessageQueue m_jobs;                 // id: the message; param1: the qelListener*; param2: data
  std::atomic<bool> m_processPendingJobs; // deliver what is queued at the stop
};

#endif
