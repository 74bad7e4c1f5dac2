#include <qel/media/CriteriaList.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>

namespace {

// Makes room for one more item at items[count].
template <typename T>
void ReserveOne(T*& items, uint32_t count, uint32_t& room) {
  if (count < room)
    return;
  room = room == 0 ? 1024 : room * 2;
  items = static_cast<T*>(qelMem_Realloc(items, size_t(room) * sizeof(T)));
}

} // namespace

qelCriteriaList::qelCriteriaList(const qelCString& list)
    : m_text(nullptr), m_length(0), m_room(0), m_indexed(0), m_states(nullptr), m_stateCount(0),
      m_stateRoom(0), m_last(Start), m_edges(nullptr), m_edgeCount(0), m_edgeRoom(0) {
  Append(list.c_str(), list.length());
}

qelCriteriaList::~qelCriteriaList() {
  DropIndex();
  free(m_text);
}

void qelCriteriaList::Reset(const qelCString& list) {
  DropIndex();
  m_length = 0;
  Append(list.c_str(), list.length());
}

void qelCriteriaList::AddProperty(const qelCString& property) {
  if (Contains(property))
    return;
  Append(property.c_str(), property.length());
  Append(",", 1);
}

bool qelCriteriaList::Contains(const qelCString& property) const {
  return HasIndex() ? ContainsByIndex(property) : ContainsByScan(property);
}

bool qelCriteriaList::ContainsByScan(const qelCString& property) const {
  const size_t n = property.length();
  const char* name = property.c_str();
  for (size_t at = 0; at + n < m_length; at++) {
    if (m_text[at + n] == ',' && memcmp(m_text + at, name, n) == 0)
      return true;
  }
  return false;
}

bool qelCriteriaList::ContainsByIndex(const qelCString& property) const {
  uint32_t state = Start;
  const char* name = property.c_str();
  for (size_t i = 0; i <= property.length(); i++) {
    const char byte = i < property.length() ? name[i] : ',';
    const uint32_t edge = FindEdge(state, static_cast<unsigned char>(byte));
    if (edge == None)
      return false;
    state = m_edges[edge].target;
  }
  return true;
}

void qelCriteriaList::Append(const char* bytes, size_t n) {
  if (n == 0)
    return;
  if (m_room - m_length < n) {
    m_room = (m_length + n) * 2;
    m_text = static_cast<char*>(qelMem_Realloc(m_text, m_room));
  }
  memcpy(m_text + m_length, bytes, n);
  m_length += n;
  UpdateIndex();
}

void qelCriteriaList::UpdateIndex() {
  if (m_length <= ScanLimit)
    return;
  if (m_length > IndexLimit) {
    DropIndex();
    return;
  }
  if (!HasIndex())
    m_last = AddState(0);
  while (m_indexed < m_length)
    IndexByte(static_cast<unsigned char>(m_text[m_indexed++]));
}

void qelCriteriaList::DropIndex() {
  free(m_states);
  free(m_edges);
  m_states = nullptr;
  m_edges = nullptr;
  m_stateCount = m_stateRoom = 0;
  m_edgeCount = m_edgeRoom = 0;
  m_indexed = 0;
}

// Extends the automaton by one byte: the new whole text gets a state, and every suffix of the old
// text that was never followed by this byte gets an edge to it.
void qelCriteriaList::IndexByte(unsigned char byte) {
  const uint32_t whole = AddState(m_states[m_last].length + 1);
  uint32_t from = m_last;
  uint32_t edge = None;
  while (from != None && (edge = FindEdge(from, byte)) == None) {
    AddEdge(from, byte, whole);
    from = m_states[from].suffix;
  }
  m_last = whole;
  if (from == None) {
    m_states[whole].suffix = Start;
    return;
  }
  const uint32_t target = m_edges[edge].target;
  const bool exact = m_states[from].length + 1 == m_states[target].length;
  m_states[whole].suffix = exact ? target : CloneForSuffix(from, edge, byte);
}

// The state behind edge stands for longer substrings too, which do not end the new text. Splits off
// a state for those that do, and leads their edges there. Returns it.
uint32_t qelCriteriaList::CloneForSuffix(uint32_t from, uint32_t edge, unsigned char byte) {
  const uint32_t target = m_edges[edge].target;
  const uint32_t clone = AddState(m_states[from].length + 1);
  m_states[clone].suffix = m_states[target].suffix;
  m_states[target].suffix = clone;
  for (uint32_t e = m_states[target].firstEdge; e != None; e = m_edges[e].next)
    AddEdge(clone, m_edges[e].byte, m_edges[e].target);
  while (from != None) {
    const uint32_t e = FindEdge(from, byte);
    if (e == None || m_edges[e].target != target)
      break;
    m_edges[e].target = clone;
    from = m_states[from].suffix;
  }
  return clone;
}

uint32_t qelCriteriaList::AddState(uint32_t length) {
  ReserveOne(m_states, m_stateCount, m_stateRoom);
  m_states[m_stateCount] = {length, None, None};
  return m_stateCount++;
}

void qelCriteriaList::AddEdge(uint32_t state, unsigned char byte, uint32_t target) {
  ReserveOne(m_edges, m_edgeCount, m_edgeRoom);
  m_edges[m_edgeCount] = {target, m_states[state].firstEdge, byte};
  m_states[state].firstEdge = m_edgeCount++;
}

uint32_t qelCriteriaList::FindEdge(uint32_t state, unsigned char byte) const {
  uint32_t edge = m_states[state].firstEdge;
  while (edge != None && m_edges[edge].byte != byte)
    edge = m_edges[edge].next;
  return edge;
}
