#include <qel/core/StringList.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/core/qelNum.h>

static char* CopyBlock(const void* source, size_t n) {
  if (source == nullptr)
    return nullptr;
  char* block = static_cast<char*>(qelMem_Alloc(n));
  memcpy(block, source, n);
  return block;
}

// Whether the character at i is escaped. Nothing ahead of the text is looked at.
// INTENDED: only the character ahead decides, so an escaped escape character escapes as well, and
// no item but the last can end in one. Pinned by StringListSet.KeepsEscapedSeparators.
static bool IsEscaped(const char* text, size_t i, char escape) {
  return escape != '\0' && i != 0 && text[i - 1] == escape;
}

static size_t CountItems(const char* text, char separator, char escape) {
  size_t count = 1;
  for (size_t i = 0; text[i] != '\0'; ++i)
    count += text[i] == separator && !IsEscaped(text, i, escape);
  return count;
}

// Cuts the text in place and notes where the items behind the first begin. Where the separator is
// the escape character too, more of them cut than were counted: the table is full then, and the
// rest is left to the last item. Nothing has moved down in that case.
static void CutItems(char* text, char separator, char escape, uint64_t* offsets, size_t count) {
  size_t filled = 1;
  size_t to = 0;
  for (const char* from = text; *from != '\0'; ++from) {
    if (*from != separator) {
      text[to++] = *from;
    } else if (IsEscaped(text, to, escape)) {
      text[to - 1] = separator;
    } else if (filled == count) {
      return;
    } else {
      text[to++] = '\0';
      offsets[filled++] = to;
    }
  }
  text[to] = '\0';
}

qelStringList::qelStringList()
    : m_buffer(nullptr), m_separator(' '), m_offsets(nullptr), m_count(0), m_bufferSize(0) {}

qelStringList::qelStringList(const char* text, char separator, char escape) : qelStringList() {
  m_separator = separator;
  Set(text, separator, escape);
}

qelStringList::qelStringList(const qelStringList& other) : qelStringList() {
  AssignCopy(other);
}

qelStringList& qelStringList::operator=(const qelStringList& other) {
  AssignCopy(other);
  return *this;
}

qelStringList::~qelStringList() {
  Reset();
}

void qelStringList::Reset() {
  free(m_buffer);
  free(m_offsets);
  m_buffer = nullptr;
  m_offsets = nullptr;
  m_count = 0;
  m_bufferSize = 0;
}

// INTENDED: the separator of the constructor stays, so a list may be cut at one and joined with
// another. Pinned by StringListSet.KeepsTheSeparatorThatJoins.
void qelStringList::Set(const char* text, char separator, char escape) {
  char* copy = qelMem_StrDup(text); // first: the text may be an item
  Reset();
  if (copy == nullptr || *copy == '\0') {
    free(copy);
    return;
  }
  m_buffer = copy;
  m_bufferSize = strlen(copy) + 1;
  m_count = CountItems(copy, separator, escape);
  m_offsets = static_cast<uint64_t*>(qelMem_Alloc(m_count * sizeof *m_offsets));
  m_offsets[0] = 0;
  CutItems(copy, separator, escape, m_offsets, m_count);
}

size_t qelStringList::GetCount() const {
  return m_count;
}

const char* qelStringList::GetAt(size_t i) const {
  return m_buffer + m_offsets[i];
}

const char* qelStringList::GetAt(size_t i, const char* defaultValue) const {
  return i < m_count ? GetAt(i) : defaultValue;
}

qelLong qelStringList::GetAtInt32(size_t i, qelLong defaultValue) const {
  qelLong value = 0;
  return i < m_count && qelNum_ToS32Dec(GetAt(i), &value) == 0 ? value : defaultValue;
}

size_t qelStringList::IndexOf(const char* text) const {
  for (size_t i = 0; i < m_count; ++i)
    if (strcmp(GetAt(i), text) == 0)
      return i;
  return qelCString::npos;
}

bool qelStringList::Has(const char* text) const {
  return IndexOf(text) != qelCString::npos;
}

void qelStringList::Add(const char* text) {
  const size_t size = strlen(text) + 1;
  const size_t at = reinterpret_cast<uintptr_t>(text) - reinterpret_cast<uintptr_t>(m_buffer);
  m_offsets = static_cast<uint64_t*>(qelMem_Realloc(m_offsets, (m_count + 1) * sizeof *m_offsets));
  m_offsets[m_count++] = m_bufferSize;
  m_buffer = static_cast<char*>(qelMem_Realloc(m_buffer, m_bufferSize + size));
  memcpy(m_buffer + m_bufferSize, at < m_bufferSize ? m_buffer + at : text, size);
  m_bufferSize += size;
}

bool qelStringList::Remove(const char* text) {
  const size_t i = IndexOf(text);
  if (i == qelCString::npos)
    return false;
  --m_count;
  memmove(m_offsets + i, m_offsets + i + 1, (m_count - i) * sizeof *m_offsets);
  return true;
}

// INTENDED: the item behind a removed one is not looked at, so of several empty items in a row
// every second one stays. Pinned by StringListRemoveEmpty.KeepsEverySecondOfARow.
void qelStringList::RemoveEmpty() {
  size_t to = 0;
  for (size_t from = 0; from < m_count; ++from) {
    if (*GetAt(from) == '\0' && ++from == m_count)
      break;
    m_offsets[to++] = m_offsets[from];
  }
  m_count = to;
}

qelCString qelStringList::GetString(char escape) const {
  if (m_count == 0)
    return qelCString();
  size_t size = m_count; // the separators and the terminator
  for (size_t i = 0; i < m_count; ++i)
    for (const char* at = GetAt(i); *at != '\0'; ++at)
      size += *at == m_separator ? 2 : 1;
  char* text = static_cast<char*>(qelMem_Alloc(size));
  char* out = text;
  for (size_t i = 0; i < m_count; ++i) {
    if (i != 0)
      *out++ = m_separator;
    for (const char* at = GetAt(i); *at != '\0'; ++at) {
      if (*at == m_separator && escape != '\0')
        *out++ = escape;
      *out++ = *at;
    }
  }
  *out = '\0';
  return qelCString::FromAllocatedString(text);
}

void qelStringList::AssignCopy(const qelStringList& other) {
  Reset();
  m_separator = other.m_separator;
  m_count = other.m_count;
  m_bufferSize = other.m_bufferSize;
  m_buffer = CopyBlock(other.m_buffer, m_bufferSize);
  const size_t size = m_count * sizeof *m_offsets;
  m_offsets = reinterpret_cast<uint64_t*>(CopyBlock(other.m_offsets, size));
}

qelCSVStringList::qelCSVStringList() : qelCSVStringList('\\') {}

qelCSVStringList::qelCSVStringList(char escape) : qelCSVStringList(nullptr, escape) {}

qelCSVStringList::qelCSVStringList(const char* text, char escape)
    : qelStringList(text, ',', escape) {}

qelCSVStringList::qelCSVStringList(const qelCSVStringList& other) : qelStringList(other) {}

qelCSVStringList& qelCSVStringList::operator=(const qelCSVStringList& other) {
  qelStringList::operator=(other);
  return *this;
}

qelCSVStringList::~qelCSVStringList() {}

void qelCSVStringList::Set(const char* text, char separator, char escape) {
  qelStringList::Set(text, separator, escape);
}
