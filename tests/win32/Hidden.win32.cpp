#include <tests/support/Hidden.h>

#include <filesystem>
#include <stdexcept>

#include <windows.h>

std::string MakeHidden(const std::string& path) {
  const std::filesystem::path from = std::filesystem::u8path(path);
  const std::filesystem::path to = from.parent_path() / (L"." + from.filename().wstring());
  std::filesystem::rename(from, to);
  const DWORD attributes = ::GetFileAttributesW(to.c_str());
  if (!::SetFileAttributesW(to.c_str(), attributes | FILE_ATTRIBUTE_HIDDEN))
    throw std::runtime_error("cannot hide " + path);
  return to.generic_u8string();
}
