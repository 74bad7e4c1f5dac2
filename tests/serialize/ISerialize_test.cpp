#include <qel/serialize/ISerialize.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/core/CString.h>
#include <qel/core/String.h>

namespace {

// Writes down the last event and answers with a status of its own.
class Recorder : public qelISerialize {
public:
  std::string last;

  int MapBegin() override { return Note("MapBegin", 1); }
  int MapKey(const char* key, bool raw) override {
    return Note(std::string("MapKey ") + key + Flag(raw), 2);
  }
  int MapEnd() override { return Note("MapEnd", 3); }
  int ArrayBegin() override { return Note("ArrayBegin", 4); }
  int ArrayItemSeparator() override { return Note("ArrayItemSeparator", 5); }
  int ArrayEnd() override { return Note("ArrayEnd", 6); }
  int String(const qelWChar* value, bool raw) override {
    return Note("Wide " + std::to_string(static_cast<unsigned>(value[0])) + Flag(raw), 7);
  }
  int String(const char* value, bool raw) override {
    return Note(std::string("Narrow ") + value + Flag(raw), 8);
  }
  int Boolean(bool value) override { return Note(value ? "true" : "false", 9); }
  int U32(qelULong value) override { return Note("U32 " + std::to_string(value), 10); }
  int S32(qelLong value) override { return Note("S32 " + std::to_string(value), 11); }
  int U64(unsigned long long value) override { return Note("U64 " + std::to_string(value), 12); }
  int S64(long long value) override { return Note("S64 " + std::to_string(value), 13); }
  int Float(double value) override { return Note("Float " + std::to_string(value), 14); }
  int Null() override { return Note("Null", 15); }

private:
  static const char* Flag(bool raw) { return raw ? " raw" : " quoted"; }
  int Note(const std::string& event, int status) {
    last = event;
    return status;
  }
};

} // namespace

namespace {

// Where the event stands in the table of virtual operations: what a pointer to it holds, but for the
// lowest bit, is the distance from the table's start.
template <class Event>
size_t SlotOf(Event event) {
  static_assert(sizeof event >= sizeof(uintptr_t), "the first word of the pointer is read");
  uintptr_t word = 0;
  memcpy(&word, &event, sizeof word);
  return (word & ~static_cast<uintptr_t>(1)) / sizeof(void*);
}

typedef int (qelISerialize::*TextEvent)(const char*, bool);
typedef int (qelISerialize::*WideTextEvent)(const qelWChar*, bool);

} // namespace

// Producers and consumers may come from different builds, so the order of slots is a promise.
TEST(qelISerializeSlots, StandInTheOrderOfTheInterface) {
  const size_t slots[] = {
      SlotOf(&qelISerialize::MapBegin),
      SlotOf(&qelISerialize::MapKey),
      SlotOf(&qelISerialize::MapEnd),
      SlotOf(&qelISerialize::ArrayBegin),
      SlotOf(&qelISerialize::ArrayItemSeparator),
      SlotOf(&qelISerialize::ArrayEnd),
      SlotOf(&qelISerialize::Identifier),
      SlotOf(static_cast<WideTextEvent>(&qelISerialize::String)),
      SlotOf(static_cast<TextEvent>(&qelISerialize::String)),
      SlotOf(&qelISerialize::Boolean),
      SlotOf(&qelISerialize::U32),
      SlotOf(&qelISerialize::S32),
      SlotOf(&qelISerialize::U64),
      SlotOf(&qelISerialize::S64),
      SlotOf(&qelISerialize::Float),
      SlotOf(&qelISerialize::Null),
  };
  const size_t first = 2; // the destructor takes two: with and without release of the memory
  for (size_t index = 0; index != sizeof slots / sizeof *slots; ++index)
    EXPECT_EQ(slots[index], first + index) << "event " << index;
}

static_assert(sizeof(qelISerialize) == sizeof(void*), "the interface has no fields");
static_assert(std::is_abstract<qelISerialize>::value, "the events are pure");
static_assert(std::has_virtual_destructor<qelISerialize>::value, "consumers are deleted by it");

