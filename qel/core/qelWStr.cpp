#include <qel/core/qelWStr.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <qel/core/qelMem.h>

static qelWStrHeader* HeaderOf(const qelWChar* text) {
  return reinterpret_cast<qelWStrHeader*>(const_cast<qelWChar*>(text)) - 1;
}

// A block for n units. The text is not set.
static qelWStr NewBlock(size_t n) {
  void* block = qelMem_Alloc(sizeof(qelWStrHeader) + (n + 1) * sizeof(qelWChar));
  qelWStrHeader* header = static_cast<qelWStrHeader*>(block);
  header->capacity = n;
  header->length = n;
  return reinterpret_cast<qelWStr>(header + 1);
}

qelWStr qelWStr_New(const qelWChar* text) {
  const size_t length = std::char_traits<qelWChar>::length(text);
  qelWStr made = NewBlock(length);
  memcpy(made, text, (length + 1) * sizeof(qelWChar));
  return made;
}

void qelWStr_Free(qelWStr text) {
  if (text != nullptr)
    free(HeaderOf(text));
}

qelWStr qelWStr_Resize(qelWStr text, size_t n) {
  if (text == nullptr) {
    qelWStr made = NewBlock(n);
    qelWStr_SetLength(made, 0);
    return made;
  }
  void* block = qelMem_Realloc(HeaderOf(text), sizeof(qelWStrHeader) + (n + 1) * sizeof(qelWChar));
  qelWStrHeader* header = static_cast<qelWStrHeader*>(block);
  header->capacity = n;
  return reinterpret_cast<qelWStr>(header + 1);
}

void qelWStr_SetLength(qelWStr text, size_t n) {
  HeaderOf(text)->length = n;
  text[n] = 0;
}

size_t qelWStr_GetLength(const qelWChar* text) {
  return HeaderOf(text)->length;
}

qelWStr qelWStr_Append(qelWStr text, const qelWChar* tail) {
  const size_t added = std::char_traits<qelWChar>::length(tail);
  if (added == 0)
    return text;
  const size_t length = qelWStr_GetLength(text);
  if (HeaderOf(text)->capacity < length + added)
    text = qelWStr_Resize(text, length + added);
  memcpy(text + length, tail, (added + 1) * sizeof(qelWChar));
  HeaderOf(text)->length = length + added;
  return text;
}

qelWStr qelWStr_Prepend(qelWStr text, const qelWChar* head) {
  const size_t added = std::char_traits<qelWChar>::length(head);
  if (added == 0)
    return text;
  const size_t length = qelWStr_GetLength(text);
  qelWStr made = NewBlock(added + length);
  memcpy(made, head, added * sizeof(qelWChar));
  memcpy(made + added, text, length * sizeof(qelWChar));
  made[added + length] = 0;
  qelWStr_Free(text);
  return made;
}

// INTENDED: the capacity decides, so a text that was made empty but keeps its block is not empty.
// Pinned by WStrIsEmpty.AnswersFalseForATextSetEmptyThatKeepsItsBlock.
bool qelWStr_IsEmpty(const qelWChar* text) {
  return HeaderOf(text)->capacity == 0;
}

int qelWStr_Compare(const qelWChar* a, const qelWChar* b, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (a[i] != b[i])
      return a[i] < b[i] ? -1 : 1;
    if (a[i] == 0)
      break;
  }
  return 0;
}

// INTENDED: only the low byte of a unit is looked at, and part is looked for one unit further back
// than its length asks. Pinned by WStrContainsAfter.LooksOneUnitFurtherBackThanThePart.
int qelWStr_ContainsAfter(const qelWChar* text, qelWChar unit, const qelWChar* part) {
  const size_t length = qelWStr_GetLength(text);
  const size_t wanted = std::char_traits<qelWChar>::length(part);
  for (size_t at = 0; at < length; ++at) {
    if (static_cast<unsigned char>(text[at]) != static_cast<unsigned char>(unit))
      continue;
    // At a position of exactly the part's length the comparison would begin in the header; the zero
    // unit there never begins a part.
    if (wanted == 0 ||
        (at > wanted && memcmp(text + at - 1 - wanted, part, wanted * sizeof(qelWChar)) == 0))
      return 1;
  }
  return 0;
}

char* qelWStr_ToLatin1(const qelWChar* text) {
  const size_t length = qelWStr_GetLength(text);
  char* narrow = static_cast<char*>(qelMem_Alloc(length + 1));
  for (size_t i = 0; i < length; ++i)
    narrow[i] = text[i] > 255 ? '.' : static_cast<char>(text[i]);
  narrow[length] = '\0';
  return narrow;
}
