#include <tests/support/RunProgram.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include <tests/support/TempDir.h>

// Runs in the child process. Does not return.
static void StartProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder, const std::string& out,
                         const std::string& err) {
  std::vector<char*> texts = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  const int outFile = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int errFile = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const bool ready = ::dup2(outFile, 1) == 1 && ::dup2(errFile, 2) == 2;
  if (ready && (folder.empty() || ::chdir(folder.c_str()) == 0))
    ::execv(program.c_str(), texts.data());
  ::_exit(127);
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder) {
  const TempDir files;
  ProgramResult result;
  const pid_t child = ::fork();
  if (child == 0)
    StartProgram(program, arguments, folder, files.Path("out"), files.Path("err"));
  int status = 0;
  if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status))
    result.status = WEXITSTATUS(status);
  result.out = files.Read("out");
  result.err = files.Read("err");
  return result;
}
