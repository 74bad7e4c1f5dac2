// Names between delimiters.

#include <qel/config/qelStringSubstitute.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelPlatform.h>

namespace {

// Knows "a" to "f"; writes to the name that it is shown.
char* Answer(char* name, void*) {
  const std::string asked = name;
  name[0] = '!';
  const char* text = asked == "a"   ? "1"
                     : asked == "b" ? "%a%"
                     : asked == "c" ? "%c%"
                     : asked == "d" ? "x%d%%d%"
                     : asked == "e" ? ""
                     : asked == ""  ? "nothing"
                                    : nullptr;
  return qelMem_StrDup(text);
}

std::string Taken(char* text) {
  const std::string result = text != nullptr ? text : "(null)";
  free(text);
  return result;
}

std::string Substituted(const char* text, int rescan = 0) {
  return Taken(qelStringSubstitute(text, "%", rescan, Answer, nullptr));
}

std::string Delimited(const char* text, const char* open, const char* close, int rescan = 0) {
  return Taken(qelStringSubstituteDelimited(text, open, close, rescan, Answer, nullptr));
}

} // namespace

TEST(qelStringSubstitute, ReplacesTokens) {
  EXPECT_EQ(Substituted(""), "");
  EXPECT_EQ(Substituted("plain"), "plain");
  EXPECT_EQ(Substituted("%a%"), "1");
  EXPECT_EQ(Substituted("<%a%%a%>"), "<11>");
  EXPECT_EQ(Substituted("%e%"), "");
  EXPECT_EQ(Substituted("<%unknown%>"), "<>");
  EXPECT_EQ(Substituted("%b%"), "%a%");
  EXPECT_EQ(Substituted(nullptr), "(null)");
}

TEST(qelStringSubstitute, KeepsALoneDelimiterAndHalvesPairs) {
  EXPECT_EQ(Substituted("100%"), "100%");
  EXPECT_EQ(Substituted("%"), "%");
  EXPECT_EQ(Substituted("%%"), "%");
  EXPECT_EQ(Substituted("%%%"), "%%");
  EXPECT_EQ(Substituted("%%%%a%"), "%%a%");
  EXPECT_EQ(Substituted("%%a%%", 1), "%a%");
}

TEST(qelStringSubstitute, ScansReplacementsOnceMoreWhereAsked) {
  EXPECT_EQ(Substituted("%b%", 1), "1");
  EXPECT_EQ(Substituted("%c%", 1), "%c%"); // a name that stands for itself
  EXPECT_GT(Substituted("%d%", 1).size(), 1000u);
}

TEST(qelStringSubstitute, TakesDelimitersOfAnyLength) {
  EXPECT_EQ(Delimited("${a}${b}$", "${", "}"), "1%a%$");
  EXPECT_EQ(Delimited("<<a>>", "<<", ">>"), "1");
  EXPECT_EQ(Delimited("{}", "{", "}"), "nothing"); // two different ones side by side
  EXPECT_EQ(Delimited("@@@@", "@@", "@@"), "@@");
  EXPECT_EQ(Delimited("%a%", "", "%"), "%a%");
  EXPECT_EQ(Delimited("%a%", "%", ""), "%a%");
}

TEST(qelStringResolveVariable, ReadsTheEnvironmentBehindTheCallback) {
  ASSERT_EQ(qelPlatform_SetEnvironment("QEL_SUBSTITUTE_TEST", "value"), 0);
  EXPECT_EQ(Taken(qelStringResolveVariable("env.QEL_SUBSTITUTE_TEST", nullptr, nullptr)), "value");
  EXPECT_EQ(Taken(qelStringResolveVariable("env.QEL_SUBSTITUTE_TEST", Answer, nullptr)), "value");
  EXPECT_EQ(Taken(qelStringResolveVariable("env.QEL_NO_SUCH_NAME", Answer, nullptr)), "(null)");
  EXPECT_EQ(Taken(qelStringResolveVariable("QEL_SUBSTITUTE_TEST", nullptr, nullptr)), "(null)");
  EXPECT_EQ(Taken(qelStringResolveVariable("a", Answer, nullptr)), "1");
  EXPECT_EQ(Taken(qelStringSubstitute("a%env.QEL_SUBSTITUTE_TEST%b%env.QEL_NO_SUCH_NAME%c", "%", 0,
                                      nullptr, nullptr)),
            "avaluebc");
}

TEST(qelStringResolveVariable, TakesAnyAnswerOfTheCallbackFirst) {
  EXPECT_EQ(Taken(qelStringResolveVariable("e", Answer, nullptr)), "");
  ASSERT_EQ(qelPlatform_SetEnvironment("QEL_SUBSTITUTE_TEST", "value"), 0);
  const auto empty = [](char*, void*) -> char* { return qelMem_StrDup(""); };
  EXPECT_EQ(Taken(qelStringResolveVariable("env.QEL_SUBSTITUTE_TEST", empty, nullptr)), "");
}

TEST(qelStringResolveVariable, HandsTheCallersDataOn) {
  const auto fromData = [](char*, void* userData) -> char* {
    return qelMem_StrDup(static_cast<const char*>(userData));
  };
  char data[] = "data";
  EXPECT_EQ(Taken(qelStringSubstitute("%x%", "%", 0, fromData, data)), "data");
}
