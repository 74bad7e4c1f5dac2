#ifndef QEL_THREADS_SELECT_H
#define QEL_THREADS_SELECT_H
//===----------------------------------------------------------------------===//
// qelSelect, a wait for sockets that any thread can end.
//
// ERRORS: as each operation says, after a level-1 log line. The sockets of the
// system must have been started by then.
// OWNERSHIP: a copy shares the record with its source, so only one of the two may
// be terminated or destroyed.
// THREADS: Select is for one thread at a time. Signal and Terminate may come from
// any thread, and Terminate from any while Select waits: the record lives on until
// all have left it.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/multiplatform/qelSocketTypes.h>

struct qelSocketSelect;

class QEL_EXPORT qelSelect {
public:
  // Empty: Setup makes it ready.
  qelSelect() = default;

  // Terminate.
  ~qelSelect();

  qelSelect(const qelSelect&) = default;
  qelSelect& operator=(const qelSelect&) = default;

  // Makes the object ready. Returns 0, or -1, and the object is then empty.
  // POSIX: fails once the process has FD_SETSIZE descriptors open.
  // REQUIRES: the object is empty.
  int Setup();

  // Waits until a socket of the sets is ready, the time is over or Signal has been called, now or since
  // the last wait; *signalled tells the last, and may be null. `nfds` is the highest handle in the sets;
  // below 1 it empties them. The result is select's; it counts the wake-up too, so go by the sets. They
  // have room for 64 members; a full read set leaves no room for the wake-up.
  // On an empty object -1.
  int Select(fd_set* read, fd_set* write, fd_set* except, int nfds, timeval* timeout,
             bool* signalled);

  // Ends the wait, or else the next one. Does nothing on an empty object.
  void Signal();

  // Ends the wait and leaves the object empty. Does nothing on an empty object.
  void Terminate();

protected:
  qelSocketSelect* m_select = nullptr; // the record; null: empty
};

#endif
