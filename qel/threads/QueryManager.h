#ifndef QEL_THREADS_QUERYMANAGER_H
#define QEL_THREADS_QUERYMANAGER_H
//===----------------------------------------------------------------------===//
// qelQueryManager: a queue of work for a processing thread, with delayed entries.
//
//   while (running) {
//     manager.WaitForQuery(limit);
//     while (qelQuery* query = manager.GetQuery()) { ...; query->Done(); }
//   }
//
//   head --> delayed --> ready --> delayed --> null
//                          |                     ^-- tail
//                          +-- GetQuery takes this one
//
// Times are absolute and come from the system clock; nothing makes up for a clock
// that is set back.
//
// INVARIANTS: head and tail are both null or both not; the tail's link is null.
// COST: AddQuery and PushBackQuery O(1); GetQuery, HasPendingQuery, WaitForQuery and
// FindQuery O(n) in the length of the chain. Clearing is O(n) if all goes or stays,
// otherwise each removal is O(number of those that stay ahead of it).
// ERRORS: none.
// OWNERSHIP: the manager owns the queries of its chain; those that are cleared get
// their Done. A COPY SHARES THE CHAIN AND THE LOCKS: one of the two must die without
// its destructor.
// THREADS: any. InitQuery, SignalQueryToProcess, the selectors and a cleared query's
// Done run under the lock, which is recursive, and may call the manager. A match may
// add queries, but take none out.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/Condition.h>
#include <qel/threads/Mutex.h>

class qelQuery;
class qeluint64;

class QEL_EXPORT qelQueryManager {
public:
  // An empty chain, running.
  qelQueryManager();
  qelQueryManager(const qelQueryManager& other);            // see OWNERSHIP
  qelQueryManager& operator=(const qelQueryManager& other); // likewise; the old chain is lost
  // Clears the chain. REQUIRES: no thread is inside of an operation.
  virtual ~qelQueryManager();

  // Appends the query, lets InitQuery prepare it and signals. After Stop the query is done at once.
  void AddQuery(qelQuery* query);

  // Takes the first ready query, which is then the caller's. Null if there is none, or after Stop.
  qelQuery* GetQuery();

  // Whether there is a ready query.
  bool HasPendingQuery();

  // Returns when there is a ready query, when ms milliseconds have passed (0xFFFFFFFF is no limit)
  // or after Stop. A query that has come due is made ready, one at each call.
  // With a limit it also returns if it was woken and the chain is empty.
  void WaitForQuery(qelULong ms);

  // Removes the queries for which select(query, context) is true, and each gets its Done. A null
  // select removes all. The others keep their order. If select or Done takes out the next query, the
  // walk goes on behind the last one that it has spared, or from the front if that has gone as well.
  void ClearSelectedQueries(bool (*select)(qelQuery* query, void* context), void* context);

  // Removes all queries.
  void ClearQueries();

  // Ends the work for good: removes all queries and wakes those that wait. There is no restart.
  void Stop();

protected:
  // Puts a query that could not be finished at the front, for the next turn, without a signal. After
  // Stop the query stays the caller's; who holds the lock can tell by FindQuery.
  void PushBackQuery(qelQuery* query);

  // The first query of the chain for which match(query, context) is true, or null.
  // REQUIRES: the caller holds the lock.
  qelQuery* FindQuery(bool (*match)(qelQuery* query, void* context), void* context);

  // Take and give back the lock of the chain.
  void LockQueries();
  void UnlockQueries();

  // Wakes the processing thread. To be overridden if that does not sleep in WaitForQuery.
  virtual void SignalQueryToProcess();

  // Prepares a query that was just appended. The base does nothing.
  virtual void InitQuery(qelQuery* query);

  std::atomic<bool> m_stopped;   // set for good by Stop
  qelQuery* m_head;              // the first of the chain; null: empty
  qelQuery* m_tail;              // the last of the chain; null: empty
  qelMutex m_queryMutex;         // guards the chain
  qelCondition m_queryCondition; // auto-reset: a signal ahead of a wait is kept

private:
  bool IsEmpty();
  // Whether the query is in the chain, which is all that is asked of the pointer.
  bool IsChained(const qelQuery* query) const;
  // The first query with delay 0, or null.
  qelQuery* FirstReady() const;
  // The query with the smallest time, on ties the first. REQUIRES: the chain is not empty.
  qelQuery* Earliest() const;
  // Whether a wait has to sleep, and for how many milliseconds: neither is a query ready nor has the
  // limit come. Readies a query that has come due. REQUIRES: the chain is not empty.
  bool NeedsWait(const qeluint64& limit, qelULong* span);
  // Takes a query out of the chain; one that is not in it is left alone, and the result is false.
  bool Unlink(qelQuery* query);
  // Whether Stop was called; then another waiter is woken to see it too.
  bool PassStopOn();
};

static_assert(sizeof(std::atomic<bool>) == sizeof(bool), "a flag is one byte");

#endif
