#ifndef QEL_CACHE_CACHE_H
#define QEL_CACHE_CACHE_H
//===----------------------------------------------------------------------===//
// qelCache bounds how many objects have their contents at a time, and how large
// these are together: the contents that were not used for longest are forgotten.
//
//   qelCache cache(64 << 20, 1000);       // 64 MiB, 1000 objects
//   cache.Attach(picture.Get());
//
//   recent     A   b   C   D   e   F      most recently used first; upper case: available
//              1       2   3              maxCount 2: C is within it, D crosses it and stays,
//                                   X     and the contents of F go
//
// A pass runs when an object becomes available, when an available one is attached,
// and when a limit goes down.
//
// COST: linear in the number of attached objects for all but SetLimits upwards.
// ERRORS: none is reported.
// OWNERSHIP: the cache holds a reference to each object that is available, and none
// to the others; either side may end first. See qelCachedBase for objects that
// nobody else holds.
// THREADS: one, the same as the objects'. Callbacks of objects and listeners may call
// any operation here, in the middle of a pass too; they do not end the cache.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/cache/CachedBase.h>
#include <qel/containers/List.h>
#include <qel/containers/Ref.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/Listener.h>

class QEL_EXPORT qelCache : public qelListener {
public:
  // Without limits: both have all bits set.
  qelCache();

  // maxSize in bytes.
  qelCache(uint64_t maxSize, uint64_t maxCount);

  // The objects stay, attached to nothing; those that only the cache held end.
  ~qelCache() override;

  qelCache(const qelCache&) = delete;
  qelCache& operator=(const qelCache&) = delete;

  // Takes an object in; a pass follows if it is available.
  // INTENDED: the newcomer counts as the least recently used, so it may lose its contents at once. What
  // was not used through this cache yet has no claim on it. Pinned by
  // QelCacheAttach.CountsTheNewcomerAsTheLeastRecentlyUsed.
  // REQUIRES: the object is attached to no cache.
  void Attach(qelCachedBase* object);

  // Lets an object go, with its contents and its state. The object ends if only the cache held it.
  void Detach(qelCachedBase* object);

  // Stores both limits; a pass follows if one of them went down.
  void SetLimits(uint64_t maxSize, uint64_t maxCount);

  // Holds each available object, then each attached one, for a moment, and prints nothing: a place for a
  // diagnostic build to hook in. Called at the end of each pass.
  void Dump();

protected:
  friend class qelCachedBase;

  // A pass: walks the objects from the most recently used on until the limits are crossed, and has each
  // further one forgotten that is not locked and has no fetch ahead. Nothing within a pass.
  // INTENDED: the object that crosses a limit stays. maxCount N leaves N + 1 available objects, and
  // maxSize may be exceeded by one object, so the one just used is there whatever its size. Pinned by
  // QelCacheRun.KeepsTheObjectThatCrossesTheCount and QelCacheRun.KeepsTheObjectThatCrossesTheSize.
  // INTENDED: the reference that is held while an object is looked at ends one that nobody else holds.
  // Objects in a cache are held by their users. Pinned by
  // QelCacheRun.EndsAnObjectThatNobodyHolds.
  void Run();

  // An attached object is about to be used: makes it the most recent one, and has it fetched if it is
  // Unavailable.
  void OnReadAccess(const qelRef<qelCachedBase>& object);

  // Follows the states of the objects: one that became available is the most recent one and is held from
  // here on, and a pass follows; one that became Unavailable is no longer held. Other numbers are ignored.
  // INTENDED: the message decides, whatever the object's state is by now, and a repeated message makes a
  // further reference. One reference goes with each message of the other kind. Pinned by
  // QelCacheListenToMessage.HoldsTheObjectOnceForEachMessage.
  void ListenToMessage(qelLong message, void* object) override;

  uint64_t m_maxSize;                         // bytes of contents; all bits set: no limit
  uint64_t m_maxCount;                        // available objects; all bits set: no limit
  bool m_running;                             // a pass is under way
  qelList<qelRef<qelCachedBase>> m_available; // objects with contents, as they became available
  qelList<qelCachedBase*> m_recent; // every attached object, most recently used first; not owned

private:
  // Steps over the objects within the limits, and over the one that crosses them. False if none does.
  bool _PassKept(qelListIterator<qelCachedBase*>& it);
};

#endif
