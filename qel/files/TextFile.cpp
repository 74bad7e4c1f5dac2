#include <qel/files/TextFile.h>

#include <algorithm>
#include <cstring>

static const char kCR = '\r';
static const char kLF = '\n';

static bool IsEnding(char c) {
  return c == kCR || c == kLF;
}

qelTextFile::qelTextFile(const char* name, size_t bufferSize)
    : m_file(name, qelFileModeRead), m_buffer(bufferSize), m_bufferSize(bufferSize), m_fill(0),
      m_pendingLF(false), m_skipping(false), m_offset(0) {}

bool qelTextFile::IsOpened() const {
  return m_file.IsOpened();
}

// Moves what remains to the buffer's start and reads on behind it. False on a read failure.
bool qelTextFile::Refill() {
  char* buffer = static_cast<char*>(m_buffer.data());
  m_fill -= m_offset;
  memmove(buffer, buffer + m_offset, m_fill);
  m_offset = 0;
  if (m_fill == m_bufferSize)
    return true;
  const int count = m_file.Read(buffer + m_fill, m_bufferSize - m_fill);
  if (count < 0)
    return false;
  m_fill += static_cast<size_t>(count);
  return true;
}

// How many bytes stand ahead of the first CR or LF, or of the end of what has been read.
size_t qelTextFile::FindEnd() const {
  const char* buffer = static_cast<const char*>(m_buffer.data());
  const char* start = buffer + m_offset;
  return static_cast<size_t>(std::find_if(start, buffer + m_fill, IsEnding) - start);
}

// Takes length bytes and the ending behind them.
void qelTextFile::TakeEnding(size_t length) {
  const char* buffer = static_cast<const char*>(m_buffer.data());
  m_offset += length + 1;
  if (buffer[m_offset - 1] != kCR)
    return;
  if (m_offset == m_fill)
    m_pendingLF = true;
  else if (buffer[m_offset] == kLF)
    ++m_offset;
}

bool qelTextFile::NextLine(qelCString& line) {
  if (!IsOpened())
    return false;
  for (;;) {
    size_t length = FindEnd();
    if (m_offset + length == m_fill) {
      if (!Refill())
        return false;
      if (m_fill == 0)
        return false;
      length = FindEnd();
    }
    const char* start = static_cast<const char*>(m_buffer.data()) + m_offset;
    if (m_pendingLF) {
      m_pendingLF = false;
      if (*start == kLF) {
        ++m_offset;
        continue;
      }
    }
    const bool wasSkipping = m_skipping;
    m_skipping = m_offset + length == m_fill; // no ending: what follows belongs to this line
    if (!wasSkipping)
      line = qelCString(start, length);
    if (m_skipping)
      m_offset = m_fill;
    else
      TakeEnding(length);
    if (!wasSkipping)
      return true;
  }
}

void qelTextFile::Rewind() {
  m_file.Seek(0, /*origin=*/0);
  m_fill = 0;
  m_offset = 0;
  m_pendingLF = false;
  m_skipping = false;
}