TEST(qelISerializeIdentifier, CallsStringWithQuotes) {
  Recorder recorder;
  EXPECT_EQ(recorder.Identifier("name"), 8);
  EXPECT_EQ(recorder.last, "Narrow name quoted");
}

TEST(qelISerializeValue, ForwardsEachTypeAndItsStatus) {
  Recorder recorder;
  EXPECT_EQ(recorder.Value("text"), 8);
  EXPECT_EQ(recorder.last, "Narrow text quoted");
  EXPECT_EQ(recorder.Value(QEL_W("A")), 7);
  EXPECT_EQ(recorder.last, "Wide 65 quoted");
  EXPECT_EQ(recorder.Value(true), 9);
  EXPECT_EQ(recorder.last, "true");
  EXPECT_EQ(recorder.Value(static_cast<qelULong>(4294967295u)), 10);
  EXPECT_EQ(recorder.last, "U32 4294967295");
  EXPECT_EQ(recorder.Value(static_cast<qelLong>(-1)), 11);
  EXPECT_EQ(recorder.last, "S32 -1");
  EXPECT_EQ(recorder.Value(18446744073709551615ull), 12);
  EXPECT_EQ(recorder.last, "U64 18446744073709551615");
  EXPECT_EQ(recorder.Value(std::numeric_limits<long long>::min()), 13);
  EXPECT_EQ(recorder.last, "S64 -9223372036854775808");
  EXPECT_EQ(recorder.Value(1.5), 14);
  EXPECT_EQ(recorder.last, "Float 1.500000");
}

TEST(qelISerializeValue, TakesEveryNativeIntegerWithoutACast) {
  Recorder recorder;
  EXPECT_EQ(recorder.Value(static_cast<short>(-3)), 11);
  EXPECT_EQ(recorder.Value(static_cast<unsigned short>(3)), 11); // promoted to int
  EXPECT_EQ(recorder.Value(static_cast<signed char>(-3)), 11);
  EXPECT_EQ(recorder.Value(3), 11);
  EXPECT_EQ(recorder.Value(0), 11);
  EXPECT_EQ(recorder.Value(3u), 10);
  EXPECT_EQ(recorder.Value(3l), sizeof(long) == 4 ? 11 : 13);
  EXPECT_EQ(recorder.Value(3ul), sizeof(long) == 4 ? 10 : 12);
  EXPECT_EQ(recorder.Value(3ll), 13);
  EXPECT_EQ(recorder.Value(3ull), 12);
  EXPECT_EQ(recorder.Value(sizeof(int)), 12);
  EXPECT_EQ(recorder.Value(static_cast<ptrdiff_t>(3)), 13);
  EXPECT_EQ(recorder.Value(static_cast<int64_t>(3)), 13);
  EXPECT_EQ(recorder.Value(1.0f), 14);
}

TEST(qelISerializeValue, TakesStringsAsText) {
  Recorder recorder;
  EXPECT_EQ(recorder.Value(qelCString("text")), 8);
  EXPECT_EQ(recorder.last, "Narrow text quoted");
  EXPECT_EQ(recorder.Value(qelString(QEL_W("A"))), 7);
  EXPECT_EQ(recorder.last, "Wide 65 quoted");
  char narrow[] = "own";
  EXPECT_EQ(recorder.Value(narrow), 8);
  qelWChar wide[] = {'B', 0};
  EXPECT_EQ(recorder.Value(wide), 7);
  EXPECT_EQ(recorder.last, "Wide 66 quoted");
}

TEST(qelISerializeValue, KeepsEveryBitOfALong) {
  Recorder recorder;
  recorder.Value(std::numeric_limits<long>::min());
  EXPECT_EQ(recorder.last, (sizeof(long) == 4 ? "S32 " : "S64 ") +
                               std::to_string(std::numeric_limits<long>::min()));
  recorder.Value(std::numeric_limits<unsigned long>::max());
  EXPECT_EQ(recorder.last, (sizeof(long) == 4 ? "U32 " : "U64 ") +
                               std::to_string(std::numeric_limits<unsigned long>::max()));
}
