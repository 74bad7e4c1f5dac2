#ifndef QEL_TESTS_CONFIG_INJECTEDFILES_H
#define QEL_TESTS_CONFIG_INJECTEDFILES_H
//===----------------------------------------------------------------------===//
// A file layer for tests that end or fail at any single operation. The linker
// puts it between the library and its own file layer (--wrap), so that the
// library itself knows nothing of it.
//
// In memory, files are texts by name, and the end of a process is played: after
// it no operation has an effect. On the disk, operations go to the library's file
// layer, and the process really ends.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <qel/multiplatform/qelFile.h>

constexpr int kKilledStatus = 77; // exit status of a process that ended as if killed

enum class FileOperation { Open, Close, Read, Write, Exists, Remove, Rename };

// How many bytes of a write get through.
constexpr int kWriteParts = 5;
inline size_t WrittenPart(int part, size_t count) {
  const size_t sizes[kWriteParts] = {0, 1, count / 2, count > 0 ? count - 1 : 0, count};
  return sizes[part] < count ? sizes[part] : count;
}

// What happens at one operation.
struct Injection {
  enum Effect { kDies, kFails, kIsShort };
  size_t at;           // number of the operation, from 0
  Effect effect;       // kIsShort: a write tells that it moved only a part
  int part = 0;        // of a write: 0 to kWriteParts - 1
  int status = -1;     // what a failure gives
  bool isDone = false; // the failure is told although the work was done
};

class InjectedFiles {
public:
  bool isInMemory = true;
  std::map<std::string, std::string> files; // the disk in memory

  std::vector<Injection> injections;
  std::vector<FileOperation> trace; // what was done since Restart
  std::vector<std::string> names;   // the file of each, "" for a descriptor's
  bool hasReadUnfinished = false;   // a ".tmp" was opened for reading

  // A new process on the same disk, without injections.
  void Restart() {
    m_isDead = false;
    m_open.clear();
    injections.clear();
    trace.clear();
    names.clear();
  }

  // The injection of the next operation; null for none. *isDead: it has no effect any more.
  const Injection* Enter(FileOperation operation, const std::string& name, bool* isDead) {
    *isDead = m_isDead;
    if (m_isDead)
      return nullptr;
    const size_t number = trace.size();
    trace.push_back(operation);
    names.push_back(name);
    for (const Injection& injection : injections)
      if (injection.at == number)
        return &injection;
    return nullptr;
  }
  void Die() {
    if (!isInMemory)
      std::_Exit(kKilledStatus);
    m_isDead = true;
  }

  // One operation that either has its effect or not.
  template <typename Work>
  int Do(FileOperation operation, const std::string& name, int failure, Work work) {
    bool isDead = false;
    const Injection* injection = Enter(operation, name, &isDead);
    if (isDead)
      return failure;
    if (injection == nullptr)
      return work();
    if (injection->effect == Injection::kDies) {
      Die();
      return failure;
    }
    if (injection->isDone)
      work();
    return operation == FileOperation::Exists ? 0 : injection->status;
  }
  template <typename Work>
  int DoWrite(size_t count, Work work) {
    bool isDead = false;
    const Injection* injection = Enter(FileOperation::Write, "", &isDead);
    if (isDead)
      return -1;
    if (injection == nullptr)
      return work(count);
    const size_t part = WrittenPart(injection->part, count);
    work(part);
    if (injection->effect == Injection::kDies)
      Die();
    return injection->effect == Injection::kIsShort ? static_cast<int>(part) : injection->status;
  }

  // The disk in memory, with the answers of the library's file layer.
  int Open(const std::string& name, int mode, void** fd) {
    if ((mode & qelFileModeCreate) == 0 && files.count(name) == 0)
      return qelFileErrorNotFound;
    if ((mode & qelFileModeTruncate) != 0)
      files[name].clear();
    m_open.push_back({name, 0});
    *fd = reinterpret_cast<void*>(m_open.size());
    return 0;
  }
  int Read(void* fd, void* buffer, size_t count) {
    Opened& opened = At(fd);
    const size_t moved =
        files[opened.name].copy(static_cast<char*>(buffer), count, opened.position);
    opened.position += moved;
    return static_cast<int>(moved);
  }
  int Write(void* fd, const void* buffer, size_t count) {
    files[At(fd).name].append(static_cast<const char*>(buffer), count);
    return static_cast<int>(count);
  }
  int Remove(const std::string& name) {
    files.erase(name);
    return 0;
  }
  int Rename(const std::string& from, const std::string& to) {
    if (files.count(from) == 0)
      return qelFileErrorNotFound;
    if (files.count(to) != 0)
      return qelFileErrorExists;
    files[to] = files[from];
    files.erase(from);
    return 0;
  }

private:
  struct Opened {
    std::string name;
    size_t position;
  };
  Opened& At(void* fd) { return m_open[reinterpret_cast<size_t>(fd) - 1]; }

  bool m_isDead = false;
  std::vector<Opened> m_open;
};

#endif
