#include "MediaItem.h"

#include <algorithm>
#include <cstring>

#include <qel/core/DateTime.h>
#include <qel/files/File.h>

#include "Platform.h"

namespace mediaquery {

namespace {

// The bytes of an open file, through a window: headers are read a few bytes at a time.
class FileSource : public ByteSource {
public:
  FileSource(qelFile& file, uint64_t size) : m_file(file), m_size(size) {}

  size_t Read(uint64_t offset, void* buffer, size_t n) override {
    uint8_t* const bytes = static_cast<uint8_t*>(buffer);
    size_t count = 0;
    // A plug-in may ask for more than the window holds.
    while (count < n && (IsInWindow(offset + count) || MoveWindow(offset + count))) {
      const size_t skipped = static_cast<size_t>(offset + count - m_start);
      const size_t part = std::min(n - count, m_length - skipped);
      std::memcpy(bytes + count, m_window + skipped, part);
      count += part;
    }
    return count;
  }

  uint64_t Size() override { return m_size; }

private:
  bool IsInWindow(uint64_t offset) const {
    return offset >= m_start && offset - m_start < m_length;
  }

  bool MoveWindow(uint64_t offset) {
    m_start = offset;
    m_length = 0;
    if (offset >= m_size || m_file.Seek(static_cast<int64_t>(offset), 0) < 0)
      return false;
    const int count = m_file.Read(m_window, sizeof m_window);
    m_length = count > 0 ? static_cast<size_t>(count) : 0;
    return m_length != 0;
  }

  qelFile& m_file;
  uint64_t m_size;
  uint64_t m_start = 0; // offset of the window in the file
  size_t m_length = 0;  // bytes in it
  uint8_t m_window[512];
};

} // namespace

static void SetIfKnown(qelMediaInfo* item, const char* key, uint32_t value) {
  if (value != 0)
    item->Set(key, value, true);
}

static void SetFacts(qelMediaInfo* item, const MediaFacts& facts) {
  SetIfKnown(item, "wi", facts.width);
  SetIfKnown(item, "he", facts.height);
  SetIfKnown(item, "ch", facts.channels);
  SetIfKnown(item, "sr", facts.sampleRate);
  SetIfKnown(item, "bs", facts.bitsPerSample);
  if (facts.hasDuration)
    item->Set("du", facts.durationMS, true);
}

// The path from the searched folder on, and that of the folder it lies in.
static void SetPlace(qelMediaInfo* item, const qelCString& fullPath, const qelCString& rootPath) {
  const qelCString id = fullPath.Mid(rootPath.length());
  const qelCString parent = id.BeforeLast('/');
  item->Set("id", id, true);
  item->Set("pa", parent.IsEmpty() ? qelCString("0") : parent, true);
}

bool DescribeFile(const qelPathName& file, const qelPathName& root, const MediaType& type,
                  qelMediaInfo* item) {
  item->path = file.GetFullPath();
  // A pipe would keep the open waiting; a link to nowhere is no reason for an error line.
  if (!IsRegularFile(item->path.c_str()))
    return false;
  qelFile bytes;
  if (!bytes.Open(item->path.c_str(), qelFileModeRead, 0))
    return false;
  const int64_t size = bytes.Length();
  if (size < 0)
    return false;
  item->Set("cn", type.className.c_str(), true);
  item->Set("mt", type.mime.c_str(), true);
  item->Set("si", size, true);
  SetPlace(item, item->path, root.GetFullPath());
  qelFile::GetTimes(item->path.c_str(), nullptr, &item->date, nullptr);
  if (type.readHeader) {
    FileSource source(bytes, static_cast<uint64_t>(size));
    MediaFacts facts;
    if (type.readHeader(source, &facts))
      SetFacts(item, facts);
  }
  item->Finalize(/*keepEmptyTitle=*/false);
  return item->Validate();
}

} // namespace mediaquery
