#ifndef QEL_TESTS_CACHE_FILECACHEFIXTURE_H
#define QEL_TESTS_CACHE_FILECACHEFIXTURE_H
//===----------------------------------------------------------------------===//
// A file cache in a directory of its own, and what its tests do with it.
//===----------------------------------------------------------------------===//

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/cache/FileCacheManager.h>
#include <tests/support/TempDir.h>

using FilePtr = std::unique_ptr<qelFile>;
using ManagerPtr = std::unique_ptr<qelFileCacheManager>;

// A directory with a cache in "one/two" below it.
class FileCacheTest : public testing::Test {
protected:
  ManagerPtr Make(qelULong maxSize) {
    return ManagerPtr(qelFileCacheManager::New(maxSize, m_dir.Path().c_str(), "one", "two"));
  }

  // Creates a file of that many bytes and ends its writing.
  static void Add(qelFileCacheManager& cache, const std::string& name, size_t size) {
    bool created = false;
    const FilePtr file(cache.OpenCachedFile(name.c_str(), &created, 3));
    ASSERT_NE(file, nullptr) << name;
    ASSERT_TRUE(created) << name;
    const std::string bytes(size, 'x');
    ASSERT_EQ(file->Write(bytes.data(), bytes.size()), size);
    cache.SetCachedFileState(name.c_str(), file.get(), true);
  }

  static FilePtr Open(qelFileCacheManager& cache, const std::string& name, int mode,
                      bool* created) {
    return FilePtr(cache.OpenCachedFile(name.c_str(), created, mode));
  }

  // Whether an open would find a complete file; it counts as a use.
  static bool Has(qelFileCacheManager& cache, const std::string& name) {
    bool created = true;
    const FilePtr file = Open(cache, name, 1, &created);
    const bool has = file != nullptr && !created;
    if (created)
      cache.SetCachedFileState(name.c_str(), file.get(), false);
    return has;
  }

  std::string FolderPath() const { return m_dir.Path() + "/one/two"; }
  std::string FilePath(const std::string& name) const { return FolderPath() + "/" + name; }
  std::filesystem::path Native(const std::string& name) const {
    return TempDir::Native(FilePath(name));
  }
  bool OnDisk(const std::string& name) const { return std::filesystem::exists(Native(name)); }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Native(name), std::ios::binary) << text;
  }
  std::vector<std::string> Listing() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TempDir::Native(FolderPath())))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  TempDir m_dir;
};

// Counts the calls of the removal callback.
struct Removals {
  explicit Removals(qelFileCacheManager& cache) { cache.SetFileRemovedCallBack(OnRemoved, this); }
  static void OnRemoved(void* context, const char* name) {
    static_cast<Removals*>(context)->names.push_back(name);
  }
  std::vector<std::string> names;
};

#endif
