#ifndef QEL_TESTS_SUPPORT_LAUNCHED_H
#define QEL_TESTS_SUPPORT_LAUNCHED_H
//===----------------------------------------------------------------------===//
// What the program does that the tests launch. Its report's name stands in the
// variable QEL_TEST_REPORT; it stays while the report is there, for a minute at
// most. With QEL_TEST_LEAVE set it ends at once.
//===----------------------------------------------------------------------===//

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

inline std::string LaunchedVariable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Writes each argument behind the program's name as a line "[argument]", and then `more`. The report
// appears under its name when it is whole.
inline void LaunchedReport(int count, char** arguments, const std::string& more) {
  const std::string name = LaunchedVariable("QEL_TEST_REPORT");
  std::ofstream report(name + ".part", std::ios::binary);
  for (int i = 1; i < count; ++i)
    report << '[' << arguments[i] << "]\n";
  report << more;
  report.close();
  std::error_code ignored;
  std::filesystem::rename(name + ".part", name, ignored);
}

inline bool LaunchedStays(std::chrono::steady_clock::time_point since) {
  return LaunchedVariable("QEL_TEST_LEAVE").empty() &&
         std::filesystem::exists(LaunchedVariable("QEL_TEST_REPORT")) &&
         std::chrono::steady_clock::now() - since < std::chrono::minutes(1);
}

#endif
