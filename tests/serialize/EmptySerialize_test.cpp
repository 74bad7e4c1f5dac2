#include <qel/serialize/EmptySerialize.h>

#include <string>

#include <gtest/gtest.h>

TEST(qelEmptySerialize, TakesEveryEventAndSaysZero) {
  qelEmptySerialize empty;
  qelISerialize& target = empty;
  EXPECT_EQ(target.MapBegin(), 0);
  EXPECT_EQ(target.MapKey("key", false), 0);
  EXPECT_EQ(target.MapEnd(), 0);
  EXPECT_EQ(target.ArrayBegin(), 0);
  EXPECT_EQ(target.ArrayItemSeparator(), 0);
  EXPECT_EQ(target.ArrayEnd(), 0);
  EXPECT_EQ(target.Identifier("name"), 0);
  EXPECT_EQ(target.String(QEL_W("wide"), true), 0);
  EXPECT_EQ(target.String("narrow", false), 0);
  EXPECT_EQ(target.Boolean(true), 0);
  EXPECT_EQ(target.U32(1), 0);
  EXPECT_EQ(target.S32(-1), 0);
  EXPECT_EQ(target.U64(1), 0);
  EXPECT_EQ(target.S64(-1), 0);
  EXPECT_EQ(target.Float(1.5), 0);
  EXPECT_EQ(target.Null(), 0);
}

TEST(qelEmptySerialize, KeepsTheIdentifierThatCallsString) {
  class Narrow : public qelEmptySerialize {
  public:
    using qelEmptySerialize::String;
    int String(const char* value, bool) override {
      seen = value;
      return 5;
    }
    std::string seen;
  };
  Narrow narrow;
  EXPECT_EQ(narrow.Identifier("name"), 5);
  EXPECT_EQ(narrow.seen, "name");
}
