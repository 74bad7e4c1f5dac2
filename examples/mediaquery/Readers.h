#ifndef EXAMPLES_MEDIAQUERY_READERS_H
#define EXAMPLES_MEDIAQUERY_READERS_H
//===----------------------------------------------------------------------===//
// Plug-in readers: modules with the functions of Reader.h, loaded by qelPluginLoader
// and qelPluginHandler. Their extensions go into the table of media types.
//===----------------------------------------------------------------------===//

#include <memory>
#include <string>
#include <vector>

namespace mediaquery {

class ReaderLoader;

class Readers {
public:
  Readers();
  // Unloads the modules. REQUIRES: the table of media types is not asked any more, or was reset.
  ~Readers();
  Readers(const Readers&) = delete;
  Readers& operator=(const Readers&) = delete;

  // Loads all modules of a folder, in the order of their names: of two for the same extension the
  // later one counts. Without a folder it is "Plugins" beside the program, which may be missing. What
  // can't be used is passed by; the library logs a module that does not load, and *complaints gets a
  // line for every other one. Returns how many are used.
  // REQUIRES: it is the first call.
  size_t Load(const std::string& folder, std::vector<std::string>* complaints);

private:
  std::unique_ptr<ReaderLoader> m_loader;
};

} // namespace mediaquery

#endif
