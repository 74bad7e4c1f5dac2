// The program that the tests launch. It also reports its open descriptors and the signals that are
// blocked or ignored.

#include <tests/support/Launched.h>

#include <thread>

#include <fcntl.h>
#include <signal.h>

static std::string Surroundings() {
  std::string text = "descriptors";
  for (int i = 0; i < 1024; ++i)
    if (::fcntl(i, F_GETFD) >= 0)
      text += " " + std::to_string(i);
  text += "\nsignals";
  sigset_t blocked;
  ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
  for (int i = 1; i < 32; ++i) {
    struct sigaction action;
    if (::sigismember(&blocked, i) == 1 ||
        (::sigaction(i, nullptr, &action) == 0 && action.sa_handler == SIG_IGN))
      text += " " + std::to_string(i);
  }
  return text + "\ncallback " + LaunchedVariable("QEL_FATALERROR_CALLBACK") + "\n";
}

int main(int count, char** arguments) {
  const auto start = std::chrono::steady_clock::now();
  LaunchedReport(count, arguments, Surroundings());
  while (LaunchedStays(start))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return 0;
}
