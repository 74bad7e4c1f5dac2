#include <qel/core/Error.h>

#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

// Opens the fields, and keeps a cause that an assignment would lose.
struct Opened : qelError {
  using qelError::qelError;
  using qelError::operator=;
  using qelErrorInfo::m_cause;
  using qelErrorInfo::m_context;
};

// Error 5 "x" caused by 2 "y".
template <class Error>
static void MakeChain(Error& error) {
  error = 2;
  error = "y";
  error.ConvertTo(5, "x");
}

TEST(ErrorConstruction, BeginsWithNoError) {
  const qelError error;
  EXPECT_EQ(error.GetErrorCode(), 0);
  EXPECT_TRUE(error.GetErrorStr().IsEmpty());
  EXPECT_TRUE(error == 0);
  EXPECT_FALSE(error != 0);
  EXPECT_EQ(error.ToString(), "");
  EXPECT_EQ(error.ToShortString(), "");
}

TEST(ErrorConstruction, TakesCodeAndMessage) {
  const qelError error(-7, "abc");
  EXPECT_EQ(error.GetErrorCode(), -7);
  EXPECT_EQ(error.GetErrorStr(), "abc");
  EXPECT_TRUE(error == -7L);
  EXPECT_TRUE(error != 7);
}

TEST(ErrorConstruction, CopiesTheChain) {
  qelError error;
  MakeChain(error);
  qelError copy(error);
  error.ConvertTo(9, "z");
  EXPECT_EQ(copy.ToString(), " (error: 5 'x') (error: 2 'y')");
  copy.ConvertTo(10, "");
  EXPECT_EQ(error.ToString(), " (error: 9 'z') (error: 5 'x') (error: 2 'y')");
}

TEST(ErrorConstruction, CopiesContextAndChainIntoNewRecords) {
  static const char context[] = "disk";
  Opened error;
  MakeChain(error);
  error.m_context = context;
  Opened copy(error);
  EXPECT_EQ(copy.m_context, context);
  EXPECT_NE(copy.m_cause, error.m_cause);
  EXPECT_EQ(copy.ToString(), " (error: 5 [disk] 'x') (error: 2 'y')");
}

TEST(ErrorInfo, IsTheNestedClassOfError) {
  EXPECT_TRUE((std::is_same<qelError::qelErrorInfo, qelErrorInfo>::value));
  EXPECT_EQ(sizeof(qelError), sizeof(qelErrorInfo));
  EXPECT_FALSE(std::is_polymorphic<qelError>::value);
  qelError::qelErrorInfo info(3, "m");
  info.ConvertTo(4, "n");
  const qelErrorInfo copy(info);
  EXPECT_EQ(copy.ToString(), " (error: 4 'n') (error: 3 'm')");
  EXPECT_EQ(copy.ToShortString(), "4: n");
}

TEST(ErrorAssignment, KeepsTheOwnCauseIfTheOtherHasNone) {
  qelError error;
  MakeChain(error);
  error = qelError(7, "w");
  EXPECT_EQ(error.ToString(), " (error: 7 'w') (error: 2 'y')");
  error = qelError();
  EXPECT_EQ(error.ToString(), "");
  error = 8;
  EXPECT_EQ(error.ToString(), " (error: 8) (error: 2 'y')");
}

TEST(ErrorAssignment, PutsACopyOfTheOthersCauseInPlaceOfTheOwn) {
  Opened error;
  MakeChain(error);
  Opened other(1, "one");
  other.ConvertTo(3, "three");
  qelErrorInfo* const before = error.m_cause;
  error = other;
  EXPECT_NE(error.m_cause, before);
  EXPECT_NE(error.m_cause, other.m_cause);
  EXPECT_EQ(before->ToString(), " (error: 2 'y')") << "the old cause is not released";
  EXPECT_EQ(error.ToString(), " (error: 3 'three') (error: 1 'one')");
  delete before;
}

TEST(ErrorAssignment, CopiesTheContext) {
  Opened error;
  Opened other(1, "one");
  other.m_context = "disk";
  error = other;
  EXPECT_EQ(error.ToString(), " (error: 1 [disk] 'one')");
}

TEST(ErrorAssignment, OfACodeEmptiesTheMessage) {
  qelError error(3, "abc");
  error = 4;
  EXPECT_EQ(error.GetErrorCode(), 4);
  EXPECT_EQ(error.GetErrorStr(), "");
}

