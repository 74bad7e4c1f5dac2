#ifndef QEL_THREADS_LISTENER_H
#define QEL_THREADS_LISTENER_H
//===----------------------------------------------------------------------===//
// qelListener: base of what is told the messages of a qelBroadcaster, or jobs of a
// qelListenerWorkerThread.
//
// ERRORS: none is reported.
// OWNERSHIP: the broadcasters are not the listener's. A copy starts registered
// with none.
// THREADS: as for qelBroadcaster; only whether it listens may be changed and asked
// from any thread, since a worker asks in its own.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/containers/List.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelBroadcaster;

class QEL_EXPORT qelListener {
public:
  // Registered with nobody, and listening.
  qelListener();

  // Takes itself off every broadcaster by its virtual RemoveListener.
  virtual ~qelListener();

  // Takes whether to listen, and no registration.
  qelListener(const qelListener& other);

  // Takes whether to listen, and empties its own list, onto itself as well. The broadcasters that it
  // was registered with are not told: they go on to call it, and it must be taken off them by
  // RemoveListener ahead of its end.
  qelListener& operator=(const qelListener& other);

  // Called for each message; data is the sender's. Number 0 tells of a broadcaster's end, with the
  // qelBroadcaster as data. Does nothing here.
  virtual void ListenToMessage(qelLong message, void* data);

  // While a listener does not listen it stays registered and is passed over.
  void StartListening();
  void StopListening();
  bool IsListening() const;

protected:
  friend class qelBroadcaster;

  // The broadcaster's side of a registration calls these; on their own they change this side alone.
  // Adds a broadcaster without a look whether it is there already.
  void AddBroadcaster(qelBroadcaster* broadcaster);

  // Takes off the first entry of a broadcaster; nothing if there is none.
  void RemoveBroadcaster(qelBroadcaster* broadcaster);

  qelList<void*> m_broadcasters; // qelBroadcaster*, in the order of registration; not owned
  std::atomic<bool> m_listening; // whether messages are taken
};

#endif
