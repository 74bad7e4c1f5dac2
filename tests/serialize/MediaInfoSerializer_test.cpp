#include <qel/serialize/MediaInfoSerializer.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/Types.h>
#include <qel/serialize/PropertyListFormatter.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/PropertyLists.h>

namespace {

using MediaInfoDeserialize = PropertyListTest;
using MediaInfoSerialize = PropertyListTest;
using MediaInfoText = PropertyListTest;

std::string TextOf(qelPropertyList* list) {
  return qelMediaInfoSerializer::Serialize(list).c_str();
}

// Reads a text and writes it again, which reverses it.
std::string Rewritten(const std::string& text) {
  const ListHold hold(qelMediaInfoSerializer::Deserialize(text.c_str()));
  return TextOf(hold.list);
}

void SetPacked(qelProperty* property, const std::string& block) {
  qelPackedData_t* data = qelPackedData_OpenCopy(block.data());
  qelProperty_Set_packedData(property, data, 1, 0);
  qelPackedData_Delete(data);
}

const char kBlockText[] = "%16%00%00%00%01%00%00%00%0C%00%00%00%01%00%03%00%07%00ABC%00";

TEST_F(MediaInfoSerialize, WritesANumber) {
  ListHold hold;
  qelProperty_Set_uint32(hold.Add("a"), 5, 0);
  EXPECT_EQ(TextOf(hold.list), "{\"a\":5,}");
}

TEST_F(MediaInfoSerialize, WritesSeveralValuesWithoutSeparator) {
  ListHold hold;
  qelProperty* property = hold.Add("a", 2);
  qelProperty_Set_uint32(property, 5, 0);
  qelProperty_Set_uint32(property, 6, 1);
  EXPECT_EQ(TextOf(hold.list), "{\"a\":[56],}");
}

TEST_F(MediaInfoSerialize, GivesTheEmptyTextForNull) {
  EXPECT_EQ(TextOf(nullptr), "");
}

TEST_F(MediaInfoSerialize, WritesAnEmptyListAsAnEmptyMap) {
  ListHold hold;
  EXPECT_EQ(TextOf(hold.list), "{,}");
}

TEST_F(MediaInfoSerialize, EscapesStrictlyAndQuotesKeys) {
  ListHold hold;
  qelProperty_Set_charPtr(hold.Add("k\"/"), "a/b\n", 1, 0);
  qelProperty_Set_wcharPtr(hold.Add("w"), QEL_W("\xE9"), 1, 0);
  EXPECT_EQ(TextOf(hold.list), "{\"k\\\"\\/\":\"a\\/b\\n\",\"w\":\"\xC3\xA9\",}");
}

TEST_F(MediaInfoSerialize, WritesEveryKind) {
  ListHold hold;
  qelProperty_Set_double(hold.Add("d"), 1.5, 0);
  qelProperty_Set_uint64(hold.Add("q"), 0xFFFFFFFFFFFFFFFFu, 0);
  hold.Add("none");
  hold.Add("other")->values[0].kind = 9;
  hold.Add("empty", 0);
  EXPECT_EQ(TextOf(hold.list),
            "{\"d\":1.500000,\"q\":18446744073709551615,\"none\":,\"other\":null,\"empty\":,}");
}

TEST_F(MediaInfoSerialize, WritesAPackedBlockUnderAnyKey) {
  ListHold hold;
  SetPacked(hold.Add("md"), BlockWith("ABC"));
  SetPacked(hold.Add("x"), BlockWith("ABC"));
  const std::string value = kBlockText;
  EXPECT_EQ(TextOf(hold.list), "{\"md\":\"" + value + "\",\"x\":\"" + value + "\",}");
}

TEST_F(MediaInfoSerialize, WritesANullBlockAsTheEmptyText) {
  ListHold hold;
  qelProperty_Set_packedData(hold.Add("rd"), nullptr, 1, 0);
  EXPECT_EQ(TextOf(hold.list), "{\"rd\":\"\",}");
}

TEST_F(MediaInfoSerialize, EscapesASlashOfABlockForTheTextOnly) {
  ListHold hold;
  SetPacked(hold.Add("md"), BlockWith("a/\"b\\%\x80!"));
  const std::string text = TextOf(hold.list);
  EXPECT_THAT(text, testing::HasSubstr("a\\/%22b%5C%25\x80!"));
  const ListHold read(qelMediaInfoSerializer::Deserialize(text.c_str()));
  EXPECT_EQ(BytesOf(read.list->first->values[0].value.packed), BlockWith("a/\"b\\%\x80!"));
}

TEST_F(MediaInfoSerialize, LetsManyThreadsWriteOneList) {
  const int kThreads = 4;
  qelPropertyList* list = qelPropertyList_New();
  list->first = qelProperty_New("md", 1);
  SetPacked(list->first, BlockWith("ABC"));
  const std::string expected = TextOf(list);
  std::atomic<int> right{0};
  Gate gate(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    qelPropertyList_Take(list, nullptr); // this thread's hold
    threads.emplace_back([&] {
      gate.Pass();
      for (int round = 0; round < 100; ++round)
        right += TextOf(list) == expected ? 1 : 0;
      qelPropertyList_Release(list);
    });
  }
  qelPropertyList_Release(list);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(right.load(), kThreads * 100);
}

TEST_F(MediaInfoDeserialize, GivesNullForTheEmptyText) {
  LogCapture capture;
  EXPECT_EQ(qelMediaInfoSerializer::Deserialize(qelCString()), nullptr);
  EXPECT_THAT(capture.Lines(), testing::IsEmpty());
}

TEST_F(MediaInfoDeserialize, PutsTheLastMemberFirst) {
  const ListHold hold(qelMediaInfoSerializer::Deserialize("{\"a\":1,\"b\":2,}"));
  EXPECT_EQ(hold.Keys(), "b a ");
  EXPECT_EQ(hold.Find("a")->values[0].value.u32, 1u);
}

TEST_F(MediaInfoDeserialize, GivesAnEmptyListForAMapInAMap) {
  const ListHold hold(qelMediaInfoSerializer::Deserialize("{\"a\":{\"b\":1,},}"));
  ASSERT_NE(hold.list, nullptr);
  EXPECT_EQ(hold.list->first, nullptr);
}

TEST_F(MediaInfoDeserialize, ReadsNumbersAndTruth) {
  const ListHold hold(
      qelMediaInfoSerializer::Deserialize("{\"t\":true,\"f\":false,\"n\":-1,\"d\":1.5,}"));
  EXPECT_EQ(hold.Find("t")->values[0].kind, QEL_DATA_UINT32);
  EXPECT_EQ(hold.Find("t")->values[0].value.u32, 1u);
  EXPECT_EQ(hold.Find("f")->values[0].value.u32, 0u);
  EXPECT_EQ(hold.Find("n")->values[0].kind, QEL_DATA_UINT32);
  EXPECT_EQ(hold.Find("n")->values[0].value.u32, 0xFFFFFFFFu);
  EXPECT_EQ(hold.Find("d")->values[0].kind, QEL_DATA_DOUBLE);
  EXPECT_EQ(hold.Find("d")->values[0].value.number, 1.5);
}

TEST_F(MediaInfoDeserialize, SetsNoValueForNull) {
  const ListHold hold(qelMediaInfoSerializer::Deserialize("{\"a\":null,}"));
  ASSERT_EQ(hold.list->first->count, 1u);
  EXPECT_EQ(hold.list->first->values[0].kind, QEL_DATA_NONE);
}

TEST_F(MediaInfoDeserialize, ReadsBlocksUnderTwoKeysAlone) {
  const std::string value = kBlockText;
  for (const char* key : {"md", "rd", "MD", "m", "mdx", ""}) {
    const std::string text = std::string("{\"") + key + "\":\"" + value + "\",}";
    const ListHold hold(qelMediaInfoSerializer::Deserialize(text.c_str()));
    const qelData& data = hold.list->first->values[0];
    if (std::string(key) == "md" || std::string(key) == "rd") {
      ASSERT_EQ(data.kind, QEL_DATA_PACKEDDATA) << key;
      EXPECT_EQ(BytesOf(data.value.packed), BlockWith("ABC"));
    } else {
      ASSERT_EQ(data.kind, QEL_DATA_CHARPTR) << key;
      EXPECT_EQ(data.value.text, value);
    }
    EXPECT_EQ(TextOf(hold.list), text);
  }
}

TEST_F(MediaInfoDeserialize, ReadsSeveralBlocksOfOneKey) {
  const std::string value = kBlockText;
  const std::string text = "{'md':['" + value + "','',7,'" + value + "'],}";
  const ListHold hold(qelMediaInfoSerializer::Deserialize(text.c_str()));
  const qelProperty& property = *hold.list->first;
  ASSERT_EQ(property.count, 4u);
  EXPECT_EQ(BytesOf(property.values[0].value.packed), BlockWith("ABC"));
  EXPECT_EQ(property.values[1].kind, QEL_DATA_PACKEDDATA);
  EXPECT_EQ(property.values[1].value.packed, nullptr);
  EXPECT_EQ(property.values[2].kind, QEL_DATA_UINT32);
  EXPECT_EQ(BytesOf(property.values[3].value.packed), BlockWith("ABC"));
}

TEST_F(MediaInfoDeserialize, KeepsAnEmptyBlockEmpty) {
  LogCapture capture;
  EXPECT_EQ(Rewritten("{\"md\":\"\",}"), "{\"md\":\"\",}");
  EXPECT_THAT(capture.Lines(), testing::IsEmpty());
}

TEST_F(MediaInfoDeserialize, TakesABlockOf256BytesForAnEmptyOne) {
  ListHold hold;
  const std::string block = BlockWith(std::string(238, 'x'));
  ASSERT_EQ(block.size(), 256u);
  SetPacked(hold.Add("md"), block);
  const std::string text = TextOf(hold.list);
  EXPECT_THAT(text, testing::HasSubstr("xxx"));
  EXPECT_EQ(Rewritten(text), "{\"md\":\"\",}");
}

TEST_F(MediaInfoDeserialize, RefusesAHostileBlockAndLogs) {
  LogCapture capture;
  // Its only slot lies far behind the end.
  EXPECT_EQ(
      Rewritten(
          "{\"a\":1,\"rd\":\"%16%00%00%00%01%00%00%00%FF%FF%FF%00%01%00%03%00%07%00ABC%00\",}"),
      "{\"rd\":\"\",\"a\":1,}");
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0].level, 1u);
  EXPECT_EQ(capture.Lines()[0].module, 99u);
}

