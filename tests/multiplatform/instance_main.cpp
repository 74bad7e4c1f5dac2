// instance NAME FILE: asks for NAME, writes what it got to FILE, and ends without any clean-up when
// FILE is gone, or after a minute.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <qel/multiplatform/qelSingleInstanceChecker.h>

int main(int count, char** arguments) {
  if (count != 3)
    return 2;
  const auto start = std::chrono::steady_clock::now();
  const std::string file = arguments[2];
  const qelOSSingleInstanceChecker* checker = qelOSSingleInstanceChecker_New(arguments[1]);
  std::ofstream part(file + ".part", std::ios::binary);
  part << (checker->error != 0 ? "error" : checker->anotherRunning != 0 ? "another" : "first");
  part.close();
  std::filesystem::rename(file + ".part", file);
  while (std::filesystem::exists(file) &&
         std::chrono::steady_clock::now() - start < std::chrono::minutes(1))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  std::_Exit(1);
}