TEST(ErrorAssignment, OfZeroLeavesTheCause) {
  qelError error;
  MakeChain(error);
  error = 0;
  EXPECT_EQ(error.ToString(), "");
  EXPECT_EQ(error.ToShortString(), "");
  error = 6;
  EXPECT_EQ(error.ToString(), " (error: 6) (error: 2 'y')");
}

TEST(ErrorAssignment, TakesEveryIntegerType) {
  qelError error(1, "m");
  error = 0L;
  EXPECT_TRUE(error == 0);
  error = 5u;
  EXPECT_TRUE(error == 5);
  error = 4294967295ul;
  EXPECT_TRUE(error == -1);
  error = -3LL;
  EXPECT_TRUE(error == -3);
  error = short(9);
  EXPECT_TRUE(error == 9);
}

TEST(ErrorAssignment, OfATextKeepsTheCode) {
  qelError error(3, "abc");
  (error = "def") = "ghi";
  EXPECT_EQ(error.ToShortString(), "3: ghi");
  error = static_cast<const char*>(nullptr);
  EXPECT_EQ(error.ToShortString(), "3");
}

TEST(ErrorToString, ShowsWhatIsThere) {
  struct Row {
    int code;
    const char* context;
    const char* message;
    const char* text;
    const char* shortText;
  };
  const Row rows[] = {
      {0, "c", "m", "", ""},
      {7, "", "", " (error: 7)", "7"},
      {7, nullptr, "", " (error: 7)", "7"},
      {7, "", "abc", " (error: 7 'abc')", "7: abc"},
      {7, "disk", "", " (error: 7 [disk])", "7"},
      {-2147483647 - 1, "disk", "abc", " (error: -2147483648 [disk] 'abc')", "-2147483648: abc"},
      {7, "%d", "%s'", " (error: 7 [%d] '%s'')", "7: %s'"},
  };
  for (const Row& row : rows) {
    Opened error(row.code, row.message);
    error.m_context = row.context;
    EXPECT_EQ(error.ToString(), row.text);
    EXPECT_EQ(error.ToShortString(), row.shortText);
  }
}

TEST(ErrorToString, KeepsLongMessagesWhole) {
  for (size_t n : {1008u, 1015u, 1023u, 1024u, 5000u}) {
    const std::string message(n, 'm');
    const qelError error(5, message.c_str());
    EXPECT_EQ(error.ToString(), (" (error: 5 '" + message + "')").c_str()) << n;
    EXPECT_EQ(error.ToShortString(), ("5: " + message).c_str()) << n;
  }
}

TEST(ErrorToString, EndsAMessageAtAZeroByte) {
  const qelError error(5, qelCString("a\0b", 3));
  EXPECT_EQ(error.ToString(), " (error: 5 'a')");
  EXPECT_EQ(error.ToShortString(), "5: a");
}

TEST(ErrorToString, EndsAtACauseOfCodeZero) {
  qelError error(2, "y");
  error.ConvertTo(0, "none");
  error.ConvertTo(5, "x");
  EXPECT_EQ(error.ToString(), " (error: 5 'x')");
}

TEST(ErrorConvertTo, PrintsTheNewestFirst) {
  qelError error(2, "");
  error.ConvertTo(5, "x");
  EXPECT_EQ(error.ToString(), " (error: 5 'x') (error: 2)");
  error.ConvertTo(9, "z");
  EXPECT_EQ(error.ToString(), " (error: 9 'z') (error: 5 'x') (error: 2)");
  EXPECT_EQ(error.ToShortString(), "9: z");
  EXPECT_TRUE(error == 9);
  EXPECT_EQ(error.GetErrorStr(), "z");
}

TEST(ErrorConvertTo, MovesTheContextToTheCause) {
  Opened error(2, "y");
  error.m_context = "disk";
  error.ConvertTo(5, "x");
  EXPECT_STREQ(error.m_context, "");
  EXPECT_EQ(error.ToString(), " (error: 5 'x') (error: 2 [disk] 'y')");
}

TEST(ErrorConvertTo, MakesACauseOfNoErrorToo) {
  qelError error;
  error.ConvertTo(5, "x");
  EXPECT_EQ(error.ToString(), " (error: 5 'x')");
  Opened opened;
  opened.ConvertTo(5, "x");
  ASSERT_NE(opened.m_cause, nullptr);
  EXPECT_EQ(opened.m_cause->GetErrorCode(), 0);
}
