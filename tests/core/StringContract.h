//===----------------------------------------------------------------------===//
// The contract of both string classes, written once. The including test names
//   Text, Char, Data    the class, its unit and its header
//   TXT(literal)        a literal of the unit
//   TextBuffer          the scope object that lends a block
//   TextOwner           the owning result of a conversion to this unit
//   kEmpty              the variable that points at the static empty block
//   STRING_TEST(s, n)   a test of the suite s of this class
//===----------------------------------------------------------------------===//

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/core/qelMem.h>

typedef std::basic_string<Char> Plain;

static const size_t npos = Text::npos;

// The content with its zero units.
static Plain Str(const Text& text) {
  return Plain(text.c_str(), text.length());
}

static Data* HeaderOf(const Text& text) {
  return reinterpret_cast<Data*>(const_cast<Char*>(text.c_str())) - 1;
}

static bool PointsAtTheEmptyBlock(const Text& text) {
  return text.c_str() == kEmpty;
}

static size_t Rounded(size_t n) {
  return n - n % 16 + 19;
}

// "a", a zero unit, "b", and more of the kind.
static Text WithZero(const Plain& text) {
  return Text(text.data(), text.size());
}
#define ZTXT(literal) Plain(TXT(literal), sizeof(TXT(literal)) / sizeof(Char) - 1)

// Makes the building blocks reachable.
class Probe : public Text {
public:
  using Text::Text;
  Probe() : Text() {}
  using Text::Alloc;
  using Text::AllocBeforeWrite;
  using Text::AllocBuffer;
  using Text::AllocCopy;
  using Text::AssignCopy;
  using Text::ConcatSelf;
  using Text::CopyBeforeWrite;
  using Text::FindStr;
  using Text::GetStringData;
  using Text::Init;
  using Text::InitWith;
  using Text::Reinit;
  using Text::Replace;
  using Text::Swap;
};

static Plain Repeated(size_t n, Char c) {
  return Plain(n, c);
}

// The block --------------------------------------------------------------------

STRING_TEST(Blocks, AStringIsOnePointer) {
  EXPECT_EQ(sizeof(void*), sizeof(Text));
  EXPECT_FALSE(std::is_polymorphic<Text>::value);
}

STRING_TEST(Blocks, TheHeaderStandsInFrontOfTheText) {
  EXPECT_EQ(24u, sizeof(Data));
  const Text text(TXT("abc"));
  const char* bytes = reinterpret_cast<const char*>(text.c_str()) - 24;
  int32_t refCount;
  uint64_t length, capacity;
  memcpy(&refCount, bytes, 4);
  memcpy(&length, bytes + 8, 8);
  memcpy(&capacity, bytes + 16, 8);
  EXPECT_EQ(1, refCount);
  EXPECT_EQ(3u, length);
  EXPECT_EQ(19u, capacity);
  EXPECT_EQ(text.c_str(), HeaderOf(text)->data());
}

STRING_TEST(Blocks, TheStaticEmptyBlockHasCountMinusOneAndNoRoom) {
  const Text text;
  ASSERT_TRUE(PointsAtTheEmptyBlock(text));
  const Data* header = HeaderOf(text);
  EXPECT_EQ(-1, header->refCount);
  EXPECT_EQ(0u, header->length);
  EXPECT_EQ(0u, header->capacity);
  EXPECT_EQ(0, *kEmpty);
  EXPECT_TRUE(header->IsEmpty());
  EXPECT_FALSE(header->IsShared());
  EXPECT_TRUE(header->IsValid());
}

STRING_TEST(Blocks, TheStaticEmptyBlockIsNeverCounted) {
  {
    Text a;
    Text b(a);
    Text c(b);
    HeaderOf(a)->Lock();
    HeaderOf(a)->Unlock();
  }
  EXPECT_EQ(-1, (reinterpret_cast<const Data*>(kEmpty) - 1)->refCount);
}

STRING_TEST(Blocks, HeaderOperationsFollowTheCount) {
  Data header;
  header.refCount = 1;
  header.Lock();
  EXPECT_EQ(2, header.refCount);
  EXPECT_TRUE(header.IsShared());
  EXPECT_FALSE(header.IsEmpty());
  header.Unlock();
  EXPECT_EQ(1, header.refCount);
  EXPECT_FALSE(header.IsShared());
  header.Validate(false);
  EXPECT_EQ(0, header.refCount);
  EXPECT_FALSE(header.IsValid());
  header.Validate(true);
  EXPECT_EQ(1, header.refCount);
  EXPECT_TRUE(header.IsValid());
}

STRING_TEST(Blocks, AHeaderIsAssignedFieldByField) {
  Data a, b;
  a.refCount = 5;
  a.length = 6;
  a.capacity = 7;
  b = a;
  EXPECT_EQ(5, b.refCount);
  EXPECT_EQ(6u, b.length);
  EXPECT_EQ(7u, b.capacity);
}

STRING_TEST(Blocks, CapacitiesAreRoundedTo16And3) {
  static const struct {
    size_t length, capacity;
  } kRows[] = {{1, 19},  {15, 19}, {16, 35},     {17, 35},    {31, 35},
               {32, 51}, {47, 51}, {1023, 1027}, {1024, 1043}};
  for (const auto& row : kRows) {
    const Text text(Repeated(row.length, TXT('x')).c_str());
    EXPECT_EQ(row.capacity, HeaderOf(text)->capacity) << row.length;
    Probe room;
    room.AllocBeforeWrite(row.length);
    EXPECT_EQ(row.capacity, room.GetStringData()->capacity) << row.length;
    Probe kept;
    kept.Alloc(row.length);
    EXPECT_EQ(row.capacity, kept.GetStringData()->capacity) << row.length;
  }
}

STRING_TEST(Blocks, NposIsAllOnes) {
  EXPECT_EQ(UINT64_MAX, uint64_t(Text::npos));
  const size_t* address = &Text::npos; // it is an object
  EXPECT_EQ(npos, *address);
}

STRING_TEST(Blocks, AllocGrowsAtEqualityAllocBeforeWriteDoesNot) {
  Probe text(TXT("abc"));
  text.AllocBeforeWrite(19);
  EXPECT_EQ(19u, text.GetStringData()->capacity);
  text.Alloc(18);
  EXPECT_EQ(19u, text.GetStringData()->capacity);
  text.Alloc(19);
  EXPECT_EQ(35u, text.GetStringData()->capacity);
  text.AllocBeforeWrite(36);
  EXPECT_EQ(51u, text.GetStringData()->capacity);
}

STRING_TEST(Blocks, AllocKeepsTheText) {
  Probe text(TXT("abc"));
  text.Alloc(100);
  EXPECT_EQ(Plain(TXT("abc")), Str(text));
  EXPECT_EQ(Rounded(100), text.GetStringData()->capacity);
  EXPECT_EQ(0, text.c_str()[3]);
}

STRING_TEST(Blocks, AllocOfASharedBlockLeavesTheOtherOwnersText) {
  Probe text(TXT("abc"));
  const Text other(text);
  text.Alloc(5); // has the room, and so stays
  EXPECT_EQ(other.c_str(), text.c_str());
  text.Alloc(40);
  EXPECT_NE(other.c_str(), text.c_str());
  EXPECT_EQ(1, HeaderOf(other)->refCount);
  EXPECT_EQ(1, text.GetStringData()->refCount);
  EXPECT_EQ(3u, text.length());
  EXPECT_EQ(Plain(TXT("abc")), Str(text));
  EXPECT_EQ(Plain(TXT("abc")), Str(other));
}

STRING_TEST(Blocks, AllocOfTheEmptyBlockGivesAPrivateOneOfLengthZero) {
  Probe text;
  text.Alloc(0);
  EXPECT_FALSE(PointsAtTheEmptyBlock(text));
  EXPECT_EQ(1, text.GetStringData()->refCount);
  EXPECT_EQ(0u, text.length());
  EXPECT_EQ(19u, text.GetStringData()->capacity);
  EXPECT_EQ(0, *text.c_str());
}

