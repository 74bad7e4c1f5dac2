//===----------------------------------------------------------------------===//
// What the semaphore says of the system's errors. A record holds one handle; the
// tests put one in its place that is none, or one of another kind.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelSemaphore.h>

#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>

namespace {

class QelOSSemaphoreFaults : public testing::Test {
protected:
  QelOSSemaphoreFaults() : kept(*Handle()) {}
  ~QelOSSemaphoreFaults() override {
    *Handle() = kept;
    qelOSSemaphore_Delete(semaphore);
  }

  HANDLE* Handle() { return reinterpret_cast<HANDLE*>(semaphore); }

  void ExpectLine(const std::string& text) {
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    EXPECT_EQ(line.text, text);
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
    EXPECT_EQ(line.file, "..\\..\\win32\\qelSemaphore.win32");
  }

  qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
  HANDLE kept;
  LogCapture log;
};

// No handle of any process.
const HANDLE kNoHandle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FFFFFF0));

TEST_F(QelOSSemaphoreFaults, LogAFailedWait) {
  *Handle() = kNoHandle;
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 5), 2);
  ExpectLine("qelOSSemaphore: WaitForSingleObject(5) returned -1 (error = 6)\n");
  log.Clear();
  EXPECT_EQ(qelOSSemaphore_Wait(semaphore), 2);
  ExpectLine("qelOSSemaphore: WaitForSingleObject(4294967295) returned -1 (error = 6)\n");
}

TEST_F(QelOSSemaphoreFaults, LogAFailedPost) {
  *Handle() = kNoHandle;
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
  ExpectLine("qelOSSemaphore: ReleaseSemaphore failed (error = 6)\n");
}

TEST_F(QelOSSemaphoreFaults, LogAPostAtTheHighestCount) {
  for (int i = 0; i < qelOSSemaphoreMaxCount; ++i)
    EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
  ExpectLine("qelOSSemaphore: ReleaseSemaphore failed (error = " +
             std::to_string(ERROR_TOO_MANY_POSTS) + ")\n");
}

TEST_F(QelOSSemaphoreFaults, LogAFailedCreation) {
  EXPECT_EQ(qelOSSemaphore_New(-1), nullptr);
  ExpectLine("qelOSSemaphore: CreateSemaphore failed (error = " +
             std::to_string(ERROR_INVALID_PARAMETER) + ")\n");
}

TEST_F(QelOSSemaphoreFaults, ReleaseTheRecordAlsoWhenItsHandleFails) {
  qelOSSemaphore* other = qelOSSemaphore_New(0);
  HANDLE* handle = reinterpret_cast<HANDLE*>(other);
  ::CloseHandle(*handle);
  *handle = kNoHandle;
  qelOSSemaphore_Delete(other);
  ExpectLine("qelOSSemaphore: CloseHandle failed (error = 6)\n");
}

} // namespace
