#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/config/qelStringSubstitute.h>
#include <qel/multiplatform/qelSocket.h>

namespace {

class ResolveHostName : public testing::Test {
protected:
  static void SetUpTestSuite() { ASSERT_EQ(qelSocket_Startup(), 0); }

  // The answer, or "(none)" for null.
  static std::string Resolve(const char* name) {
    char copy[64] = {};
    std::strncpy(copy, name, sizeof copy - 1);
    char* answer = qelStringResolveHostName(copy, nullptr);
    const std::string text = answer != nullptr ? answer : "(none)";
    std::free(answer);
    return text;
  }
};

} // namespace

TEST_F(ResolveHostName, AnswersWithTheMachinesShortName) {
  char whole[256] = {};
  ASSERT_EQ(qelSocket_GetHostName(whole, sizeof whole, "test"), 0);
  std::string expected = std::string(whole).substr(0, 63);
  if (!qelSocket_IsDottedAddress(expected.c_str()))
    expected = expected.substr(0, expected.find('.'));
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(Resolve("hostname"), expected);
}

TEST_F(ResolveHostName, AnswersNoOtherName) {
  for (const char* name : {"", "Hostname", "hostname ", "host", "env.HOME"})
    EXPECT_EQ(Resolve(name), "(none)") << name;
}

TEST_F(ResolveHostName, ServesASubstitution) {
  char* text = qelStringSubstitute("<%hostname%>", "%", 0, qelStringResolveHostName, nullptr);
  EXPECT_EQ(text, "<" + Resolve("hostname") + ">");
  std::free(text);
}

TEST(StringSubstitute, DropsTheHostNameWithoutItsCallback) {
  char* text = qelStringSubstitute("<%hostname%>", "%", 0, nullptr, nullptr);
  EXPECT_STREQ(text, "<>");
  std::free(text);
}
