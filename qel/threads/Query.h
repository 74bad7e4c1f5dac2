#ifndef QEL_THREADS_QUERY_H
#define QEL_THREADS_QUERY_H
//===----------------------------------------------------------------------===//
// qelQuery: one piece of work in a qelQueryManager. A program derives from it to
// hold the request.
//
//   waiting (in the chain, with a delay) --> ready (in the chain, delay 0)
//   ready --> taken (executed, the consumer's) --> done
//
// ERRORS: none.
// OWNERSHIP: queries live on the heap and are ended by Done alone. Who made one
// owns it until AddQuery, then the manager, then whoever GetQuery gave it to.
// A copy takes all fields, the link of the chain too: copy what is in no chain.
// THREADS: a query belongs to its owner; the manager touches it under its lock.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/core/UInt64.h>

class QEL_EXPORT qelQuery {
public:
  // In no chain, ready at once, not executed.
  qelQuery();
  qelQuery(const qelQuery&) = default;
  qelQuery& operator=(const qelQuery&) = default;

  // Lets the query be ready only in ms milliseconds by the system clock; 0 is at once.
  // REQUIRES: the query is in no chain.
  void SetDelay(qelULong ms);

  // Ends the query: deletes it, unless m_keepAlive is set.
  virtual void Done();

  // Whether a manager has handed it out.
  virtual bool HasBeenExecuted();

protected:
  virtual ~qelQuery();

  friend class qelQueryManager;

  qelQuery* m_next;      // the next one of the chain; null: the last, or in none
  void* m_keepAlive;     // not null: Done leaves the query alone. Set by subclasses only
  bool m_mark;           // a subclass's own; only copied here
  qelULong m_delay;      // milliseconds; 0: ready
  qeluint64 m_readyTime; // milliseconds of the system clock; means nothing while m_delay is 0
  bool m_executed;       // handed out by GetQuery
};

#endif
