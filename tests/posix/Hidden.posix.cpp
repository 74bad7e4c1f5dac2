#include <tests/support/Hidden.h>

#include <filesystem>

std::string MakeHidden(const std::string& path) {
  const std::filesystem::path from(path);
  const std::filesystem::path to = from.parent_path() / ("." + from.filename().string());
  std::filesystem::rename(from, to);
  return to.string();
}
