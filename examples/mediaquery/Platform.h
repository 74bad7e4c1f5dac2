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

// The folder's absolute name; a relative one is taken from the working directory, links in it are
// followed. False: there is no such folder.
bool GetAbsoluteFolder(const std::string& folder, std::string* absolute);

// False: there is no such folder, or it can't be looked at.
bool IdentifyFolder(const char* path, FolderIdentity* identity);

// Whether the name leads to an ordinary file: no folder, device or pipe, and no link to nowhere.
bool IsRegularFile(const char* path);

} // namespace mediaquery

#endif