STRING_TEST(Blocks, AllocBeforeWriteDropsTheTextAndTheSharing) {
  Probe text(TXT("abc"));
  const Text other(text);
  text.AllocBeforeWrite(2);
  EXPECT_NE(other.c_str(), text.c_str());
  EXPECT_EQ(0u, text.length());
  EXPECT_EQ(1, HeaderOf(other)->refCount);
  EXPECT_EQ(Plain(TXT("abc")), Str(other));
}

STRING_TEST(Blocks, CopyBeforeWriteUnsharesOnlyASharedBlock) {
  Probe text(TXT("abc"));
  const Char* before = text.c_str();
  text.CopyBeforeWrite();
  EXPECT_EQ(before, text.c_str());
  const Text other(text);
  text.CopyBeforeWrite();
  EXPECT_NE(before, text.c_str());
  EXPECT_EQ(Plain(TXT("abc")), Str(text));
  EXPECT_EQ(1, HeaderOf(other)->refCount);
  EXPECT_EQ(1, text.GetStringData()->refCount);
}

STRING_TEST(Blocks, AllocBufferGivesATerminatedBlockOfThatLength) {
  Probe text;
  text.AllocBuffer(5);
  EXPECT_EQ(5u, text.length());
  EXPECT_EQ(0, text.c_str()[5]);
  EXPECT_EQ(1, text.GetStringData()->refCount);
}

STRING_TEST(Blocks, AllocCopyTakesAPieceOrNothing) {
  const Probe text(TXT("abcdef"));
  Probe piece;
  text.AllocCopy(piece, 3, 2);
  EXPECT_EQ(Plain(TXT("cde")), Str(piece));
  Probe nothing;
  text.AllocCopy(nothing, 0, 2);
  EXPECT_TRUE(PointsAtTheEmptyBlock(nothing));
}

STRING_TEST(Blocks, InitReinitAndInitWithSetTheText) {
  Probe text(TXT("abc"));
  const Text other(text);
  text.Reinit();
  EXPECT_TRUE(PointsAtTheEmptyBlock(text));
  EXPECT_EQ(1, HeaderOf(other)->refCount);
  text.InitWith(TXT("abcdef"), 2, npos);
  EXPECT_EQ(Plain(TXT("cdef")), Str(text));
  text.Reinit();
  text.InitWith(TXT("abc"), 1, 0);
  EXPECT_TRUE(PointsAtTheEmptyBlock(text));
  text.Init();
  EXPECT_TRUE(PointsAtTheEmptyBlock(text));
}

STRING_TEST(Blocks, SwapExchangesThePointers) {
  Probe a(TXT("a")), b;
  const Char* before = a.c_str();
  a.Swap(b);
  EXPECT_EQ(before, b.c_str());
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

// Construction -----------------------------------------------------------------

STRING_TEST(Construction, DefaultAndNullAreTheEmptyBlock) {
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text()));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(static_cast<const Char*>(nullptr))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT(""))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(nullptr, 5)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(nullptr, 2, 5)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT("abc"), 0)));
}

STRING_TEST(Construction, OneUnitIsATextEvenWhenItIsZero) {
  EXPECT_EQ(Plain(TXT("x")), Str(Text(TXT('x'))));
  const Text zero(Char(0));
  EXPECT_EQ(1u, zero.length());
  EXPECT_EQ(0, zero.c_str()[0]);
  EXPECT_EQ(0, zero.c_str()[1]);
  EXPECT_FALSE(PointsAtTheEmptyBlock(zero));
}

STRING_TEST(Construction, ALengthTakesZeroUnitsIn) {
  EXPECT_EQ(ZTXT("a\0b"), Str(Text(TXT("a\0bcd"), 3)));
  EXPECT_EQ(Plain(TXT("a")), Str(Text(TXT("a\0bcd"), npos)));
  EXPECT_EQ(Plain(TXT("cd")), Str(Text(TXT("abcde"), 2, 2)));
  EXPECT_EQ(Plain(TXT("cde")), Str(Text(TXT("abcde"), 2, npos)));
}

