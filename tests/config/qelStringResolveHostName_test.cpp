// The machine's name as a substitution's answer. The name comes through the linker (--wrap), so that a
// test can give the machine another one.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/config/qelStringSubstitute.h>
#include <qel/multiplatform/qelSocket.h>

static const char* g_hostName = nullptr; // the machine's name; null for the real one
static int g_hostNameSize = 0;           // of the buffer that was last handed on

extern "C" {
int __real__Z21qelSocket_GetHostNamePciPKc(char*, int, const char*);
int __wrap__Z21qelSocket_GetHostNamePciPKc(char* buffer, int size, const char* label) {
  g_hostNameSize = size;
  if (g_hostName == nullptr)
    return __real__Z21qelSocket_GetHostNamePciPKc(buffer, size, label);
  const size_t length = std::min(std::strlen(g_hostName), static_cast<size_t>(size) - 1);
  std::memcpy(buffer, g_hostName, length);
  buffer[length] = '\0';
  return length == std::strlen(g_hostName) ? 0 : -1;
}
}

namespace {

class ResolveHostName : public testing::Test {
protected:
  static void SetUpTestSuite() { ASSERT_EQ(qelSocket_Startup(), 0); }
  void TearDown() override { g_hostName = nullptr; }

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

TEST_F(ResolveHostName, CutsANameAtItsFirstDotButForADottedNumber) {
  const struct {
    const char* name;
    const char* answer;
  } cases[] = {
      {"house", "house"},
      {"house.example.org", "house"},
      {".house", ""},
      {"", ""},
      {"10.0.0.12", "10.0.0.12"},
      {"10.0.12", "10"},
      {"1.2.3.4.5", "1"},
      {"10.0.0.a", "10"},
      {"10.0.0.12.", "10"},
      {"...", "..."},
  };
  for (const auto& c : cases) {
    g_hostName = c.name;
    EXPECT_EQ(Resolve("hostname"), c.answer) << c.name;
  }
}

TEST_F(ResolveHostName, TakesUpTo63BytesOfAName) {
  for (const size_t length : {62u, 63u, 64u, 200u}) {
    const std::string name(length, 'h');
    g_hostName = name.c_str();
    EXPECT_EQ(Resolve("hostname"), name.substr(0, 63));
  }
  EXPECT_EQ(g_hostNameSize, 64); // with its terminator
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
