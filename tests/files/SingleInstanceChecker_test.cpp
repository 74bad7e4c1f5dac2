#include <qel/files/SingleInstanceChecker.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <tests/support/LogCapture.h>

// A name of this program's own. The same in every run, as systems may keep a trace of each.
static std::string Name(const std::string& name) {
  const qelOwnedText program(qelPath_GetApplicationFileName());
  return "qel-test-" + std::to_string(std::hash<std::string>()(program.get())) + "-" + name;
}

TEST(SingleInstanceChecker, TheSecondOfANameSeesTheFirst) {
  auto first = std::make_unique<qelSingleInstanceChecker>(Name("two").c_str(), nullptr);
  auto second = std::make_unique<qelSingleInstanceChecker>(Name("two").c_str(), nullptr);
  EXPECT_FALSE(first->IsAnotherRunning());
  EXPECT_FALSE(first->Error());
  EXPECT_TRUE(second->IsAnotherRunning());
  EXPECT_FALSE(second->Error());
  first.reset();
  second.reset();
  const qelSingleInstanceChecker third(Name("two").c_str(), nullptr);
  EXPECT_FALSE(third.IsAnotherRunning());
}

TEST(SingleInstanceChecker, ASuffixStandsBehindADash) {
  const qelSingleInstanceChecker first(Name("app").c_str(), "x");
  EXPECT_FALSE(first.IsAnotherRunning());
  EXPECT_TRUE(qelSingleInstanceChecker((Name("app") + "-x").c_str(), nullptr).IsAnotherRunning());
  EXPECT_FALSE(qelSingleInstanceChecker(Name("app").c_str(), nullptr).IsAnotherRunning());
}

TEST(SingleInstanceChecker, AnEmptySuffixLeavesTheDash) {
  const qelSingleInstanceChecker first(Name("dash").c_str(), "");
  EXPECT_TRUE(qelSingleInstanceChecker((Name("dash") + "-").c_str(), nullptr).IsAnotherRunning());
  EXPECT_FALSE(qelSingleInstanceChecker(Name("dash").c_str(), nullptr).IsAnotherRunning());
}

TEST(SingleInstanceChecker, AFailureCountsAsAnotherInstance) {
  LogCapture log;
  const qelSingleInstanceChecker checker("", nullptr);
  EXPECT_TRUE(checker.Error());
  EXPECT_TRUE(checker.IsAnotherRunning());
  EXPECT_EQ("qelOSSingleInstanceChecker: Cannot create checker: name '' may be invalid\n",
            log.All());
}

TEST(SingleInstanceChecker, WithoutARecordThereIsAnErrorAndAnotherInstance) {
  alignas(qelSingleInstanceChecker) unsigned char object[sizeof(qelSingleInstanceChecker)];
  memset(object, 0, sizeof object);
  const auto* checker = reinterpret_cast<const qelSingleInstanceChecker*>(object);
  EXPECT_TRUE(checker->Error());
  EXPECT_TRUE(checker->IsAnotherRunning());
}

TEST(SingleInstanceChecker, AnAssignmentSharesTheRecord) {
  const qelSingleInstanceChecker first(Name("share").c_str(), nullptr);
  // The target's own record, an error's, is given up on purpose; neither copy is destroyed.
  alignas(qelSingleInstanceChecker) unsigned char object[sizeof(qelSingleInstanceChecker)] = {};
  auto* copy = reinterpret_cast<qelSingleInstanceChecker*>(object);
  *copy = first;
  EXPECT_FALSE(copy->Error());
  EXPECT_FALSE(copy->IsAnotherRunning());
  EXPECT_EQ(0, memcmp(copy, &first, sizeof first));
}
