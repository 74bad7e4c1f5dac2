//===----------------------------------------------------------------------===//
// Random operations on a handful of strings beside a plain model of them: the
// content, which strings share a block, and each block's capacity. Included
// behind StringContract.h.
//===----------------------------------------------------------------------===//

#include <memory>
#include <new>
#include <random>

struct ModelBlock {
  size_t capacity;
};

// A string as it ought to be. No block: the static empty one.
struct ModelString {
  Plain text;
  std::shared_ptr<ModelBlock> block;

  bool Shared() const { return block.use_count() > 1; }
  void Clear() {
    text.clear();
    block.reset();
  }
  void NewBlock(size_t n) { block = std::make_shared<ModelBlock>(ModelBlock{Rounded(n)}); }

  void AllocBeforeWrite(size_t n) {
    if (block == nullptr || Shared())
      NewBlock(n);
    else if (n > block->capacity)
      block->capacity = Rounded(n);
  }
  void Alloc(size_t n) {
    if (block != nullptr && block->capacity > n)
      return;
    if (block == nullptr || Shared())
      NewBlock(n);
    else
      block->capacity = Rounded(n);
  }
  void AssignCopy(const Plain& source) {
    if (source.empty()) {
      Clear();
      return;
    }
    AllocBeforeWrite(source.size());
    text = source;
  }
  void ShareWith(const ModelString& source) {
    if (source.text.empty())
      Clear();
    else
      *this = source;
  }
  void Assign(const ModelString& source) {
    if (block == source.block)
      return;
    AssignCopy(source.block == nullptr ? Plain() : source.text);
  }
  void Append(const Plain& source) {
    if (source.empty())
      return;
    const size_t length = text.size() + source.size();
    if (block != nullptr && Shared())
      NewBlock(length);
    else if (block == nullptr || length > block->capacity)
      Alloc(length);
    text += source;
  }
  void Insert(size_t pos, const Plain& source) {
    if (source.empty())
      return;
    if (block != nullptr && Shared())
      NewBlock(text.size());
    Alloc(text.size() + source.size());
    text.insert(pos, source);
  }
  // A new string of this text.
  void Renew(const Plain& newText) {
    Clear();
    if (!newText.empty())
      NewBlock(newText.size());
    text = newText;
  }
  // One occurrence after the other, each assigned.
  size_t Replace(const Plain& from, const Plain& to, bool all) {
    if (text.empty() || text[0] == 0)
      return 0;
    size_t count = 0, pos = 0;
    while (pos < text.size()) {
      const size_t found = from.empty() ? text.find(Char(0), pos) : text.find(from, pos);
      if (found == Plain::npos)
        break;
      Plain replaced = text;
      replaced.replace(found, from.size(), to);
      AssignCopy(replaced);
      pos = found + to.size();
      ++count;
      if (!all || pos >= text.size() || text[pos] == 0)
        break;
    }
    return count;
  }
};

static bool IsBlank(Char c) {
  return (c >= 9 && c <= 13) || c == 32;
}

class StringModel {
public:
  explicit StringModel(unsigned seed) : m_random(seed) {
    for (void* place : m_places)
      new (place) Text();
  }
  ~StringModel() {
    for (size_t i = 0; i < kCount; ++i)
      At(i).~Text();
  }

  void Run(int steps) {
    for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
      Step();
      Verify();
    }
  }

