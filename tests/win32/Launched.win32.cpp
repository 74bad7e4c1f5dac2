// The program that the tests launch: one with a message loop, as launching waits for.

#include <tests/support/Launched.h>

#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  const auto start = std::chrono::steady_clock::now();
  LaunchedReport(__argc, __argv, "");
  if (!LaunchedStays(start))
    return 0;
  ::SetTimer(nullptr, 0, 20, nullptr);
  MSG message;
  while (LaunchedStays(start) && ::GetMessageW(&message, nullptr, 0, 0) > 0)
    ::DispatchMessageW(&message);
  return 0;
}
