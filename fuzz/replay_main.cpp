// Runs a fuzz target over files without libFuzzer: every file of the folders that are named, as it
// stands, and each of its beginnings. Ends with an error if there is none.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <fuzz/FuzzInput.h>

static const size_t kMaxBeginnings = 1024; // longer files are cut at every n-th byte

static void Run(const std::vector<char>& bytes, size_t size) {
  // A copy of the exact size, for the sanitizers.
  const std::vector<uint8_t> input(bytes.begin(),
                                   bytes.begin() + static_cast<std::ptrdiff_t>(size));
  LLVMFuzzerTestOneInput(input.data(), size);
}

static void Replay(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream),
                                std::istreambuf_iterator<char>()};
  const size_t step = bytes.size() / kMaxBeginnings + 1;
  for (size_t size = 0; size < bytes.size(); size += step)
    Run(bytes, size);
  Run(bytes, bytes.size());
}

int main(int argc, char** argv) {
  size_t files = 0;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      if (!entry.is_regular_file())
        continue;
      Replay(entry.path());
      ++files;
    }
  printf("%lu files replayed\n", static_cast<unsigned long>(files));
  return files != 0 ? 0 : 1;
}
