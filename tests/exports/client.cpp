// Uses the shared library as a client does, by its classes alone. Ends with 0 when all holds; prints
// what does not.

#include <cstdio>
#include <cstring>

#include <qel/qel.h>

static int g_failures = 0;

static void Expect(bool holds, const char* what) {
  if (holds)
    return;
  std::printf("does not hold: %s\n", what);
  ++g_failures;
}

// What the library exports is there before a client's own globals are made.
static const qelCString g_text;
static const qelString g_wide;
static const size_t* const g_npos = &qelCString::npos;
static const size_t& g_wideNpos = qelString::npos;

static void UseConstants() {
  Expect(g_text.c_str() == qelEmptyCString && g_text == "", "the empty text");
  Expect(g_wide.c_str() == qelEmptyString && g_wide == QEL_W(""), "the empty wide text");
  Expect(*g_npos == ~size_t(0) && g_wideNpos == ~size_t(0), "npos is an object");
  Expect(qelCString("abc").Find("x") == *g_npos, "npos is one value");
}

// Pointers to these stand for arrays; nobody reads through them.
static char g_places[2];

static qelArray_t* Place(size_t index) {
  return reinterpret_cast<qelArray_t*>(g_places + index);
}

static int g_freed = 0;
static void CountFreed(void*) {
  ++g_freed;
}

static void CountKeys(const char* key, const void* value, void* count) {
  if (std::strcmp(key, "b") == 0 && value == Place(1))
    ++*static_cast<int*>(count);
}

// A map derived by the client, with its own destructor behind the library's.
class DerivedMap : public qelStringHashMap<qelArray_t*> {
public:
  DerivedMap() : qelStringHashMap<qelArray_t*>({nullptr, CountFreed}) {}
};

static void UseHashMap() {
  qelStringHashMap<qelArray_t*>* map = new DerivedMap;
  map->Add("a", Place(0));
  map->Add("b", Place(1));
  qelArray_t* found = nullptr;
  Expect(map->Find("a", found) && found == Place(0), "Find");
  Expect(!map->Find("missing", found) && found == Place(0), "Find of a missing key");
  Expect((*map)["b"] == Place(1), "operator[]");
  map->Remove("a");
  Expect(map->GetCount() == 1 && g_freed == 1, "Remove");

  int seen = 0;
  map->ForEach(CountKeys, &seen);
  qelStringHashMap_Pair pair = {CountKeys, &seen};
  qelStringHashMap_ForEach("b", Place(1), &pair);
  Expect(seen == 2, "ForEach");
  delete map;
  Expect(g_freed == 2, "the virtual destructor");

  qelStringHashMap<qelArray_t*> plain;
  plain.Add("a", nullptr);
  plain.Clear();
  Expect(plain.GetCount() == 0, "Clear");
}

// A list derived by the client, and a walk that empties it.
class DerivedList : public qelList<void*> {
public:
  void Remove(qelBaseListItem* item) override {
    ++removed;
    qelList<void*>::Remove(item);
  }
  int removed = 0;
};

static void UseLists() {
  DerivedList list;
  list.push_back(g_places);
  list.push_front(g_places + 1);
  qelListIterator<void*> it(&list);
  while (it.Next())
    list.pop(it);
  Expect(list.removed == 2 && list.size() == 0, "a walk that removes");

  qelList<qelCachedBase*> cached;
  cached.push_back(nullptr);
  cached.pop(nullptr);
  qelList<qelRef<qelCachedBase>> references;
  references.push_back(0);
  Expect(cached.size() == 0 && references.front().IsNull(), "the cache's lists");
  qelListIterator<qelCachedBase*> none(&cached);
  qelListIterator<qelRef<qelCachedBase>> one(&references);
  Expect(!none.Next() && one.Next() && one.GetValue().IsNull(),
         "the iterators of the cache's lists");
}

// Runs until it is asked to stop.
class Runner : public qelStoppableThread {
public:
  Runner() : qelStoppableThread("runner", 0) {}
  bool Use() {
    if (ThreadCreate() != 0)
      return false;
    Go(3);
    ThreadCancel();
    ThreadWaitTerminate();
    return asked && GetThreadState() == 7 && GetThreadKind() == 0;
  }

protected:
  void OnRun() override {
    while (!TestExit())
      ThreadSleep(1);
    asked = true;
  }

private:
  bool asked = false;
};

static void UseThreads() {
  Runner runner;
  Expect(runner.Use(), "a thread that stops when asked");
}

// Sums what it hears; a broadcaster and a worker call it through its slot.
class Adder : public qelListener {
public:
  void ListenToMessage(qelLong message, void*) override { sum += message; }
  qelLong sum = 0;
};

static void UseMessages() {
  Adder adder;
  {
    qelBroadcaster broadcaster;
    broadcaster.AddListener(&adder);
    broadcaster.BroadcastMessage(1, nullptr);
  }
  qelListenerWorkerThread worker;
  Expect(worker.AddJob(&adder, 2, nullptr) == 0 && worker.Start() == 0, "a worker's start");
  worker.Stop();
  Expect(adder.sum == 3, "a broadcast and a job");

  qelMessageQueue queue;
  queue.Post(5, nullptr, nullptr);
  const qelMessage* message = queue.Get();
  Expect(message != nullptr && message->id == 5 && queue.IsEmpty(), "a message");
  delete message;
}

