#ifndef EXAMPLES_MEDIAQUERY_PLATFORM_H
#define EXAMPLES_MEDIAQUERY_PLATFORM_H
//===----------------------------------------------------------------------===//
// What the program needs of the system beyond the library.
//
// Names and arguments are UTF-8. POSIX: they are bytes, passed on unchanged.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <cstdio>

#include <string>
#include <vector>

namespace mediaquery {

// Tells one folder from another, by whatever name or link it was reached.
struct FolderIdentity {
  uint64_t volume;
  uint64_t index;

  bool operator==(const FolderIdentity& other) const {
    return volume == other.volume && index == other.index;
  }
};

// The arguments behind the program's name.
std::vector<std::string> GetArguments(int argc, char** argv);

// Makes standard output pass bytes as they are written.
void PrepareOutput();

bool IsTerminal(std::FILE* stream);

// During its life, what is written on standard output goes to standard error.
class OutputToError {
public:
  OutputToError();
  ~OutputToError();
  OutputToError(const OutputToError&) = delete;
  OutputToError& operator=(const OutputToError&) = delete;

private:
  int m_output; // a second descriptor of standard output; below 0: it has none
};

// Waits until standard output takes a line without waiting, for a tenth of a second at most. False: it
// does not yet.
// Windows: true at once.
bool WaitForOutput();

// Interrupts: Ctrl-C, Ctrl-Break, or a request to end the program. From CatchInterrupts on, which is
// called once and ahead of all other threads, the first one ends WaitForInterrupt, and the second one
// ends the program at once with kInterruptedStatus. False on failure, or if they were caught before.
// POSIX: SIGINT and SIGTERM; one that was ignored when the program started stays so.
bool CatchInterrupts();

// Waits. True: there was an interrupt; false: EndWaitForInterrupt was called.
// POSIX: to be called by one thread, which takes the signals and so must live on after the first one.
bool WaitForInterrupt();
void EndWaitForInterrupt();

constexpr int kInterruptedStatus = 130; // the exit status, as shells have it for SIGINT

// The folder's absolute name; a relative one is taken from the working directory, links in it are
// followed. False: there is no such folder.
bool GetAbsoluteFolder(const std::string& folder, std::string* absolute);

// False: there is no such folder, or it can't be looked at.
bool IdentifyFolder(const char* path, FolderIdentity* identity);

// Whether the name leads to an ordinary file: no folder, device or pipe, and no link to nowhere.
bool IsRegularFile(const char* path);

// Below, a relative name is taken from the working directory; failures leave their reason in errno.

enum FileKind { kFileMissing, kFileRegular, kFileOther };

// What the name leads to; kFileOther is a folder, a device or a pipe.
FileKind GetFileKind(const std::string& name);

// Opens a file of bytes; null on failure. The caller closes it.
std::FILE* OpenFileForReading(const std::string& name);

// The same for a new file in the place of one, or of a link, that is there.
std::FILE* CreateNewFile(const std::string& name);

// Gives the file a new name in the same folder. A file of that name is replaced in one step.
bool PutInPlace(const std::string& from, const std::string& to);

void RemoveFile(const std::string& name);

} // namespace mediaquery

#endif
