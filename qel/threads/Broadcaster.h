#ifndef QEL_THREADS_BROADCASTER_H
#define QEL_THREADS_BROADCASTER_H
//===----------------------------------------------------------------------===//
// qelBroadcaster: tells every listener that is registered with it a number and a
// pointer, by a direct call in the sender's thread.
//
//   class Player : public qelBroadcaster { ... };
//   player.AddListener(&display);
//   player.BroadcastMessage(kPaused, &position);   // display.ListenToMessage
//
// Broadcaster and listener know of each other, and whichever dies first takes
// itself off the other's list. Both may die in the middle of a delivery, by the
// hand of a callback, with the delivery going on for those that are left.
//
// ERRORS: none is reported.
// OWNERSHIP: neither side owns the other. A copy of a broadcaster starts without
// listeners.
// THREADS: one at a time for all that are connected; the client locks. Safety in a
// delivery comes from list iterators that survive removals.
//===----------------------------------------------------------------------===//

#include <qel/containers/List.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelListener;

class QEL_EXPORT qelBroadcaster {
public:
  // Without listeners, and broadcasting.
  qelBroadcaster();

  // Tells every listener the number 0 with this broadcaster as data (unless broadcasting is stopped),
  // as BroadcastMessage of this class does it, then takes itself off their lists.
  virtual ~qelBroadcaster();

  // Takes whether to broadcast, and no listeners.
  qelBroadcaster(const qelBroadcaster& other);

  // Takes whether to broadcast, and empties its own list, onto itself as well. The listeners that it
  // had are not told: they go on to know it, and must be gone ahead of it, also when they are added
  // again, which makes it known to them twice.
  qelBroadcaster& operator=(const qelBroadcaster& other);

  // Registers a listener behind those that are there, on both sides. One that is registered already
  // is ignored.
  virtual void AddListener(qelListener* listener);

  // Takes a listener off, on both sides. One that is not registered is ignored.
  virtual void RemoveListener(qelListener* listener);

  // Calls ListenToMessage(message, data) of every registered listener that is listening, in the order
  // of registration; nothing while broadcasting is stopped. A callback may add listeners, which get
  // this message too, remove or delete any, broadcast again, and delete the broadcaster, which ends
  // the delivery.
  virtual void BroadcastMessage(qelLong message, void* data);

  // A change in the middle of a delivery has no effect on that delivery.
  void StartBroadcasting();
  void StopBroadcasting();
  bool IsBroadcasting() const;

protected:
  qelList<void*> m_listeners; // qelListener*, in the order of registration; not owned
  bool m_broadcasting;        // whether messages are sent
};

#endif