TEST_F(MediaInfoDeserialize, LogsAFaultAndKeepsTheMembersAheadOfIt) {
  LogCapture capture;
  const ListHold hold(qelMediaInfoSerializer::Deserialize("{\"a\":1,\"b\":2,\"c\":3 \"d\":4}"));
  EXPECT_EQ(hold.Keys(), "b a ");
  ASSERT_EQ(capture.Lines().size(), 1u);
  const CapturedLine line = capture.Lines()[0];
  EXPECT_EQ(line.text, "Cannot deserialize media info '{\"a\":1,\"b\":2,\"c\":3 \"d\":4}'\n");
  EXPECT_EQ(line.level, 1u);
  EXPECT_EQ(line.module, 0u);
  EXPECT_EQ(line.file, "..\\..\\MediaInfoSerializer");
}

TEST_F(MediaInfoDeserialize, GivesNullForATextWithoutMap) {
  LogCapture capture;
  for (const char* text : {"x", "[", "1", "1 ", "\"a\"", "[1,2]", " "})
    EXPECT_EQ(qelMediaInfoSerializer::Deserialize(text), nullptr) << text;
  EXPECT_EQ(capture.Lines().size(), 4u);
}

TEST_F(MediaInfoDeserialize, GivesTheInnerListWhenTheTextEndsInAMapInAMap) {
  LogCapture capture;
  const ListHold hold(qelMediaInfoSerializer::Deserialize("{\"a\":{\"b\":{\"c\":1,\"d\":2,"));
  EXPECT_EQ(hold.Keys(), "c b ");
}

