#ifndef QEL_CACHE_CACHEDBASE_H
#define QEL_CACHE_CACHEDBASE_H
//===----------------------------------------------------------------------===//
// qelCachedBase: a counted object whose contents come and go while the object
// itself stays. A qelCache decides whose contents go.
//
//   class Picture : public qelCachedBase {
//     bool Fetch() override { m_size = Load(&m_pixels); return m_size != 0; }
//     void Trash() override { m_pixels.clear(); m_size = 0; }
//   };
//
//   qelRef<Picture> picture(new Picture);
//   cache.Attach(picture.Get());
//   picture->Prefetch();                  // Fetch, and the cache holds the picture
//   if (picture->IsAvailable()) ...
//
//   Unavailable --SetWanted--> Wanted --SetFetching--> Fetching --FetchDone(true)--> Available
//        ^                        |                       |                              |
//        +------------------------+---- CancelFetch ------+------------ Trash -----------+
//
// The synchronous form, which is the one of this class, passes Wanted and Fetching
// by: the state is Unavailable until FetchDone. A subclass that fetches in the
// background overrides SetFetching.
//
// Whoever wants to know adds a listener: Available and Unavailable are broadcast as
// messages of the same number, with the qelCachedBase as data.
//
// ERRORS: a fetch that fails is none: it leads back to Unavailable, which is
// broadcast.
// OWNERSHIP: as for qelRefCounted. While the object is in the cache's list of the
// available ones the cache holds a reference; otherwise it knows the object and
// does not hold it, and the object's end takes it out of the cache. A callback may
// end the object with the last reference, so a caller that goes on holds one.
// An object that nobody holds is ended by the first reference that is made to it
// and goes: the cache's passes and OnReadAccess make such references.
// THREADS: one, the same as the cache's; a background fetch calls FetchDone there.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/containers/RefCounted.h>
#include <qel/core/Export.h>
#include <qel/threads/Broadcaster.h>

class qelCache;

// States of a qelCachedBase, and numbers of its messages.
enum : unsigned int {
  qelCachedStateUnavailable = 21000, // no contents; awaits SetWanted
  qelCachedStateWanted = 21001,      // asked for, no fetch started; awaits SetFetching or Forget
  qelCachedStateFetching = 21002,    // a fetch is under way; awaits FetchDone or Forget
  qelCachedStateAvailable = 21003    // contents are there; awaits Forget
};

class QEL_EXPORT qelCachedBase : public qelRefCounted, public qelBroadcaster {
public:
  // Unavailable, not locked, of size 0 and in no cache.
  qelCachedBase();

  // Leaves its cache, then ends as a broadcaster.
  // REQUIRES: destructors of subclasses call nothing that makes references to this object.
  ~qelCachedBase() override;

  // INTENDED: all fields are taken, with the count of references, as qelRefCounted has it, and the
  // cache, though the cache does not know the copy; nor does any listener. A copy counts as attached
  // to those that ask it, until qelCache::Detach or its own end. Pinned by
  // QelCachedBaseCopy.TakesTheFieldsTheCountAndTheCache.
  // REQUIRES: a copy of an attached object is detached, attached or ended ahead of the cache's end.
  qelCachedBase(const qelCachedBase& other);

  // Takes the same, whatever the target's own references and cache are.
  // REQUIRES: the target is in no cache.
  qelCachedBase& operator=(const qelCachedBase& other);

  // The state, one of the above; two names of one operation.
  unsigned int GetState() const;
  unsigned int State() const;

  bool IsAvailable() const;
  bool IsUnavailable() const;

  // Non-zero: the contents are not forgotten by the cache.
  int GetLockCount() const;

  // Bytes of the contents, as the subclass told.
  uint64_t Size() const;

  // Asks for the contents if the object is Unavailable.
  void Want();

  // The same, as a use: an attached object becomes the most recently used one.
  void Prefetch();

  // Drops the contents, or what is under way towards them; nothing if the object is Unavailable.
  virtual void Forget();

protected:
  friend class qelCache;

  // The contents are asked for. Here: SetFetching, at once. A subclass that puts the fetch off stores
  // Wanted and calls SetFetching later.
  virtual void SetWanted();

  // Gives up the aim: targetState is Unavailable from here on. Stops what is under way, by CancelFetch
  // in Fetching or Trash in Available, and goes to Unavailable. An object that is Unavailable broadcasts
  // nothing.
  virtual void SetNotWanted();

  // The contents are about to be used. An attached object tells its cache, with a reference to itself;
  // any other calls SetWanted if it is Unavailable.
  virtual void OnReadAccess();

  // Fetches. Here: FetchDone(Fetch()). In the background: SetState(qelCachedStateFetching), starts the
  // work, and calls FetchDone at its end.
  virtual void SetFetching();

  // Gets the contents and sets the size; false if that failed. Here: false.
  virtual bool Fetch();

  // Drops the contents, whole or partial. Here: nothing.
  // REQUIRES: it does not lead to another Forget of this object that would end it.
  virtual void Trash();

  // Stops the fetch under way, so that FetchDone is not called for it. Here: nothing.
  virtual void CancelFetch();

  // A label for diagnosis. Here: the empty string.
  virtual const char* GetID();

  // Stores a state. Available and Unavailable are broadcast, also if the object was in that state.
  void SetState(unsigned int state);

  // The end of a fetch. Goes to Available or, after Trash, to Unavailable.
  // INTENDED: while targetState is Available a failed fetch is tried again at once, any number of
  // times, with no broadcast in between. Whoever sets the aim also gives it up. Pinned by
  // QelCachedBaseFetchDone.TriesAgainWithoutABroadcastWhileTheAimIsAvailable.
  // COST: in the synchronous form each attempt may take stack within the one before.
  void FetchDone(bool ok);

  unsigned int m_state;       // one of the states above
  unsigned int m_targetState; // Available: a failed fetch is tried again; Unavailable: it is not
  int m_lockCount;            // the subclass's; non-zero: the cache does not forget the contents
  qelCache* m_cache;          // not owned; null: not attached
  uint64_t m_size;            // the subclass's: bytes of the contents
};

#endif
