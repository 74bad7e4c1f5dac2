#include "../Platform.h"

#include <cstdlib>

#include <fcntl.h>
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

OutputToError::OutputToError() {
  std::fflush(stdout);
  m_output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

OutputToError::~OutputToError() {
  std::fflush(stdout);
  if (m_output < 0) {
    ::close(STDOUT_FILENO);
    return;
  }
  ::dup2(m_output, STDOUT_FILENO);
  ::close(m_output);
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

FileKind GetFileKind(const std::string& name) {
  struct stat info;
  if (::stat(name.c_str(), &info) != 0)
    return kFileMissing;
  return S_ISREG(info.st_mode) ? kFileRegular : kFileOther;
}

std::FILE* OpenFileForReading(const std::string& name) {
  return std::fopen(name.c_str(), "rb");
}

std::FILE* CreateNewFile(const std::string& name) {
  ::unlink(name.c_str());
  const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  std::FILE* file = fd < 0 ? nullptr : ::fdopen(fd, "wb");
  if (fd >= 0 && file == nullptr)
    ::close(fd);
  return file;
}

bool PutInPlace(const std::string& from, const std::string& to) {
  return ::rename(from.c_str(), to.c_str()) == 0;
}

void RemoveFile(const std::string& name) {
  ::unlink(name.c_str());
}

} // namespace mediaquery
