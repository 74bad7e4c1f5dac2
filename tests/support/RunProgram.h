#ifndef QEL_TESTS_SUPPORT_RUNPROGRAM_H
#define QEL_TESTS_SUPPORT_RUNPROGRAM_H
//===----------------------------------------------------------------------===//
// Runs a program to its end. Link qel_test_run.
//===----------------------------------------------------------------------===//

#include <string>
#include <vector>

struct ProgramResult {
  int status = -1; // exit status; -1: it could not be started or did not end by itself
  std::string out; // what it wrote on standard output, byte for byte
  std::string err; // and on standard error, with line ends of "\n"
};

// `folder` is the program's working directory; empty: this program's own.
ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder = "");

#endif