// A payload that tells of its own end.
class Payload : public qelUserData_uint32 {
public:
  explicit Payload(bool* gone) : qelUserData_uint32(3), m_gone(gone) {}
  ~Payload() override { *m_gone = true; }

private:
  bool* m_gone;
};

static void UseReferences() {
  bool gone = false;
  {
    qelRef<qelUserData> first(new Payload(&gone));
    const qelRef<qelUserData> second(first);
    first = 0;
    Expect(!gone && second->_GetRefCount() == 1 && second != first, "qelRef");
  }
  Expect(gone, "the end of a counted object");
  qelRefAny text(new qelUserData_CString("a"));
  text = qelRefAny(new qelUserData_2CString("a", "b"));
  Expect(text == qelRefAny(text) && qelUserData_VoidPtr(g_places).value == g_places, "qelRefAny");
}

// Contents that are always to be had.
class Contents : public qelCachedBase {
protected:
  bool Fetch() override { return true; }
};

static void UseCache() {
  qelCache cache(~uint64_t(0), 0);
  const qelRef<Contents> first(new Contents);
  const qelRef<Contents> second(new Contents);
  cache.Attach(first.Get());
  cache.Attach(second.Get());
  first->Prefetch();
  Expect(first->IsAvailable() && second->IsUnavailable(), "a fetch");
  second->Prefetch();
  Expect(first->IsUnavailable() && second->IsAvailable(), "the least recently used");
  cache.Detach(second.Get());
  Expect(second->_GetRefCount() == 1, "the cache's reference");
}

// A consumer that wants one event.
class Identifiers : public qelEmptySerialize {
public:
  using qelEmptySerialize::String;
  int String(const char* value, bool) override {
    last = value;
    return 3;
  }
  qelCString last;
};

static void UseSerializers() {
  qelJSONFormatter json;
  qelISerialize& target = json;
  target.MapBegin();
  target.MapKey("n", false);
  target.Value(1);
  target.MapKey("t", false);
  target.Value(QEL_W("\xE9"));
  target.MapEnd();
  Expect(json.Result() == "{\"n\":1,\"t\":\"\xC3\xA9\",}", "the formatter");

  Identifiers identifiers;
  Expect(identifiers.Identifier("name") == 3 && identifiers.last == "name", "Identifier");

  Expect(qelJSONFormatter::Parse("['read']", identifiers) == 0 && identifiers.last == "read",
         "Parse");
}

static void UsePropertyLists() {
  qelPropertyListFormatter formatter;
  qelISerialize& target = formatter;
  target.MapBegin();
  target.MapKey("n", false);
  target.Value(1);
  target.MapEnd();
  qelPropertyList* list = formatter.Reset();
  qelJSONFormatter json;
  qelPropertyListSerializer serializer;
  Expect(serializer.Serialize(list, json) == 0 && json.Result() == "{\"n\":1,}", "the walk");
  json.Reset();
  Expect(qelPropertyListFormatter::Serialize(list, json) == 0 && json.Result() == "{\"n\":1,}",
         "the static walk");
  json.Reset();
  Expect(qelPropertyListFormatter::SerializeKeyValue(list, "n", json) == 0 &&
             json.Result() == ",\"n\":1",
         "one property");
  const qelCString text = qelMediaInfoSerializer::Serialize(list);
  qelPropertyList_Release(list);
  list = qelMediaInfoSerializer::Deserialize(text);
  Expect(qelMediaInfoSerializer::Serialize(list) == text, "media text");
  qelPropertyList_Release(list);
}

static void UseText() {
  qelCStringTokenizer narrow("a,b", ",", qelTokenDefault);
  Expect(narrow.CountTokens() == 2 && narrow.GetNextToken() == "a", "the tokenizer");
  const qelCStringTokenizer copy(narrow);
  Expect(copy.GetString() == "b", "a copied tokenizer");
  qelStringTokenizer wide(QEL_W("a b"), QEL_W(" "), qelTokenDefault);
  Expect(wide.GetMode() == qelTokenStrtok && wide.GetNextToken() == QEL_W("a"), "the wide one");

  qelStringList* list = new qelCSVStringList("1,,2", '\\');
  list->RemoveEmpty();
  Expect(list->GetString(0) == "1,2" && list->GetAtInt32(1, 7) == 2, "the list");
  delete list;

  qelError error(2, "y");
  error.ConvertTo(5, "x");
  Expect(error.ToString() == " (error: 5 'x') (error: 2 'y')", "the error");
}

static void UseBuffers() {
  qelGrowingBuffer sink;
  sink += "n=";
  sink += 12;
  const qelDataBuffer data(sink.buffer(), sink.length());
  Expect(data.size() == 4 && std::memcmp(data.data(), "n=12", 4) == 0, "the buffers");
  qelBitString bits(static_cast<const unsigned char*>(data.data()), data.size());
  Expect(bits.Peek(4) == 6 && bits.Get(8) == 'n', "the bit reader");
}

int main() {
  UseConstants();
  UseHashMap();
  UseLists();
  UseThreads();
  UseMessages();
  UseReferences();
  UseCache();
  UseText();
  UseBuffers();
  UseSerializers();
  UsePropertyLists();
  return g_failures;
}