private:
  static const size_t kCount = 5;

  Text& At(size_t i) { return *std::launder(reinterpret_cast<Text*>(m_places[i])); }
  size_t Below(size_t n) { return m_random() % n; }

  // Few different units, so that searches hit; zero units and whitespace among them.
  Char RandomUnit() { return TXT("abAB12  \t\n\x80\xe9\0")[Below(13)]; }
  Plain RandomText(size_t limit) {
    Plain text(Below(4) == 0 ? Below(limit) : Below(limit < 6 ? limit : 6), 0);
    for (Char& c : text)
      c = RandomUnit();
    return text;
  }
  // Without zero units.
  Plain RandomTerminated(size_t limit) {
    Plain text = RandomText(limit);
    for (Char& c : text)
      if (c == 0)
        c = 'z';
    return text;
  }

  void Step() {
    const size_t i = Below(kCount), j = Below(kCount);
    Text& text = At(i);
    ModelString& model = m_models[i];
    switch (Below(20)) {
    case 0:
    case 1: // copy construction
      if (i != j) {
        text.~Text();
        new (m_places[i]) Text(At(j));
        model.ShareWith(m_models[j]);
      }
      break;
    case 2:
      text = At(j);
      model.Assign(m_models[j]);
      break;
    case 3: {
      const Plain source = RandomTerminated(60);
      text = source.c_str();
      model.AssignCopy(source);
      break;
    }
    case 4: {
      const Char c = RandomUnit();
      text = c;
      model.AssignCopy(Plain(1, c));
      break;
    }
    case 5: // from a counted text
      text.~Text();
      {
        const Plain source = RandomText(80);
        new (m_places[i]) Text(source.data(), source.size());
        model.Renew(source);
      }
      break;
    case 6:
      if (model.text.size() < 300) {
        const Plain source = m_models[j].text;
        text += At(j);
        model.Append(source);
      }
      break;
    case 7: {
      const Plain source = RandomTerminated(40);
      text += source.c_str();
      model.Append(source);
      break;
    }
    case 8: {
      const Char c = RandomUnit();
      text += c;
      model.Append(Plain(1, c));
      break;
    }
    case 9: {
      const size_t pos = Below(model.text.size() + 1);
      const Plain source = RandomText(40);
      text.Insert(pos, source.data(), source.size());
      model.Insert(pos, source);
      break;
    }
    case 10: {
      const size_t pos = Below(model.text.size() + 1), count = Below(2) ? Below(20) : npos;
      text.Erase(pos, count);
      Plain left = model.text;
      model.Renew(left.erase(pos, count));
      break;
    }
    case 11:
    case 12: {
      const Plain from = RandomTerminated(4), to = RandomTerminated(6);
      const bool all = Below(4) != 0;
      EXPECT_EQ(model.Replace(from, to, all), text.Replace(from.c_str(), to.c_str(), all));
      break;
    }
    case 13:
      TrimBoth(text, model, Below(2) == 1);
      break;
    case 14: {
      const size_t count = Below(30);
      const bool fromRight = Below(2) == 1;
      text.Pad(count, TXT('p'), fromRight);
      if (fromRight) {
        model.Append(Plain(count, TXT('p')));
      } else {
        ModelString pad;
        for (size_t n = 0; n < count; ++n)
          pad.Append(Plain(1, TXT('p')));
        pad.Append(model.text);
        model = pad;
      }
      break;
    }
    case 15: { // a write lock
      const Plain source = RandomText(70);
      const size_t room = source.size() + Below(20);
      Char* buffer = text.GetWriteBuf(room);
      memcpy(buffer, source.c_str(), (source.size() + 1) * sizeof(Char));
      const bool counted = Below(2) == 1;
      if (counted)
        text.UngetWriteBuf(source.size());
      else
        text.UngetWriteBuf();
      model.AllocBeforeWrite(room);
      model.text = counted ? source : Plain(source.c_str());
      break;
    }
    case 16: {
      const int number = static_cast<int>(Below(100000));
      text.Printf(TXT("%d"), number);
      model.AllocBeforeWrite(1025);
      model.text.clear();
      for (char digit : std::to_string(number))
        model.text += static_cast<Char>(digit);
      break;
    }
    case 17:
      text.Empty();
      model.Clear();
      break;
    default:
      Query(At(i), m_models[i].text, At(j), m_models[j].text);
    }
  }

  void TrimBoth(Text& text, ModelString& model, bool fromRight) {
    text.Trim(fromRight);
    size_t n = 0;
    const Plain& old = model.text;
    while (n < old.size() && IsBlank(old[fromRight ? old.size() - 1 - n : n]))
      ++n;
    if (n != 0)
      model.Renew(fromRight ? old.substr(0, old.size() - n) : old.substr(n));
  }

  // All that reads, on content alone.
  void Query(const Text& a, const Plain& pa, const Text& b, const Plain& pb) {
    const size_t start = Below(pa.size() + 3), count = Below(20);
    const Plain needle = RandomTerminated(3);
    const Char c = RandomUnit();
    const size_t first = pa.find(c), last = pa.rfind(c);
    EXPECT_EQ(static_cast<int>(first), a.First(c));
    EXPECT_EQ(static_cast<int>(last), a.Find(c, true));
    EXPECT_EQ(std::count(pa.begin(), pa.end(), c), a.Freq(c));
    if (!needle.empty()) {
      EXPECT_EQ(pa.find(needle, start), a.Find(Text(needle.c_str()), start));
      EXPECT_EQ(pa.rfind(needle), a.FindLastStr(needle.c_str(), npos));
      EXPECT_EQ(pa.find(needle) != Plain::npos, a.Contains(needle.c_str()));
      const size_t at = pa.find(needle);
      EXPECT_EQ(pa.substr(0, at), Str(a.BeforeFirst(Text(needle.c_str()))));
    }
    if (start <= pa.size()) {
      EXPECT_EQ(pa.find_first_of(needle, start), a.FindFirstOf(needle.c_str(), start));
      EXPECT_EQ(pa.find_first_not_of(needle, start), a.FindFirstNotOf(needle.c_str(), start));
      EXPECT_EQ(pa.substr(start, count), Str(a.Mid(start, count)));
      EXPECT_EQ(pa.substr(0, start), Str(a.Left(start)));
      EXPECT_EQ(pa.substr(pa.size() - start), Str(a.Right(start)));
    } else {
      EXPECT_EQ(Plain(), Str(a.Mid(start, count)));
      EXPECT_EQ(Plain(), Str(a.Right(start)));
    }
    EXPECT_EQ(pa.find_last_of(needle), a.FindLastOf(needle.c_str()));
    EXPECT_EQ(first == Plain::npos ? Plain() : Plain(pa.c_str() + first + 1), Str(a.AfterFirst(c)));
    EXPECT_EQ(pa.substr(0, first), Str(a.BeforeFirst(c)));
    EXPECT_EQ(Plain(pa.c_str() + last + 1), Str(a.AfterLast(c)));
    EXPECT_EQ(last == Plain::npos ? Plain() : pa.substr(0, last), Str(a.BeforeLast(c)));
    EXPECT_EQ(pa == pb, a == b);
    EXPECT_EQ(pa < pb, a < b);
    EXPECT_EQ(Sign(pa.compare(pb)), Sign(a.Compare(b)));
    EXPECT_EQ(pa + pb, Str(a + b));
    EXPECT_EQ(pa + needle, Str(a + needle.c_str()));
    EXPECT_EQ(needle + pa, Str(needle.c_str() + a));
    EXPECT_EQ(pa + c, Str(a + c));
    EXPECT_EQ(c + pa, Str(c + a));
  }

  // Every string against its model, its block included.
  void Verify() {
    for (size_t i = 0; i < kCount; ++i) {
      const Text& text = At(i);
      const ModelString& model = m_models[i];
      const Data* header = HeaderOf(text);
      ASSERT_EQ(model.text, Str(text));
      ASSERT_EQ(0, text.c_str()[text.length()]);
      ASSERT_EQ(model.block == nullptr, PointsAtTheEmptyBlock(text));
      if (model.block == nullptr) {
        ASSERT_EQ(-1, header->refCount);
        continue;
      }
      ASSERT_EQ(model.block.use_count(), header->refCount);
      ASSERT_EQ(model.block->capacity, header->capacity);
      for (size_t j = 0; j < kCount; ++j)
        ASSERT_EQ(model.block == m_models[j].block, text.c_str() == At(j).c_str());
    }
  }

  std::mt19937 m_random;
  alignas(Text) unsigned char m_places[kCount][sizeof(Text)];
  ModelString m_models[kCount];
};

STRING_TEST(Model, RandomOperationsKeepContentSharingAndCapacity) {
  for (unsigned seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    StringModel(seed).Run(3000);
  }
}
