#ifndef QEL_TESTS_CACHE_CACHEOBJECTS_H
#define QEL_TESTS_CACHE_CACHEOBJECTS_H
//===----------------------------------------------------------------------===//
// A cached object that notes what is done with it, a listener that notes what is
// told, and a cache that shows its fields.
//
// The notes, with the object's number n: "fetch n", "trash n", "cancel n", "wanted n",
// "end n" from the destructor, "n is 21003" for a message.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <qel/cache/Cache.h>
#include <qel/cache/CachedBase.h>
#include <qel/containers/List.h>

class Item;

// What a test's objects have in common.
struct World {
  std::vector<std::string> notes;
  std::map<int, Item*> living;

  void Note(const char* what, int number) {
    notes.push_back(what + (" " + std::to_string(number)));
  }
  std::vector<std::string> Take() { return std::exchange(notes, {}); }
};

class Item : public qelCachedBase {
public:
  enum Form {
    AtOnce,     // fetches in the call
    Background, // SetFetching stores the state, the test calls FetchDone
    Deferred    // SetWanted stores the state too, the test calls SetFetching
  };
  using Deed = std::function<void()>;

  Item(World* world, int number, uint64_t size = 1, Form form = AtOnce)
      : m_world(world), m_number(number), m_form(form) {
    m_size = size;
    m_world->living[number] = this;
  }
  ~Item() override {
    m_world->Note("end", m_number);
    m_world->living.erase(m_number);
    Do(onEnd);
  }

  int Number() const { return m_number; }
  unsigned int TargetState() const { return m_targetState; }
  qelCache* AttachedTo() const { return m_cache; }
  Form GetForm() const { return m_form; }
  void SetTargetState(unsigned int state) { m_targetState = state; }
  void SetLockCount(int count) { m_lockCount = count; }
  void SetSize(uint64_t size) { m_size = size; }

  using qelCachedBase::CancelFetch;
  using qelCachedBase::Fetch;
  using qelCachedBase::FetchDone;
  using qelCachedBase::GetID;
  using qelCachedBase::OnReadAccess;
  using qelCachedBase::SetNotWanted;
  using qelCachedBase::SetState;
  using qelCachedBase::Trash;

  void SetWanted() override {
    if (m_form != Deferred)
      return qelCachedBase::SetWanted();
    m_world->Note("wanted", m_number);
    SetState(qelCachedStateWanted);
  }
  void SetFetching() override {
    if (m_form == AtOnce)
      return qelCachedBase::SetFetching();
    SetState(qelCachedStateFetching);
  }

  int failures = 0; // that many fetches are to fail
  Deed onFetch;
  Deed onTrash;
  Deed onCancel;
  Deed onEnd;

protected:
  bool Fetch() override {
    m_world->Note("fetch", m_number);
    Do(onFetch);
    return failures == 0 || failures-- == 0;
  }
  void Trash() override {
    m_world->Note("trash", m_number);
    Do(onTrash);
  }
  void CancelFetch() override {
    m_world->Note("cancel", m_number);
    Do(onCancel);
  }

private:
  static void Do(const Deed& deed) {
    const Deed copy = deed; // which may replace or end its own place
    if (copy)
      copy();
  }

  World* const m_world;
  const int m_number;
  const Form m_form;
};

// Notes the messages of Items, then does as told.
class Observer : public qelListener {
public:
  using Deed = std::function<void(qelLong message, Item* item)>;

  explicit Observer(World* world) : m_world(world) {}
  void ListenToMessage(qelLong message, void* data) override {
    // The end is told by what is no Item any more.
    Item* item = message == 0 ? nullptr : static_cast<Item*>(static_cast<qelCachedBase*>(data));
    m_world->notes.push_back(item == nullptr ? "somebody is " + std::to_string(message)
                                             : std::to_string(item->Number()) + " is " +
                                                   std::to_string(message));
    const Deed copy = deed;
    if (copy)
      copy(message, item);
  }

  Deed deed;

private:
  World* const m_world;
};

class OpenCache : public qelCache {
public:
  using qelCache::ListenToMessage;
  using qelCache::OnReadAccess;
  using qelCache::qelCache;
  using qelCache::Run;

  std::vector<int> Recent() {
    std::vector<int> numbers;
    qelListIterator<qelCachedBase*> it(&m_recent);
    while (it.Next())
      numbers.push_back(static_cast<Item*>(it.GetValue())->Number());
    return numbers;
  }
  std::vector<int> Available() {
    std::vector<int> numbers;
    qelListIterator<qelRef<qelCachedBase>> it(&m_available);
    while (it.Next())
      numbers.push_back(static_cast<Item*>(it.GetValue().Get())->Number());
    return numbers;
  }
  uint64_t MaxSize() const { return m_maxSize; }
  uint64_t MaxCount() const { return m_maxCount; }
  bool IsRunning() const { return m_running; }
};

#endif