STRING_TEST(Construction, ACopySharesTheBlockAndCounts) {
  const Text a(TXT("abc"));
  {
    const Text b(a);
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(2, HeaderOf(a)->refCount);
    EXPECT_TRUE(HeaderOf(a)->IsShared());
    const Text c = b;
    EXPECT_EQ(3, HeaderOf(a)->refCount);
  }
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

STRING_TEST(Construction, ACopyOfAPrivateBlockOfLengthZeroIsTheEmptyBlock) {
  Text a(TXT("abc"));
  *a.GetWriteBuf(5) = 0;
  a.UngetWriteBuf();
  ASSERT_EQ(0u, a.length());
  ASSERT_FALSE(PointsAtTheEmptyBlock(a));
  const Text b(a);
  EXPECT_TRUE(PointsAtTheEmptyBlock(b));
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

// Globals of a client may be made ahead of all that the library has.
static Text g_early __attribute__((init_priority(101)));
static Text g_earlyText __attribute__((init_priority(101))) = Text(TXT("abc")).Left(npos);

STRING_TEST(Construction, GlobalsMayBeMadeAtAnyTime) {
  EXPECT_TRUE(PointsAtTheEmptyBlock(g_early));
  EXPECT_EQ(Plain(TXT("abc")), Str(g_earlyText));
}

// Assignment -------------------------------------------------------------------

STRING_TEST(Assignment, CopiesTheBytesOfASharedString) {
  const Text a(TXT("abc"));
  const Text sharing(a);
  Text b;
  b = a;
  EXPECT_NE(a.c_str(), b.c_str());
  EXPECT_EQ(Plain(TXT("abc")), Str(b));
  EXPECT_EQ(2, HeaderOf(a)->refCount);
  EXPECT_EQ(1, HeaderOf(b)->refCount);
}

STRING_TEST(Assignment, OfTheSameBlockDoesNothing) {
  Text a(TXT("abc"));
  Text b(a);
  b = a;
  EXPECT_EQ(a.c_str(), b.c_str());
  EXPECT_EQ(2, HeaderOf(a)->refCount);
  Text& self = a;
  a = self;
  EXPECT_EQ(Plain(TXT("abc")), Str(a));
}

STRING_TEST(Assignment, KeepsASoleOwnersCapacity) {
  Text a(Repeated(40, TXT('x')).c_str());
  const Char* before = a.c_str();
  a = Text(TXT("b"));
  EXPECT_EQ(before, a.c_str());
  EXPECT_EQ(51u, HeaderOf(a)->capacity);
  a = TXT("cd");
  EXPECT_EQ(before, a.c_str());
  a = TXT('e');
  EXPECT_EQ(before, a.c_str());
  EXPECT_EQ(Plain(TXT("e")), Str(a));
  a = Text(Repeated(51, TXT('y')).c_str());
  EXPECT_EQ(51u, HeaderOf(a)->capacity);
  a = Text(Repeated(52, TXT('y')).c_str());
  EXPECT_EQ(67u, HeaderOf(a)->capacity);
}

STRING_TEST(Assignment, LeavesTheOtherOwnersOfASharedBlock) {
  Text a(TXT("abc"));
  const Text other(a);
  a = TXT("x");
  EXPECT_EQ(Plain(TXT("abc")), Str(other));
  EXPECT_EQ(1, HeaderOf(other)->refCount);
  EXPECT_EQ(Plain(TXT("x")), Str(a));
}

STRING_TEST(Assignment, OfNothingGivesTheEmptyBlock) {
  Text a(TXT("abc"));
  a = Text();
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
  a = TXT("abc");
  a = TXT("");
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
  a = TXT("abc");
  a = static_cast<const Char*>(nullptr);
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
  Text lengthZero(TXT("abc"));
  *lengthZero.GetWriteBuf(5) = 0;
  lengthZero.UngetWriteBuf();
  a = TXT("abc");
  a = lengthZero;
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Assignment, TakesZeroUnitsFromAStringOnly) {
  Text a;
  a = WithZero(ZTXT("a\0b"));
  EXPECT_EQ(ZTXT("a\0b"), Str(a));
  a = TXT("a\0b");
  EXPECT_EQ(Plain(TXT("a")), Str(a));
  a = Char(0);
  EXPECT_EQ(1u, a.length());
}

STRING_TEST(Assignment, TakesAPieceOfItsOwnText) {
  Text a(TXT("abcdef"));
  a = a.c_str() + 2;
  EXPECT_EQ(Plain(TXT("cdef")), Str(a));
  const Text other(a);
  a = a.c_str() + 1;
  EXPECT_EQ(Plain(TXT("def")), Str(a));
  EXPECT_EQ(Plain(TXT("cdef")), Str(other));
}

STRING_TEST(Assignment, AssignCopyTakesALength) {
  Probe a(TXT("abc"));
  a.AssignCopy(2, TXT("xyz"));
  EXPECT_EQ(Plain(TXT("xy")), Str(a));
  EXPECT_EQ(0, a.c_str()[2]);
  a.AssignCopy(0, TXT("xyz"));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

// Reading ----------------------------------------------------------------------

STRING_TEST(Reading, LengthTextAndConversionAgree) {
  const Text a(TXT("abc"));
  EXPECT_EQ(3u, a.length());
  EXPECT_FALSE(a.IsEmpty());
  EXPECT_TRUE(Text().IsEmpty());
  Char* writable = a;
  const Char* readable = a;
  EXPECT_EQ(a.c_str(), writable);
  EXPECT_EQ(a.c_str(), readable);
  EXPECT_EQ(TXT('b'), a[1]);
  EXPECT_EQ(TXT('c'), a[size_t(2)]);
}

STRING_TEST(Reading, WritingThroughTheConversionDoesNotUnshare) {
  const Text a(TXT("abc"));
  const Text b(a);
  static_cast<Char*>(a)[0] = TXT('X');
  EXPECT_EQ(Plain(TXT("Xbc")), Str(b));
}

STRING_TEST(Reading, FirstAndLastUnitAreZeroForAnEmptyString) {
  EXPECT_EQ(TXT('a'), Text(TXT("abc")).First());
  EXPECT_EQ(TXT('c'), Text(TXT("abc")).Last());
  EXPECT_EQ(0, Text().First());
  EXPECT_EQ(0, Text().Last());
}

STRING_TEST(Reading, FindsUnitsFromBothEnds) {
  const Text a(TXT("abcabc"));
  EXPECT_EQ(1, a.First(TXT('b')));
  EXPECT_EQ(-1, a.First(TXT('x')));
  EXPECT_EQ(1, a.Find(TXT('b')));
  EXPECT_EQ(1, a.Find(TXT('b'), false));
  EXPECT_EQ(4, a.Find(TXT('b'), true));
  EXPECT_EQ(0, Text(TXT("abb")).Find(TXT('a'), true));
  EXPECT_EQ(-1, a.Find(TXT('x'), true));
  EXPECT_EQ(-1, Text().Find(TXT('x'), true));
  EXPECT_EQ(-1, Text().First(TXT('x')));
}

STRING_TEST(Reading, TheZeroUnitIsLookedForByLength) {
  EXPECT_EQ(-1, Text(TXT("abc")).First(Char(0)));
  EXPECT_EQ(-1, Text().First(Char(0)));
  EXPECT_EQ(1, WithZero(ZTXT("a\0b\0c")).First(Char(0)));
  EXPECT_EQ(3, WithZero(ZTXT("a\0b\0c")).Find(Char(0), true));
  EXPECT_EQ(2, WithZero(ZTXT("a\0b\0c")).Freq(Char(0)));
  EXPECT_EQ(2, WithZero(ZTXT("a\0b")).First(TXT('b')));
}

STRING_TEST(Reading, FreqCounts) {
  EXPECT_EQ(3, Text(TXT("banana")).Freq(TXT('a')));
  EXPECT_EQ(0, Text(TXT("banana")).Freq(TXT('x')));
  EXPECT_EQ(0, Text().Freq(TXT('x')));
}

STRING_TEST(Reading, HasOnlyNumbersLooksAtEveryUnit) {
  EXPECT_TRUE(Text(TXT("0123456789")).HasOnlyNumbers());
  EXPECT_TRUE(Text().HasOnlyNumbers());
  EXPECT_FALSE(Text(TXT("12a")).HasOnlyNumbers());
  EXPECT_FALSE(Text(TXT("-1")).HasOnlyNumbers());
  EXPECT_FALSE(Text(TXT(" 1")).HasOnlyNumbers());
  EXPECT_FALSE(Text(TXT("1/")).HasOnlyNumbers());
  EXPECT_FALSE(Text(TXT("1:")).HasOnlyNumbers());
  EXPECT_FALSE(WithZero(ZTXT("1\0")).HasOnlyNumbers());
}

STRING_TEST(Reading, ContainsLooksForATextButNotForAnEmptyOne) {
  const Text a(TXT("abc"));
  EXPECT_TRUE(a.Contains(TXT("bc")));
  EXPECT_TRUE(a.Contains(Text(TXT("abc"))));
  EXPECT_FALSE(a.Contains(TXT("cd")));
  EXPECT_FALSE(a.Contains(TXT("")));
  EXPECT_FALSE(a.Contains(Text()));
  EXPECT_FALSE(a.Contains(static_cast<const Char*>(nullptr)));
  EXPECT_FALSE(Text().Contains(TXT("")));
}

STRING_TEST(Reading, AStringWithAZeroUnitContainsAnEmptyText) {
  const Text a = WithZero(ZTXT("a\0b"));
  EXPECT_TRUE(a.Contains(TXT("")));
  EXPECT_TRUE(a.Contains(Text()));
}

static int Sign(int value) {
  return (value > 0) - (value < 0);
}

STRING_TEST(Compare, OrdersByUnitsThenByLength) {
  static const struct {
    const Char *a, *b;
    int sign;
  } kRows[] = {
      {TXT(""), TXT(""), 0},          {TXT(""), TXT("a"), -1},      {TXT("a"), TXT("a"), 0},
      {TXT("a"), TXT("b"), -1},       {TXT("ab"), TXT("a"), 1},     {TXT("ab"), TXT("b"), -1},
      {TXT("A"), TXT("a"), -1},       {TXT("abc"), TXT("abd"), -1}, {TXT("abd"), TXT("abcx"), 1},
      {TXT("\x7f"), TXT("\xe9"), -1},
  };
  for (const auto& row : kRows) {
    const Text a(row.a), b(row.b);
    EXPECT_EQ(row.sign, Sign(a.Compare(b)));
    EXPECT_EQ(-row.sign, Sign(b.Compare(a)));
    EXPECT_EQ(row.sign, Sign(a.Compare(row.b)));
    EXPECT_EQ(row.sign == 0, a == b);
    EXPECT_EQ(row.sign != 0, a != b);
    EXPECT_EQ(row.sign < 0, a < b);
    EXPECT_EQ(row.sign > 0, a > b);
    EXPECT_EQ(row.sign <= 0, a <= b);
    EXPECT_EQ(row.sign >= 0, a >= b);
  }
}

STRING_TEST(Compare, OnlyLengthGivesOneOrMinusOne) {
  EXPECT_EQ(-1, Text(TXT("ab")).Compare(Text(TXT("abcd"))));
  EXPECT_EQ(1, Text(TXT("abcd")).Compare(Text(TXT("ab"))));
}

STRING_TEST(Compare, ZeroUnitsTakePart) {
  const Text a = WithZero(ZTXT("a\0b")), b = WithZero(ZTXT("a\0c"));
  EXPECT_EQ(-1, Sign(a.Compare(b)));
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a != TXT("a"));
  EXPECT_TRUE(WithZero(ZTXT("a\0")) != Text(TXT("a")));
}

STRING_TEST(Compare, OperatorsTakeATextOnEitherSide) {
  const Text a(TXT("abc"));
  Char writable[] = {'a', 'b', 'd', 0};
  const Char* none = nullptr;
  EXPECT_TRUE(a == TXT("abc"));
  EXPECT_TRUE(TXT("abc") == a);
  EXPECT_FALSE(a != TXT("abc"));
  EXPECT_FALSE(TXT("abc") != a);
  EXPECT_TRUE(a < writable);
  EXPECT_TRUE(writable > a);
  EXPECT_TRUE(a != writable);
  EXPECT_TRUE(writable != a);
  EXPECT_FALSE(writable < a);
  EXPECT_TRUE(TXT("abb") < a);
  EXPECT_TRUE(a <= TXT("abc"));
  EXPECT_TRUE(TXT("abc") >= a);
  EXPECT_TRUE(Text() == none);
  EXPECT_TRUE(none != a);
  EXPECT_TRUE(none < a);
}

STRING_TEST(Compare, NullptrAndZeroAreNoText) {
  const Text a(TXT("abc")), empty;
  EXPECT_TRUE(empty == nullptr);
  EXPECT_TRUE(nullptr == empty);
  EXPECT_TRUE(a != nullptr);
  EXPECT_TRUE(nullptr < a);
  EXPECT_TRUE(a >= nullptr);
  EXPECT_TRUE(empty == 0);
  EXPECT_TRUE(0 == empty);
  EXPECT_TRUE(a != 0);
  EXPECT_TRUE(0 != a);
  EXPECT_FALSE(a == NULL);
}

STRING_TEST(Compare, OperatorsTakeAUnit) {
  const Text a(TXT("a")), b(TXT("ab"));
  EXPECT_TRUE(a == TXT('a'));
  EXPECT_TRUE(TXT('a') == a);
  EXPECT_TRUE(b != TXT('a'));
  EXPECT_TRUE(TXT('a') < b);
}

STRING_TEST(Compare, OperatorsTakeWhatConvertsToAString) {
  struct Named {
    const Char* text;
    operator const Char*() const { return text; }
  };
  struct Derived : Text {
    using Text::Text;
  };
  const Text a(TXT("abc"));
  const Named named = {TXT("abc")};
  EXPECT_TRUE(a == named);
  EXPECT_TRUE(named == a);
  const Derived derived(TXT("abc")), same(TXT("abc"));
  EXPECT_TRUE(derived == same);
  EXPECT_TRUE(derived == a);
  EXPECT_TRUE(a == derived);
  EXPECT_TRUE(derived == TXT("abc"));
  EXPECT_TRUE(TXT("abd") > derived);
}

STRING_TEST(Compare, OperatorsLeaveABufferItsText) {
  const TextOwner owner(TXT("abc"), /*copy=*/true);
  const Text a(TXT("abc"));
  EXPECT_TRUE(a == owner);
  EXPECT_TRUE(owner == a);
  EXPECT_FALSE(owner != a);
  ASSERT_NE(nullptr, owner.data());
  const TextOwner none(nullptr, /*copy=*/true);
  EXPECT_TRUE(Text() == none);
  EXPECT_TRUE(none < a);
}

STRING_TEST(CompareNoCase, FoldsBothSides) {
  static const struct {
    const Char *a, *b;
    int result;
  } kRows[] = {
      {TXT("ABC"), TXT("abc"), 0}, {TXT("abc"), TXT("ABD"), -1}, {TXT("Abd"), TXT("aBC"), 1},
      {TXT("AB"), TXT("abc"), -1}, {TXT("abc"), TXT("AB"), 1},   {TXT(""), TXT(""), 0},
      {TXT(""), TXT("a"), -1},     {TXT("_"), TXT("A"), -1}, // '_' is above 'A', but below 'a'
      {TXT("z"), TXT("a"), 1},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.result, Text(row.a).CompareNoCase(Text(row.b)));
    EXPECT_EQ(row.result, Text(row.a).CompareNoCase(row.b));
  }
  EXPECT_EQ(0, Text().CompareNoCase(static_cast<const Char*>(nullptr)));
}

// Searching --------------------------------------------------------------------

STRING_TEST(Find, GivesTheFirstPositionFromAStart) {
  const Text a(TXT("abcabcab"));
  static const struct {
    const Char* text;
    size_t start, found;
  } kRows[] = {
      {TXT("abc"), 0, 0},     {TXT("abc"), 1, 3},      {TXT("abc"), 4, npos},
      {TXT("ab"), 4, 6},      {TXT("abcabcab"), 0, 0}, {TXT("abcabcabc"), 0, npos},
      {TXT("b"), 7, 7},       {TXT("b"), 8, npos},     {TXT("b"), 9, npos},
      {TXT("b"), npos, npos}, {TXT(""), 0, npos},      {TXT("x"), 0, npos},
      {TXT("ca"), 0, 2},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.found, a.Find(Text(row.text), row.start));
    EXPECT_EQ(row.found, a.FindFirstStr(row.text, row.start));
  }
  EXPECT_EQ(2u, a.Find(TXT("cab")));
  EXPECT_EQ(2u, a.FindFirstStr(TXT("cab")));
  EXPECT_EQ(npos, Text().Find(Text(), 0));
}

