#ifndef QEL_MULTIPLATFORM_QELSOCKETSELECT_H
#define QEL_MULTIPLATFORM_QELSOCKETSELECT_H
//===----------------------------------------------------------------------===//
// select that any thread can end: a pair of UDP sockets on 127.0.0.1, the one
// always in the read set, the other sends it one byte for a wake-up. A wake-up
// that comes while nobody waits stays in the socket, so the next wait ends at
// once; none is lost.
//
// The read socket is connected to the write socket's address, so that it hears
// nobody else on the machine.
//
// SETS: a set counts as full with 64 members on every system.
// ERRORS: a level-1 line of module 25. The sockets themselves log as qelSocket.h
// says.
// OWNERSHIP: the maker holds the record, and so does everybody between Retain and
// Delete; the last one's Delete releases it.
// THREADS: one thread at a time in qelSocketSelect_Select or CheckAndDrain; all
// others from any thread. No lock is held during the wait.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelSocketTypes.h>

struct qelSocketSelect;

constexpr int qelSocketSelectSetSize = 64; // members of a full set

// A new record that its caller holds, or null.
// POSIX: null as well when a socket's number is at or above FD_SETSIZE.
qelSocketSelect* qelSocketSelect_New();

// One holder more.
void qelSocketSelect_Retain(qelSocketSelect* select);

// One holder less; the last one closes the sockets and releases the record. Null is ignored.
void qelSocketSelect_Delete(qelSocketSelect* select);

// Ends the wait, or else the next one.
void qelSocketSelect_Trigger(qelSocketSelect* select);

// qelSocket_Select with the wake-up: *signalled becomes 1 if that came, otherwise 0; it may be null.
// The result counts the wake-up socket, which is no longer in the read set: go by the sets.
// `nfds` below 1 empties the three sets and waits for the wake-up alone. A null `read` is allowed. A
// full read set is left as it is, and such a wait can't be woken.
int qelSocketSelect_Select(qelSocketSelect* select, fd_set* read, fd_set* write, fd_set* except,
                           int nfds, timeval* timeout, int* signalled);

// For callers that call select themselves. AddToSet puts the wake-up socket into the set, unless it is
// there or the set is full, and returns its number. CheckAndDrain, after the wait, takes it out and
// returns 1 if it is there, otherwise 0.
qelSocketHandle qelSocketSelect_AddToSet(qelSocketSelect* select, fd_set* set);
int qelSocketSelect_CheckAndDrain(qelSocketSelect* select, fd_set* set);

#endif
