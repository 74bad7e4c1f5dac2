#include "Readers.h"

#include <algorithm>
#include <sstream>

#include <qel/files/Dir.h>
#include <qel/files/PluginHandler.h>
#include <qel/files/PluginLoader.h>

#include "MediaTypes.h"
#include "Reader.h"

namespace mediaquery {

// A text of a module, which may be null.
static std::string TextOf(const char* text) {
  return text != nullptr ? text : "";
}

// The byte source of a module's call.

static size_t ReadSource(void* context, uint64_t offset, void* buffer, size_t n) {
  return static_cast<ByteSource*>(context)->Read(offset, buffer, n);
}

static uint64_t SizeOfSource(void* context) {
  return static_cast<ByteSource*>(context)->Size();
}

namespace {

// One module.
class ReaderHandler : public qelPluginHandler {
public:
  ReaderHandler() : qelPluginHandler(kNames, sizeof kNames / sizeof kNames[0]) {}

  uint32_t Version() const { return Function<decltype(MediaReader_Version)>(0)(); }
  std::string Extensions() const { return TextOf(Function<decltype(MediaReader_Extensions)>(1)()); }
  std::string ClassName() const { return TextOf(Function<decltype(MediaReader_ClassName)>(2)()); }
  std::string MIMEType() const { return TextOf(Function<decltype(MediaReader_MIMEType)>(3)()); }
  bool Read(ByteSource& source, MediaFacts* facts) const;

private:
  template <class T>
  T* Function(size_t index) const {
    return reinterpret_cast<T*>(m_functions[index]);
  }

  static const char* kNames[5];
};

const char* ReaderHandler::kNames[5] = {"MediaReader_Version", "MediaReader_Extensions",
                                        "MediaReader_ClassName", "MediaReader_MIMEType",
                                        "MediaReader_Read"};

bool ReaderHandler::Read(ByteSource& source, MediaFacts* facts) const {
  const MediaReaderSource bytes = {&source, &ReadSource, &SizeOfSource};
  MediaReaderFacts told = {};
  if (Function<decltype(MediaReader_Read)>(4)(&bytes, &told) == 0)
    return false;
  facts->width = told.width;
  facts->height = told.height;
  facts->channels = told.channels;
  facts->sampleRate = told.sampleRate;
  facts->bitsPerSample = told.bitsPerSample;
  facts->hasDuration = told.hasDuration != 0;
  facts->durationMS = told.durationMS;
  return true;
}

} // namespace

class ReaderLoader : public qelPluginLoader {
public:
  qelCString GetPluginsPath() override {
    return m_folder.IsEmpty() ? qelPluginLoader::GetPluginsPath() : m_folder;
  }
  // A folder has no name here: it is no module.
  bool IsPluginActive(const qelCString& name) override { return !name.IsEmpty(); }
  qelPluginHandler* CreateHandler() override { return new ReaderHandler; }

  void SetFolder(const std::string& folder) { m_folder = folder.c_str(); }

  // The loaded modules, in the order of their names.
  std::vector<ReaderHandler*> Handlers() const {
    std::vector<ReaderHandler*> handlers;
    for (const qelPtrListNode* node = m_handlers->head; node != nullptr; node = node->next)
      handlers.push_back(static_cast<ReaderHandler*>(node->item));
    std::sort(handlers.begin(), handlers.end(), [](const ReaderHandler* a, const ReaderHandler* b) {
      return std::string(a->GetFileName().c_str()) < b->GetFileName().c_str();
    });
    return handlers;
  }

private:
  qelCString m_folder; // empty: the library's default
};

// Puts a module's extensions into the table. False: *fault says why it can't be used.
static bool UseReader(const ReaderHandler* handler, std::string* fault) {
  if (handler->Version() != MEDIA_READER_VERSION) {
    *fault = "it is a reader of version " + std::to_string(handler->Version()) +
             ", and only version " + std::to_string(MEDIA_READER_VERSION) + " can be used";
    return false;
  }
  const MediaType type = {
      handler->ClassName(), handler->MIMEType(),
      [handler](ByteSource& source, MediaFacts* facts) { return handler->Read(source, facts); }};
  std::istringstream extensions(handler->Extensions());
  std::string extension;
  if (type.className.empty() || type.mime.empty() || !(extensions >> extension)) {
    *fault = "it does not tell extensions, class and MIME type";
    return false;
  }
  do
    SetMediaType(extension, type);
  while (extensions >> extension);
  return true;
}

Readers::Readers() : m_loader(std::make_unique<ReaderLoader>()) {}

Readers::~Readers() = default;

size_t Readers::Load(const std::string& folder, std::vector<std::string>* complaints) {
  m_loader->SetFolder(folder);
  // The library logs a folder that is missing, but only one that was asked for need be there.
  if (!qelDir::Exists(m_loader->GetPluginsPath().c_str())) {
    if (!folder.empty())
      complaints->push_back(folder + ": there is no such folder of plug-ins");
    return 0;
  }
  m_loader->LoadPlugins("*", /*firstOnly=*/false);
  size_t used = 0;
  for (ReaderHandler* handler : m_loader->Handlers()) {
    std::string fault;
    if (UseReader(handler, &fault)) {
      ++used;
      continue;
    }
    complaints->push_back(std::string(handler->GetFullPath().c_str()) + ": " + fault);
    handler->Unload();
  }
  return used;
}

} // namespace mediaquery