// The fixture sees to it that nothing but the result was alive.
TEST_F(MediaInfoDeserialize, ReleasesWhatDoesNotReachTheCaller) {
  const std::string whole = "{'a':1,'b':{'c':[1,{'d':{},'e':{'md':'%08%00%00%00%00%00%00%00'}},2],"
                            "'f':{'g':{}}},'h':[{},{'i':1}],'rd':''}";
  LogCapture capture;
  for (size_t length = 1; length <= whole.size(); ++length)
    for (const char* fault : {"", "?"}) {
      const std::string text = whole.substr(0, length) + fault;
      const ListHold hold(qelMediaInfoSerializer::Deserialize(text.c_str()));
      EXPECT_EQ(qelPlugins_CountLists(), 1u) << text;
      size_t properties = 0;
      for (const qelProperty* at = hold.list->first; at != nullptr; at = at->next)
        ++properties;
      EXPECT_EQ(qelPlugins_CountProperties(), properties) << text;
    }
}

TEST_F(MediaInfoText, ReadsBackWhatWasWrittenInReverse) {
  const std::string text = std::string("{\"a\":5,\"md\":\"") + kBlockText +
                           "\",\"t\":\"a\\/b\\n\\\"\\u0001\xC3\xA9\",\"d\":1.500000,\"rd\":\"\",}";
  const std::string reversed = Rewritten(text);
  EXPECT_EQ(reversed,
            std::string("{\"rd\":\"\",\"d\":1.500000,\"t\":\"a\\/b\\n\\\"\\u0001\xC3\xA9\","
                        "\"md\":\"") +
                kBlockText + "\",\"a\":5,}");
  EXPECT_EQ(Rewritten(reversed), text);
}

