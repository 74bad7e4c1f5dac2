// What only the Windows back-end of sockets has.

#include <qel/multiplatform/qelSocket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelSocketSelect.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>

namespace {

DWORD Limit(qelSocketHandle socket, int option) {
  DWORD value = 77;
  int size = sizeof(value);
  ::getsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, option, reinterpret_cast<char*>(&value),
               &size);
  return value;
}

TEST(QelSocketSetTimeoutWin32, SetsMilliseconds) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetTimeout(socket, 5, 1, 0, "here"), 0);
  EXPECT_EQ(Limit(socket, SO_SNDTIMEO), 5000u);
  EXPECT_EQ(Limit(socket, SO_RCVTIMEO), 0u);
  EXPECT_EQ(qelSocket_SetTimeout(socket, 7, 0, 1, "here"), 0);
  EXPECT_EQ(Limit(socket, SO_RCVTIMEO), 7000u);
}

TEST(QelSocketErrorsWin32, AreWinsocksNumbers) {
  LogCapture log;
  const sockaddr_in address = LoopbackAddress(0);
  EXPECT_EQ(qelSocket_Bind(-1, AsAddress(address), sizeof(address), "here"), -2);
  EXPECT_EQ(::WSAGetLastError(), 10038);
  ::WSASetLastError(10035);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_EQ(qelSocket_GetLastError(), 10035);
}

// The entries behind the wake-up socket move up by one.
TEST(QelSocketSelectCheckAndDrainWin32, KeepsTheOrderOfTheOthers) {
  qelSocketSelect* select = qelSocketSelect_New();
  ASSERT_NE(select, nullptr);
  const TestSocket first = TestSocket::UDP();
  const TestSocket second = TestSocket::UDP();
  const TestSocket third = TestSocket::UDP();
  fd_set set;
  FD_ZERO(&set);
  FD_SET(static_cast<SOCKET>(qelSocketHandle(first)), &set);
  qelSocketSelect_AddToSet(select, &set);
  FD_SET(static_cast<SOCKET>(qelSocketHandle(second)), &set);
  FD_SET(static_cast<SOCKET>(qelSocketHandle(third)), &set);
  EXPECT_EQ(set.fd_count, 4u);
  EXPECT_EQ(qelSocketSelect_CheckAndDrain(select, &set), 1);
  ASSERT_EQ(set.fd_count, 3u);
  EXPECT_EQ(set.fd_array[0], static_cast<SOCKET>(qelSocketHandle(first)));
  EXPECT_EQ(set.fd_array[1], static_cast<SOCKET>(qelSocketHandle(second)));
  EXPECT_EQ(set.fd_array[2], static_cast<SOCKET>(qelSocketHandle(third)));
  qelSocketSelect_Delete(select);
}

} // namespace
