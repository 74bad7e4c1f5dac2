#ifndef QEL_THREADS_MESSAGE_H
#define QEL_THREADS_MESSAGE_H
//===----------------------------------------------------------------------===//
// qelMessage: a number and two pointers that travel through a qelMessageQueue.
//
// OWNERSHIP: the two pointers are the client's and are only carried. A queued
// message belongs to its queue.
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelMessage {
public:
  // All fields zero.
  qelMessage();

  // Not queued, with these three.
  qelMessage(qelLong newID, void* newParam1, void* newParam2);

  // Copy all fields, the link too; so the link of a copy says nothing about the copy.
  qelMessage(const qelMessage&) = default;
  qelMessage& operator=(const qelMessage&) = default;

  qelMessage* next; // the message behind this one in a queue; null: the newest one, or not queued
  qelLong id;       // the message's number
  void* param1;     // the client's
  void* param2;     // the client's
};

#endif
