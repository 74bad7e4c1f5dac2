#ifndef QEL_TESTS_SUPPORT_FATAL_H
#define QEL_TESTS_SUPPORT_FATAL_H
//===----------------------------------------------------------------------===//
// EXPECT_FATAL(statement, reason): the statement ends the process through
// qelFatalError with exactly this reason and the status -1.
//===----------------------------------------------------------------------===//

#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/qelFatalError.h>

// The callback's part: a death test sees standard error only.
inline void ShowFatalReason(const char* reason) {
  fprintf(stderr, "fatal<%s>\n", reason != nullptr ? reason : "(null)");
}

// The status -1 as a system keeps it: whole, or its low byte.
inline bool ExitedWithMinusOne(int status) {
  return testing::ExitedWithCode(-1)(status) || testing::ExitedWithCode(255)(status);
}

#define EXPECT_FATAL(statement, reason)                                                            \
  do {                                                                                             \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
          qelFatalError_SetCallback(&ShowFatalReason);                                             \
          statement;                                                                               \
        },                                                                                         \
        ExitedWithMinusOne, testing::HasSubstr(std::string("fatal<") + (reason) + ">"));           \
  } while (0)

#endif