// What is read without a fault, but as another value than was written.
TEST_F(MediaInfoText, LosesWhatItHasNoFormFor) {
  ListHold hold;
  qelProperty_Set_uint64(hold.Add("q"), 0x500000007u, 0);
  qelProperty_Set_uint64(hold.Add("big"), 0xFFFFFFFFFFFFFFFEu, 0);
  qelProperty_Set_double(hold.Add("d"), 0.00000049, 0);
  qelProperty_Set_wcharPtr(hold.Add("w"), QEL_W("\xE9"), 1, 0);
  SetPacked(hold.Add("x"), BlockWith("ABC"));
  LogCapture capture;
  const ListHold read(qelMediaInfoSerializer::Deserialize(TextOf(hold.list).c_str()));
  EXPECT_THAT(capture.Lines(), testing::IsEmpty());
  EventLog log;
  EXPECT_EQ(qelPropertyListFormatter::Serialize(read.list, log), 0);
  EXPECT_EQ(log.text, std::string("{ key<x> text<") + kBlockText +
                          "> key<w> text<\xC3\xA9> key<d> float:0.000000 "
                          "key<big> u32:4294967295 key<q> u32:7 } ");
}

TEST_F(MediaInfoText, CannotBeReadPastWhatTheReaderDoesNotKnow) {
  LogCapture capture;
  ListHold several;
  qelProperty_Set_charPtr(several.Add("k", 2), "a", 1, 0);
  qelProperty_Set_charPtr(several.list->first, "b", 1, 1);
  EXPECT_EQ(Rewritten(TextOf(several.list)), "{,}");
  ListHold none;
  none.Add("k");
  EXPECT_EQ(Rewritten(TextOf(none.list)), "{,}");
  ListHold formFeed;
  qelProperty_Set_charPtr(formFeed.Add("k"), "\f", 1, 0);
  EXPECT_EQ(Rewritten(TextOf(formFeed.list)), "{,}");
  EXPECT_THAT(capture.Texts(),
              testing::ElementsAre("Cannot deserialize media info '{\"k\":[\"a\"\"b\"],}'\n",
                                   "Cannot deserialize media info '{\"k\":,}'\n",
                                   "Cannot deserialize media info '{\"k\":\"\\f\",}'\n"));
}

TEST_F(MediaInfoText, OfAnEmptyListCannotBeReadWithoutAFault) {
  LogCapture capture;
  EXPECT_EQ(Rewritten("{,}"), "{,}");
  EXPECT_THAT(capture.Texts(), testing::ElementsAre("Cannot deserialize media info '{,}'\n"));
}

} // namespace