STRING_TEST(Find, AnEmptyTextFindsAZeroUnitInsideTheString) {
  const Text a = WithZero(ZTXT("a\0b\0"));
  EXPECT_EQ(1u, a.Find(Text(), 0));
  EXPECT_EQ(3u, a.Find(Text(), 2));
  EXPECT_EQ(npos, a.Find(Text(), 4));
}

STRING_TEST(Find, TakesZeroUnitsOfTheTextFromAStringOnly) {
  const Text a = WithZero(ZTXT("xa\0by"));
  EXPECT_EQ(1u, a.Find(WithZero(ZTXT("a\0b")), 0));
  EXPECT_EQ(npos, a.Find(WithZero(ZTXT("a\0c")), 0));
  EXPECT_EQ(1u, a.FindFirstStr(TXT("a\0c"), 0));
}

STRING_TEST(Find, FindStrComparesExactlyThatManyUnits) {
  const Probe a(TXT("abcd"));
  EXPECT_EQ(1u, a.FindStr(TXT("bcx"), 2, 0));
  EXPECT_EQ(npos, a.FindStr(TXT("bcx"), 3, 0));
}

STRING_TEST(FindLastStr, GivesTheHighestPositionThatEndsInTime) {
  const Text a(TXT("abcabcab"));
  static const struct {
    const Char* text;
    size_t end, found;
  } kRows[] = {
      {TXT("abc"), npos, 3},
      {TXT("ab"), npos, 6},
      {TXT("ab"), 8, 6},
      {TXT("ab"), 7, 3},
      {TXT("ab"), 5, 3},
      {TXT("ab"), 4, 0},
      {TXT("ab"), 2, 0},
      {TXT("ab"), 1, npos},
      {TXT("ab"), 0, npos},
      {TXT(""), npos, 8},
      {TXT(""), 5, 5},
      {TXT(""), 0, npos},
      {TXT("x"), npos, npos},
      {TXT("abcabcab"), npos, 0},
      {TXT("abcabcabc"), npos, npos},
      {TXT("ab"), 20, 6},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(row.found, a.FindLastStr(row.text, row.end));
  EXPECT_EQ(3u, a.FindLastStr(TXT("abc")));
  EXPECT_EQ(npos, Text().FindLastStr(TXT("")));
  EXPECT_EQ(npos, Text().FindLastStr(TXT("a")));
}

STRING_TEST(FindNoCase, FoldsBothSides) {
  const Text a(TXT("xABc abC"));
  EXPECT_EQ(1u, a.FindNoCase(TXT("abc"), 0));
  EXPECT_EQ(1u, a.FindNoCase(TXT("aBC")));
  EXPECT_EQ(5u, a.FindNoCase(TXT("ABC"), 2));
  EXPECT_EQ(npos, a.FindNoCase(TXT("abc"), 6));
  EXPECT_EQ(npos, a.FindNoCase(TXT("abd"), 0));
  EXPECT_EQ(npos, a.FindNoCase(TXT(""), 0));
  EXPECT_EQ(npos, a.FindNoCase(TXT("c"), 8));
  EXPECT_EQ(npos, a.FindNoCase(TXT("c"), 9));
  EXPECT_EQ(npos, a.FindNoCase(TXT("c"), npos));
  EXPECT_EQ(npos, Text(TXT("ab")).FindNoCase(TXT("abc"), 0));
}

STRING_TEST(FindFirstOf, GivesTheFirstUnitOfTheSet) {
  const Text a(TXT("abcdef"));
  EXPECT_EQ(2u, a.FindFirstOf(TXT("fdc")));
  EXPECT_EQ(3u, a.FindFirstOf(TXT("fdc"), 3));
  EXPECT_EQ(npos, a.FindFirstOf(TXT("xyz")));
  EXPECT_EQ(npos, a.FindFirstOf(TXT("")));
  EXPECT_EQ(npos, a.FindFirstOf(TXT("a"), 6));
  EXPECT_EQ(npos, Text().FindFirstOf(TXT("a")));
}

STRING_TEST(FindFirstOf, GivesBackAStartBeyondTheLength) {
  EXPECT_EQ(10u, Text(TXT("abc")).FindFirstOf(TXT("x"), 10));
  EXPECT_EQ(10u, Text(TXT("abc")).FindFirstNotOf(TXT("x"), 10));
}

STRING_TEST(FindFirstOf, TheTerminatorOfASetIsNoMember) {
  const Text a = WithZero(ZTXT("aa\0b"));
  EXPECT_EQ(3u, a.FindFirstOf(TXT("b")));
  EXPECT_EQ(2u, a.FindFirstNotOf(TXT("ab")));
  EXPECT_EQ(npos, a.FindLastOf(TXT("x")));
}

STRING_TEST(FindFirstNotOf, GivesTheFirstUnitOutsideTheSet) {
  const Text a(TXT("aabbc"));
  EXPECT_EQ(2u, a.FindFirstNotOf(TXT("a")));
  EXPECT_EQ(4u, a.FindFirstNotOf(TXT("ab")));
  EXPECT_EQ(npos, a.FindFirstNotOf(TXT("abc")));
  EXPECT_EQ(3u, a.FindFirstNotOf(TXT("a"), 3));
  EXPECT_EQ(npos, a.FindFirstNotOf(TXT("a"), npos));
  EXPECT_EQ(0u, a.FindFirstNotOf(TXT("")));
  EXPECT_EQ(npos, Text().FindFirstNotOf(TXT("a")));
}

STRING_TEST(FindLastOf, WalksDownFromTheStart) {
  const Text a(TXT("abcabc"));
  EXPECT_EQ(4u, a.FindLastOf(TXT("ab")));
  EXPECT_EQ(5u, a.FindLastOf(TXT("c")));
  EXPECT_EQ(3u, a.FindLastOf(TXT("ab"), 3));
  EXPECT_EQ(0u, a.FindLastOf(TXT("a"), 2));
  EXPECT_EQ(0u, a.FindLastOf(TXT("a"), 0));
  EXPECT_EQ(npos, a.FindLastOf(TXT("b"), 0));
  EXPECT_EQ(npos, a.FindLastOf(TXT("x")));
  EXPECT_EQ(npos, a.FindLastOf(TXT("")));
  EXPECT_EQ(npos, Text().FindLastOf(TXT("a")));
  EXPECT_EQ(npos, Text().FindLastOf(TXT("a"), 3));
}

// Extraction -------------------------------------------------------------------

STRING_TEST(AfterFirst, GivesEmptyWhenNotFound) {
  const Text a(TXT("a=b=c"));
  EXPECT_EQ(Plain(TXT("b=c")), Str(a.AfterFirst(TXT('='))));
  EXPECT_EQ(Plain(TXT("c")), Str(a.AfterFirst(TXT("b="))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterFirst(TXT('x'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterFirst(TXT("x"))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterFirst(TXT(""))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterFirst(TXT('c'))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a));
}

STRING_TEST(BeforeFirst, GivesTheWholeTextWhenNotFound) {
  const Text a(TXT("a=b=c"));
  EXPECT_EQ(Plain(TXT("a")), Str(a.BeforeFirst(TXT('='))));
  EXPECT_EQ(Plain(TXT("a=")), Str(a.BeforeFirst(TXT("b="))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a.BeforeFirst(TXT('x'))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a.BeforeFirst(TXT("x"))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeFirst(TXT('a'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeFirst(TXT("a="))));
}

STRING_TEST(AfterLast, GivesTheWholeTextWhenNotFound) {
  const Text a(TXT("a=b=c"));
  EXPECT_EQ(Plain(TXT("c")), Str(a.AfterLast(TXT('='))));
  EXPECT_EQ(Plain(TXT("=c")), Str(a.AfterLast(TXT("=b"))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a.AfterLast(TXT('x'))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a.AfterLast(TXT("x"))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterLast(TXT('c'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text().AfterLast(TXT('c'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.AfterLast(TXT("")))); // found at the end
}

STRING_TEST(BeforeLast, GivesEmptyWhenNotFoundOrAtTheStart) {
  const Text a(TXT("a=b=c"));
  EXPECT_EQ(Plain(TXT("a=b")), Str(a.BeforeLast(TXT('='))));
  EXPECT_EQ(Plain(TXT("a")), Str(a.BeforeLast(TXT("=b"))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeLast(TXT('x'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeLast(TXT("x"))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeLast(TXT('a'))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a.BeforeLast(TXT("a="))));
  EXPECT_EQ(Plain(TXT("a=b=c")), Str(a.BeforeLast(TXT("")))); // found at the end
}

STRING_TEST(Extraction, OnlyTheAfterFormsStopAtAZeroUnit) {
  const Text a = WithZero(ZTXT("p\0q=r\0s"));
  EXPECT_EQ(Plain(TXT("r")), Str(a.AfterFirst(TXT('='))));
  EXPECT_EQ(Plain(TXT("r")), Str(a.AfterFirst(TXT("="))));
  EXPECT_EQ(Plain(TXT("r")), Str(a.AfterLast(TXT('='))));
  EXPECT_EQ(Plain(TXT("r")), Str(a.AfterLast(TXT("="))));
  EXPECT_EQ(Plain(TXT("p")), Str(a.AfterLast(TXT('x'))));
  EXPECT_EQ(Plain(TXT("p")), Str(a.AfterLast(TXT("x"))));
  EXPECT_EQ(ZTXT("p\0q"), Str(a.BeforeFirst(TXT('='))));
  EXPECT_EQ(ZTXT("p\0q"), Str(a.BeforeLast(TXT("="))));
  EXPECT_EQ(Str(a), Str(a.BeforeFirst(TXT('x'))));
  EXPECT_EQ(ZTXT("\0s"), Str(a.Mid(5)));
}

STRING_TEST(Mid, CutsTheCount) {
  const Text a(TXT("abcdef"));
  static const struct {
    size_t first, count;
    const Char* result;
  } kRows[] = {
      {0, npos, TXT("abcdef")}, {2, 2, TXT("cd")},
      {2, npos, TXT("cdef")},   {4, 10, TXT("ef")},
      {6, 1, TXT("")},          {6, npos, TXT("")},
      {7, 1, TXT("")},          {npos, npos, TXT("")},
      {2, 0, TXT("")},          {1, npos - 1, TXT("bcdef")},
      {npos, 2, TXT("")},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(Plain(row.result), Str(a.Mid(row.first, row.count))) << row.first;
  EXPECT_EQ(Plain(TXT("cdef")), Str(a.Mid(2)));
  EXPECT_EQ(1, HeaderOf(a.Mid(0))->refCount);
}

STRING_TEST(Left, GivesTheWholeStringWhenLongerThanTheText) {
  EXPECT_EQ(Plain(TXT("abc")), Str(Text(TXT("abc")).Left(5)));
  EXPECT_EQ(Plain(TXT("ab")), Str(Text(TXT("abc")).Left(2)));
  EXPECT_EQ(Plain(TXT("abc")), Str(Text(TXT("abc")).Left(npos)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT("abc")).Left(0)));
}

STRING_TEST(Right, GivesEmptyWhenLongerThanTheText) {
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT("abc")).Right(5)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT("abc")).Right(4)));
  EXPECT_EQ(Plain(TXT("abc")), Str(Text(TXT("abc")).Right(3)));
  EXPECT_EQ(Plain(TXT("bc")), Str(Text(TXT("abc")).Right(2)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text(TXT("abc")).Right(0)));
}

STRING_TEST(Case, GivesAPrivateCopyInTheOtherCase) {
  const Text a(TXT("aBc-1"));
  EXPECT_EQ(Plain(TXT("ABC-1")), Str(a.Upper()));
  EXPECT_EQ(Plain(TXT("abc-1")), Str(a.Lower()));
  EXPECT_EQ(Plain(TXT("aBc-1")), Str(a));
  EXPECT_NE(a.c_str(), Text(TXT("abc")).Lower().c_str());
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text().Upper()));
}

STRING_TEST(Case, StopsAtTheFirstZeroUnit) {
  EXPECT_EQ(ZTXT("A\0b"), Str(WithZero(ZTXT("a\0b")).Upper()));
  EXPECT_EQ(ZTXT("a\0B"), Str(WithZero(ZTXT("A\0B")).Lower()));
}

STRING_TEST(TrimTo1Space, ReplacesEachRunOfWhitespaceByOneBlank) {
  static const struct {
    const Char *text, *result;
  } kRows[] = {
      {TXT("abc"), TXT("abc")},
      {TXT("a b"), TXT("a b")},
      {TXT("a  b"), TXT("a b")},
      {TXT("a\tb"), TXT("a b")},
      {TXT("a\nb"), TXT("a b")},
      {TXT("  a"), TXT(" a")},
      {TXT("a \t\r\n\v\f "), TXT("a ")},
      {TXT("   "), TXT(" ")},
      {TXT("\t"), TXT(" ")},
      {TXT(" a  b   c "), TXT(" a b c ")},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(Plain(row.result), Str(Text(row.text).TrimTo1Space()));
}

STRING_TEST(TrimTo1Space, GivesAPrivateBlockForAnEmptyString) {
  const Text result = Text().TrimTo1Space();
  EXPECT_EQ(0u, result.length());
  EXPECT_FALSE(PointsAtTheEmptyBlock(result));
  EXPECT_EQ(1, HeaderOf(result)->refCount);
}

STRING_TEST(TrimTo1Space, AZeroUnitEndsTheResult) {
  EXPECT_EQ(Plain(TXT("a b")), Str(WithZero(ZTXT("a  b\0c")).TrimTo1Space()));
}

// Changing ---------------------------------------------------------------------

STRING_TEST(Append, AddsStringsTextsAndUnits) {
  Text a;
  a += Text(TXT("ab"));
  a += TXT("cd");
  a += TXT('e');
  a += WithZero(ZTXT("\0f"));
  EXPECT_EQ(ZTXT("abcde\0f"), Str(a));
  EXPECT_EQ(0, a.c_str()[7]);
  a += TXT("");
  a += Text();
  a += static_cast<const Char*>(nullptr);
  EXPECT_EQ(7u, a.length());
  (a += TXT("g")) += TXT("h");
  EXPECT_EQ(9u, a.length());
}

STRING_TEST(Append, OfNothingLeavesTheEmptyBlock) {
  Text a;
  a += TXT("");
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Append, OfNothingLeavesASharedBlockShared) {
  Text a(TXT("abc"));
  const Text b(a);
  a += TXT("");
  EXPECT_EQ(a.c_str(), b.c_str());
}

STRING_TEST(Append, GrowsByOneRoundingStepAtATime) {
  Text a;
  for (size_t n = 1; n <= 100; ++n) {
    a += TXT('x');
    ASSERT_EQ(n, a.length());
    ASSERT_EQ(n <= 19 ? 19 : (n + 12) / 16 * 16 + 3, HeaderOf(a)->capacity) << n;
  }
}

STRING_TEST(Append, FillsTheCapacityBeforeItGrows) {
  Text a(Repeated(15, TXT('x')).c_str());
  a += TXT("1234"); // exactly the capacity
  EXPECT_EQ(19u, HeaderOf(a)->capacity);
  a += TXT("5");
  EXPECT_EQ(35u, HeaderOf(a)->capacity);
}

STRING_TEST(Append, UnsharesIntoABlockOfTheNewLength) {
  Text a(TXT("abc"));
  const Text b(a);
  a += TXT("d");
  EXPECT_EQ(Plain(TXT("abcd")), Str(a));
  EXPECT_EQ(Plain(TXT("abc")), Str(b));
  EXPECT_EQ(1, HeaderOf(b)->refCount);
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

STRING_TEST(Append, TakesItsOwnText) {
  Text room(TXT("abc")); // need not move
  room += room;
  EXPECT_EQ(Plain(TXT("abcabc")), Str(room));
  Text shared(TXT("abc"));
  const Text other(shared);
  shared += shared;
  EXPECT_EQ(Plain(TXT("abcabc")), Str(shared));
  Text full(Repeated(5000, TXT('x')).c_str()); // must move
  full += full;
  EXPECT_EQ(Repeated(10000, TXT('x')), Str(full));
  full += full.c_str() + 4000;
  EXPECT_EQ(Repeated(16000, TXT('x')), Str(full));
}

STRING_TEST(Append, ConcatSelfTakesTheLesserCount) {
  Probe a(TXT("x"));
  a.ConcatSelf(3, TXT("abc"), 2);
  EXPECT_EQ(Plain(TXT("xab")), Str(a));
  a.ConcatSelf(1, TXT("abc"), npos);
  EXPECT_EQ(Plain(TXT("xaba")), Str(a));
  a.ConcatSelf(3, TXT("abc"), 0);
  EXPECT_EQ(Plain(TXT("xaba")), Str(a));
}

STRING_TEST(Plus, JoinsInFiveForms) {
  const Text a(TXT("ab")), b(TXT("cd"));
  EXPECT_EQ(Plain(TXT("abcd")), Str(a + b));
  EXPECT_EQ(Plain(TXT("abx")), Str(a + TXT('x')));
  EXPECT_EQ(Plain(TXT("xab")), Str(TXT('x') + a));
  EXPECT_EQ(Plain(TXT("abxy")), Str(a + TXT("xy")));
  EXPECT_EQ(Plain(TXT("xyab")), Str(TXT("xy") + a));
  EXPECT_EQ(Plain(TXT("ab")), Str(a + static_cast<const Char*>(nullptr)));
  EXPECT_EQ(Plain(TXT("ab")), Str(a));
  EXPECT_EQ(Plain(TXT("ab/cd.e")), Str(a + TXT('/') + b + TXT(".e")));
  EXPECT_EQ(ZTXT("ab\0"), Str(a + Char(0)));
}

STRING_TEST(Plus, OfTwoEmptyTextsGivesAPrivateEmptyBlock) {
  const Text a;
  const Text left = a + TXT(""), right = TXT("") + a;
  EXPECT_EQ(0u, left.length());
  EXPECT_FALSE(PointsAtTheEmptyBlock(left));
  EXPECT_FALSE(PointsAtTheEmptyBlock(right));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a + a)); // a copy to which nothing is added
}

STRING_TEST(Plus, ReservesTheSumOfATextAndAString) {
  const Text a(Repeated(19, TXT('x')).c_str());
  EXPECT_EQ(35u, HeaderOf(a + TXT(""))->capacity);
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

STRING_TEST(Insert, OpensAGap) {
  Text a(TXT("abcd"));
  a.Insert(2, TXT("XY"), npos);
  EXPECT_EQ(Plain(TXT("abXYcd")), Str(a));
  a.Insert(0, TXT("12345"), 2);
  EXPECT_EQ(Plain(TXT("12abXYcd")), Str(a));
  a.Insert(8, TXT("!"));
  EXPECT_EQ(Plain(TXT("12abXYcd!")), Str(a));
  EXPECT_EQ(0, a.c_str()[9]);
  Text empty;
  empty.Insert(0, TXT("abc"));
  EXPECT_EQ(Plain(TXT("abc")), Str(empty));
  EXPECT_EQ(-1, (reinterpret_cast<const Data*>(kEmpty) - 1)->refCount);
}

STRING_TEST(Insert, OfNothingChangesNothing) {
  Text a(TXT("abc"));
  const Text b(a);
  a.Insert(1, TXT("x"), 0);
  a.Insert(1, TXT(""), npos);
  a.Insert(1, nullptr, npos);
  EXPECT_EQ(a.c_str(), b.c_str());
}

STRING_TEST(Insert, IntoASharedBlockLeavesTheOtherOwner) {
  for (size_t n : {2, 16, 40}) {
    Text a(TXT("abcdefghij"));
    const Text other(a);
    a.Insert(3, Repeated(n, TXT('x')).c_str(), n);
    EXPECT_EQ(Plain(TXT("abcdefghij")), Str(other));
    EXPECT_EQ(Plain(TXT("abc")) + Repeated(n, TXT('x')) + TXT("defghij"), Str(a));
    EXPECT_EQ(1, HeaderOf(other)->refCount);
    EXPECT_EQ(1, HeaderOf(a)->refCount);
    EXPECT_GE(HeaderOf(a)->capacity, a.length());
  }
}

STRING_TEST(Insert, GrowsAtEquality) {
  Text a(TXT("abc"));
  a.Insert(3, Repeated(15, TXT('x')).c_str());
  EXPECT_EQ(19u, HeaderOf(a)->capacity);
  a.Insert(3, TXT("x")); // 19 units fill the block, and so it grows
  EXPECT_EQ(35u, HeaderOf(a)->capacity);
}

STRING_TEST(Erase, TakesUnitsOut) {
  static const struct {
    size_t pos, count;
    const Char* result;
  } kRows[] = {
      {0, 2, TXT("cdef")},
      {2, 2, TXT("abef")},
      {4, 10,
       TXT("ab"
           "cd")},
      {4, npos,
       TXT("ab"
           "cd")},
      {6, 1, TXT("abcdef")},
      {2, 0, TXT("abcdef")},
      {0, 6, TXT("")},
      {0, npos, TXT("")},
  };
  for (const auto& row : kRows) {
    Text a(TXT("abcdef"));
    a.Erase(row.pos, row.count);
    EXPECT_EQ(Plain(row.result), Str(a)) << row.pos;
    EXPECT_EQ(*row.result == 0, PointsAtTheEmptyBlock(a));
  }
  Text a(TXT("abcdef"));
  a.Erase(4);
  EXPECT_EQ(Plain(TXT("abcd")), Str(a));
}

STRING_TEST(Erase, LeavesTheOtherOwnersOfASharedBlock) {
  Text a(TXT("abcdef"));
  const Text other(a);
  a.Erase(1, 2);
  EXPECT_EQ(Plain(TXT("adef")), Str(a));
  EXPECT_EQ(Plain(TXT("abcdef")), Str(other));
  EXPECT_EQ(1, HeaderOf(other)->refCount);
}

STRING_TEST(Erase, TruncateEmptyAndClearCutTheEnd) {
  Text a(TXT("abcdef"));
  a.Truncate(6);
  EXPECT_EQ(Plain(TXT("abcdef")), Str(a));
  a.Truncate(2);
  EXPECT_EQ(Plain(TXT("ab")), Str(a));
  a.Empty();
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
  a = TXT("abc");
  a.clear();
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
  a.Empty();
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Replace, ReplacesOneOrAll) {
  static const struct {
    const Char *text, *from, *to;
    bool all;
    size_t count;
    const Char* result;
  } kRows[] = {
      {TXT("aaa"), TXT("a"), TXT("a"), true, 3, TXT("aaa")},
      {TXT("aaa"), TXT("a"), TXT("aa"), true, 3, TXT("aaaaaa")},
      {TXT("aaa"), TXT("a"), TXT("b"), false, 1, TXT("baa")},
      {TXT("aaa"), TXT("a"), TXT(""), true, 3, TXT("")},
      {TXT("aaa"), TXT("aa"), TXT("b"), true, 1, TXT("ba")},
      {TXT("abcabc"), TXT("bc"), TXT("-"), true, 2, TXT("a-a-")},
      {TXT("abcabc"), TXT("x"), TXT("-"), true, 0, TXT("abcabc")},
      {TXT("abc"), TXT(""), TXT("-"), true, 0, TXT("abc")},
      {TXT(""), TXT("a"), TXT("-"), true, 0, TXT("")},
      {TXT(""), TXT(""), TXT("-"), true, 0, TXT("")},
      {TXT("a.b.c"), TXT("."), TXT(" -> "), true, 2, TXT("a -> b -> c")},
      {TXT("abab"), TXT("ab"), TXT("ba"), true, 2, TXT("baba")},
  };
  for (const auto& row : kRows) {
    Text a(row.text);
    EXPECT_EQ(row.count, a.Replace(row.from, row.to, row.all));
    EXPECT_EQ(Plain(row.result), Str(a));
  }
  Text all(TXT("aa"));
  EXPECT_EQ(2u, all.Replace(TXT("a"), TXT("b")));
}

STRING_TEST(Replace, TurnsIntoTheEmptyBlockWhenNothingIsLeft) {
  Text a(TXT("aaa"));
  a.Replace(TXT("a"), TXT(""), true);
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Replace, WithoutAFindLeavesASharedBlockShared) {
  Text a(TXT("abc"));
  const Text b(a);
  EXPECT_EQ(0u, a.Replace(TXT("x"), TXT("y"), true));
  EXPECT_EQ(a.c_str(), b.c_str());
}

STRING_TEST(Replace, AZeroUnitAtTheStartOrBehindAReplacementEndsIt) {
  Text start = WithZero(ZTXT("\0a"));
  EXPECT_EQ(0u, start.Replace(TXT("a"), TXT("b"), true));
  Text behind = WithZero(ZTXT("a\0a"));
  EXPECT_EQ(1u, behind.Replace(TXT("a"), TXT("b"), true));
  EXPECT_EQ(ZTXT("b\0a"), Str(behind));
  Text later = WithZero(ZTXT("ab\0a"));
  EXPECT_EQ(2u, later.Replace(TXT("a"), TXT("xy"), true));
  EXPECT_EQ(ZTXT("xyb\0xy"), Str(later));
}

STRING_TEST(Replace, AnEmptyFromFindsAZeroUnit) {
  Text a = WithZero(ZTXT("a\0b"));
  EXPECT_EQ(1u, a.Replace(TXT(""), TXT("x"), true));
  EXPECT_EQ(ZTXT("ax\0b"), Str(a));
}

STRING_TEST(Replace, TakesItsOwnText) {
  Text a(TXT("abab"));
  EXPECT_EQ(2u, a.Replace(TXT("b"), Text(a).c_str(), true));
  EXPECT_EQ(Plain(TXT("aababaabab")), Str(a));
}

STRING_TEST(Replace, OfASpanIsAssigned) {
  Probe a(TXT("abcdef"));
  const Char* before = a.c_str();
  a.Replace(size_t(1), size_t(3), TXT("XYZW"), size_t(2));
  EXPECT_EQ(Plain(TXT("aXYef")), Str(a));
  EXPECT_EQ(before, a.c_str());
  a.Replace(size_t(0), size_t(5), TXT(""), size_t(0));
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Replace, IsLinearInItsReplacements) {
  const size_t n = 200000;
  Text a(Repeated(n, TXT('a')).c_str());
  EXPECT_EQ(n, a.Replace(TXT("a"), TXT("bc"), true));
  EXPECT_EQ(2 * n, a.length());
}

STRING_TEST(Trim, TakesWhitespaceFromOneEnd) {
  static const struct {
    const Char *text, *left, *right, *both;
  } kRows[] = {
      {TXT("abc"), TXT("abc"), TXT("abc"), TXT("abc")},
      {TXT("  abc "), TXT("abc "), TXT("  abc"), TXT("abc")},
      {TXT("\t\n\v\f\r x \t\n\v\f\r "), TXT("x \t\n\v\f\r "), TXT("\t\n\v\f\r x"), TXT("x")},
      {TXT("   "), TXT(""), TXT(""), TXT("")},
      {TXT(" "), TXT(""), TXT(""), TXT("")},
      {TXT(""), TXT(""), TXT(""), TXT("")},
      {TXT("a b"), TXT("a b"), TXT("a b"), TXT("a b")},
      {TXT("\x1f"
           "a\x0e"),
       TXT("\x1f"
           "a\x0e"),
       TXT("\x1f"
           "a\x0e"),
       TXT("\x1f"
           "a\x0e")},
      {TXT("\xa0"
           "a\xa0"),
       TXT("\xa0"
           "a\xa0"),
       TXT("\xa0"
           "a\xa0"),
       TXT("\xa0"
           "a\xa0")},
  };
  for (const auto& row : kRows) {
    Text left(row.text), right(row.text), both(row.text);
    left.Trim(false);
    right.Trim(true);
    both.TrimLeftRight();
    EXPECT_EQ(Plain(row.left), Str(left));
    EXPECT_EQ(Plain(row.right), Str(right));
    EXPECT_EQ(Plain(row.both), Str(both));
  }
  Text byDefault(TXT(" a "));
  byDefault.Trim();
  EXPECT_EQ(Plain(TXT(" a")), Str(byDefault));
}

STRING_TEST(Trim, OfATextWithoutWhitespaceKeepsTheBlock) {
  Text a(TXT("abc"));
  const Text b(a);
  a.Trim(true);
  a.Trim(false);
  EXPECT_EQ(a.c_str(), b.c_str());
}

STRING_TEST(Trim, StopsAtAZeroUnit) {
  Text a = WithZero(ZTXT(" \0 "));
  a.TrimLeftRight();
  EXPECT_EQ(ZTXT("\0"), Str(a));
}

STRING_TEST(Pad, AddsAtEitherEnd) {
  Text a(TXT("abc"));
  a.Pad(2, TXT('x'), true);
  EXPECT_EQ(Plain(TXT("abcxx")), Str(a));
  a.Pad(3, TXT('y'), false);
  EXPECT_EQ(Plain(TXT("yyyabcxx")), Str(a));
  a.Pad(0, TXT('z'), true);
  a.Pad(0, TXT('z'), false);
  EXPECT_EQ(Plain(TXT("yyyabcxx")), Str(a));
  a.Pad(1);
  EXPECT_EQ(Plain(TXT("yyyabcxx ")), Str(a));
  Text empty;
  empty.Pad(20, TXT('-'), false);
  EXPECT_EQ(Repeated(20, TXT('-')), Str(empty));
}

STRING_TEST(Pad, InFrontTakesTheBlockThatSingleAppendsLeave) {
  for (size_t n = 1; n <= 70; ++n) {
    Text appended;
    for (size_t i = 0; i < n; ++i)
      appended += TXT('-');
    Text padded;
    padded.Pad(n, TXT('-'), false);
    ASSERT_EQ(HeaderOf(appended)->capacity, HeaderOf(padded)->capacity) << n;
    ASSERT_EQ(Str(appended), Str(padded));
  }
}

STRING_TEST(FromAllocatedString, CopiesAndFreesTheArgument) {
  const size_t size = 4 * sizeof(Char);
  Char* block = static_cast<Char*>(qelMem_Alloc(size));
  memcpy(block, TXT("abc"), size);
  EXPECT_EQ(Plain(TXT("abc")), Str(Text::FromAllocatedString(block))); // a leak check sees the rest
  EXPECT_TRUE(PointsAtTheEmptyBlock(Text::FromAllocatedString(nullptr)));
}

// Write locking ----------------------------------------------------------------

STRING_TEST(WriteBuf, LocksUntilItIsGivenBack) {
  Text a(TXT("abc"));
  Char* text = a.GetWriteBuf(30);
  EXPECT_EQ(a.c_str(), text);
  EXPECT_EQ(0, HeaderOf(a)->refCount);
  EXPECT_FALSE(HeaderOf(a)->IsValid());
  EXPECT_EQ(35u, HeaderOf(a)->capacity);
  memcpy(text, TXT("hello"), 6 * sizeof(Char));
  a.UngetWriteBuf();
  EXPECT_EQ(1, HeaderOf(a)->refCount);
  EXPECT_EQ(Plain(TXT("hello")), Str(a));
}

STRING_TEST(WriteBuf, UngetWithALengthWritesNoTerminator) {
  Text a;
  Char* text = a.GetWriteBuf(5);
  memcpy(text, TXT("a\0cd"), 5 * sizeof(Char));
  a.UngetWriteBuf(3);
  EXPECT_EQ(ZTXT("a\0c"), Str(a));
  EXPECT_EQ(TXT('d'), a.c_str()[3]);
}

STRING_TEST(WriteBuf, NeverWritesToASharedOrStaticBlock) {
  Text a(TXT("abc"));
  const Text other(a);
  EXPECT_NE(other.c_str(), a.GetWriteBuf(2));
  a.UngetWriteBuf(0);
  EXPECT_EQ(Plain(TXT("abc")), Str(other));
  Text b;
  EXPECT_NE(kEmpty, b.GetWriteBuf(0));
  b.UngetWriteBuf(0);
}

STRING_TEST(WriteBuf, ABufferObjectLendsTheBlockForItsLife) {
  Text a(TXT("abc"));
  {
    TextBuffer buffer(a, 10);
    EXPECT_EQ(0, HeaderOf(a)->refCount);
    Char* text = buffer;
    memcpy(text, TXT("xy"), 3 * sizeof(Char));
  }
  EXPECT_EQ(1, HeaderOf(a)->refCount);
  EXPECT_EQ(Plain(TXT("xy")), Str(a));
}

STRING_TEST(Printf, ReplacesTheTextAndGivesTheLength) {
  Text a(TXT("old text"));
  EXPECT_EQ(5, a.Printf(TXT("%d-%03x"), 7, 0x2a));
  EXPECT_EQ(Plain(TXT("7-02a")), Str(a));
  EXPECT_EQ(1, HeaderOf(a)->refCount);
  EXPECT_EQ(1043u, HeaderOf(a)->capacity);
  EXPECT_EQ(Plain(TXT("50%")), Str(Text::Format(TXT("%d%%"), 50)));
  EXPECT_EQ(0, a.Printf(TXT("%s"), ""));
  EXPECT_FALSE(PointsAtTheEmptyBlock(a));
}

STRING_TEST(Printf, LeavesTheOtherOwnersOfASharedBlock) {
  Text a(TXT("abc"));
  const Text other(a);
  a.Printf(TXT("%d"), 1);
  EXPECT_EQ(Plain(TXT("abc")), Str(other));
}

STRING_TEST(Printf, AZeroUnitEndsTheText) {
  Text a;
  EXPECT_EQ(1, a.Printf(TXT("a%cb"), 0));
  EXPECT_EQ(Plain(TXT("a")), Str(a));
}
