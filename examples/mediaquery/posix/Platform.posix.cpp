#include "../Platform.h"

#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace mediaquery {

std::vector<std::string> GetArguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i)
    arguments.emplace_back(argv[i]);
  return arguments;
}

void PrepareOutput() {}

bool IsTerminal(std::FILE* stream) {
  return ::isatty(::fileno(stream)) == 1;
}

bool GetAbsoluteFolder(const std::string& folder, std::string* absolute) {
  char* path = ::realpath(folder.c_str(), nullptr);
  if (path == nullptr)
    return false;
  *absolute = path;
  std::free(path);
  struct stat info;
  return ::stat(absolute->c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IdentifyFolder(const char* path, FolderIdentity* identity) {
  struct stat info;
  if (::stat(path, &info) != 0 || !S_ISDIR(info.st_mode))
    return false;
  identity->volume = info.st_dev;
  identity->index = info.st_ino;
  return true;
}

bool IsRegularFile(const char* path) {
  struct stat info;
  return ::stat(path, &info) == 0 && S_ISREG(info.st_mode);
}

} // namespace mediaquery
