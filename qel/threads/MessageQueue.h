#ifndef QEL_THREADS_MESSAGEQUEUE_H
#define QEL_THREADS_MESSAGEQUEUE_H
//===----------------------------------------------------------------------===//
// qelMessageQueue: messages from any number of producers, first in, first out and
// without bound, to consumers that sleep until there is one.
//
//   head --> message --> message --> message <-- tail
//            oldest                  newest
//
// A consumer loops around Get and decides by its own condition when to end: Get
// may come back empty-handed because of a Cancel, or because another consumer
// took the message that woke it.
//
//   while (!done) {
//     qelMessage message;
//     if (queue.Get(&message) == 0)
//       Handle(message);
//   }
//
// ERRORS: an int is 0 for success. Locks that can't be made are not noticed by the
// constructor; the first use of such a queue fails. An error of the system during
// a wait ends the process.
// OWNERSHIP: a queued message is the queue's. A COPY OF A QUEUE SHARES ITS MESSAGES
// AND ITS LOCKS without any count, so only one of the two may be destroyed.
// THREADS: any; but no thread may be inside an operation when the queue is
// destroyed.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/Message.h>

struct qelOSCondition;
struct qelOSMutex;

class QEL_EXPORT qelMessageQueue {
public:
  // An empty queue.
  qelMessageQueue();

  // Frees the messages that are still queued.
  virtual ~qelMessageQueue();

  // Share everything; see OWNERSHIP. What the target of an assignment held is not freed.
  qelMessageQueue(const qelMessageQueue& other);
  qelMessageQueue& operator=(const qelMessageQueue& other);

  // Appends a message and wakes a consumer that sleeps; then it returns when the consumer has
  // acknowledged. Returns 0, or 1 when there is no memory or the lock fails: nothing is queued then.
  int Post(qelLong id, void* param1, void* param2);

  // Takes the oldest message, which is the caller's to delete. In an empty queue it waits first,
  // without limit, but only once: null when the queue is empty after the wait as well.
  qelMessage* Get();

  // The same, with a copy in *out and nothing to delete. Returns 0, or 1 where Get would give null;
  // *out is then as it was. The copy's link is that of the queue: it is not to be followed.
  int Get(qelMessage* out);

  // Wakes one thread that sleeps in Get, if there is one, and that Get comes back empty-handed unless
  // a message has come. A later Get does not know of it.
  void Cancel();

  // Frees all queued messages.
  void Flush();

  // Whether there was no message at this moment, which another thread may change at once.
  bool IsEmpty() const;

protected:
  qelOSMutex* m_mutex;             // guards the chain
  qelOSCondition* m_condition;     // where consumers sleep
  std::atomic<qelMessage*> m_head; // oldest message, null: none; written under the mutex
  qelMessage* m_tail;              // newest message, null: none
};

#endif
