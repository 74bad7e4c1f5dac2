#ifndef QEL_TESTS_SUPPORT_TEMPDIR_H
#define QEL_TESTS_SUPPORT_TEMPDIR_H
//===----------------------------------------------------------------------===//
// A directory of a test's own, removed with all that is in it at the end of the
// object's life. Names are UTF-8, separators "/".
//===----------------------------------------------------------------------===//

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

class TempDir {
public:
  TempDir() {
    std::random_device random;
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
      m_path = parent / ("qel-test-" + std::to_string(random()));
      if (std::filesystem::create_directory(m_path))
        return;
    }
    throw std::runtime_error("no temporary directory");
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The directory's path without a "/" at its end.
  std::string Path() const {
    std::string path = m_path.generic_u8string();
    while (path.size() > 1 && path.back() == '/')
      path.pop_back();
    return path;
  }
  // The path of something in it.
  std::string Path(const std::string& name) const { return Path() + "/" + name; }

  static std::filesystem::path Native(const std::string& path) {
    return std::filesystem::u8path(path);
  }

  // Makes a file with this content, replacing an older one; returns its path.
  std::string Write(const std::string& name, const std::string& content = "") const {
    std::ofstream file(Native(Path(name)), std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file)
      throw std::runtime_error("cannot write " + Path(name));
    return Path(name);
  }
  // The content of a file; "(missing)" if it can't be read.
  std::string Read(const std::string& name) const {
    std::ifstream file(Native(Path(name)), std::ios::binary);
    if (!file)
      return "(missing)";
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  // Makes a directory and those on its way; returns its path.
  std::string MakeDir(const std::string& name) const {
    std::filesystem::create_directories(Native(Path(name)));
    return Path(name);
  }
  bool Has(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(Native(Path(name))));
  }
  // Entries in the directory itself.
  size_t Count() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(m_path),
                                             std::filesystem::directory_iterator()));
  }

private:
  std::filesystem::path m_path;
};

#endif
