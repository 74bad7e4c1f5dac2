// What the socket layer adds to the system's calls: nothing to speak of while the log is off, and what
// the copies of the traffic cost while it is on. Loopback only.

#include <filesystem>

#include <benchmark/benchmark.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketLog.h>
#include <qel/multiplatform/qelSocketRaw.h>
#include <qel/multiplatform/qelSocketSelect.h>

namespace {

// A datagram socket that is its own peer.
class Echo {
public:
  Echo() {
    qelSocket_Startup();
    handle = qelSocket_GetUDPSocket(INADDR_LOOPBACK, nullptr);
    sockaddr_in address = {};
    qelSocketRaw_GetSockName(handle, &address);
    qelSocket_Connect(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address), "bench");
  }
  ~Echo() { qelSocket_Close(handle, "bench", 0); }

  qelSocketHandle handle;
};

// The log's state for a run: threshold and modules.
class LogState {
public:
  LogState(uint16_t level, const char* modules) {
    qelToolsLog_SetStandardError(0);
    qelToolsLog_SetLevel(level);
    qelToolsLog_SetModules(modules);
  }
  ~LogState() {
    qelToolsLog_SetLevel(2);
    qelToolsLog_SetModules("");
    qelToolsLog_SetStandardError(1);
  }
};

void CheckedTransfer(benchmark::State& state, uint16_t level, const char* modules) {
  const LogState log(level, modules);
  const Echo echo;
  char buffer[64] = {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(qelSocket_Send(echo.handle, buffer, sizeof(buffer), 0, "bench"));
    benchmark::DoNotOptimize(qelSocket_Recv(echo.handle, buffer, sizeof(buffer), 0, "bench"));
  }
}

// The system's calls alone.
void RawTransfer(benchmark::State& state) {
  const Echo echo;
  char buffer[64] = {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(qelSocketRaw_Send(echo.handle, buffer, sizeof(buffer), 0));
    benchmark::DoNotOptimize(qelSocketRaw_Recv(echo.handle, buffer, sizeof(buffer), 0));
  }
}
BENCHMARK(RawTransfer);

void TransferWithLogOff(benchmark::State& state) {
  CheckedTransfer(state, 2, "");
}
BENCHMARK(TransferWithLogOff);

void TransferWithOtherModules(benchmark::State& state) {
  CheckedTransfer(state, 5, "7");
}
BENCHMARK(TransferWithOtherModules);

void TransferWithStatusTable(benchmark::State& state) {
  CheckedTransfer(state, 5, "53");
}
BENCHMARK(TransferWithStatusTable);

// The hooks by themselves, on a handle that fails at once: what is left is the wrapper.
void RawCallThatFails(benchmark::State& state) {
  char byte = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(qelSocketRaw_Send(qelSocketInvalid, &byte, 1, 0));
}
BENCHMARK(RawCallThatFails);

void CheckedCallThatFails(benchmark::State& state) {
  const LogState log(2, "");
  char byte = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(qelSocket_Send(qelSocketInvalid, &byte, 1, 0, "bench"));
}
BENCHMARK(CheckedCallThatFails);

// The one comparison.
void HookWithLogOff(benchmark::State& state) {
  const LogState log(2, "");
  int live = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(live += qelSocketLog_IsLive());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(HookWithLogOff);

void TransferWithTrafficFiles(benchmark::State& state) {
  const std::filesystem::path before = std::filesystem::current_path();
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "qel-bench-socket";
  std::filesystem::create_directories(folder / "socket");
  std::filesystem::current_path(folder);
  CheckedTransfer(state, 5, "21,55");
  std::filesystem::current_path(before);
  std::filesystem::remove_all(folder);
}
BENCHMARK(TransferWithTrafficFiles)->Iterations(2000);

// A wake-up and the wait that it ends, for 1 and for 10 signals.
void WakeUp(benchmark::State& state) {
  qelSocket_Startup();
  qelSocketSelect* select = qelSocketSelect_New();
  for (auto _ : state) {
    for (int64_t i = 0; i < state.range(0); ++i)
      qelSocketSelect_Trigger(select);
    int signalled = 0;
    qelSocketSelect_Select(select, nullptr, nullptr, nullptr, 0, nullptr, &signalled);
    benchmark::DoNotOptimize(signalled);
  }
  qelSocketSelect_Delete(select);
}
BENCHMARK(WakeUp)->Arg(1)->Arg(10);

} // namespace
