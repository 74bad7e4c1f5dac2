#ifndef QEL_MEDIA_CRITERIALIST_H
#define QEL_MEDIA_CRITERIALIST_H
//===----------------------------------------------------------------------===//
// Private to this folder: the text of a list of property names while it is being
// built, "title,date,", with a quick answer to "does this text stand anywhere in
// the list". A scan of the whole list for each name would make a long search
// quadratic.
//
// Up to ScanLimit bytes the list is scanned all the same. From there on it has an
// index: the smallest automaton whose paths from the start state are exactly the
// substrings of the list. It grows with the list, a byte at a time, and has at
// most two states and three edges a byte.
//
// COST: AddProperty is linear in the name, amortised.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/CString.h>

class qelCriteriaList {
public:
  explicit qelCriteriaList(const qelCString& list);
  ~qelCriteriaList();
  qelCriteriaList(const qelCriteriaList&) = delete;
  qelCriteriaList& operator=(const qelCriteriaList&) = delete;

  // Starts again with this text.
  void Reset(const qelCString& list);

  // Appends property and a comma, unless both together stand in the list already.
  void AddProperty(const qelCString& property);

  qelCString GetText() const { return qelCString(m_text, m_length); }

private:
  // Ends of the ways of looking: plain scans up to the first, the index up to the second, where the
  // room for its edges, a power of two, still is a 32-bit number, scans again behind.
  static constexpr size_t ScanLimit = 256;
  static constexpr size_t IndexLimit = size_t(1) << 29;

  static constexpr uint32_t None = UINT32_MAX;
  static constexpr uint32_t Start = 0;

  struct State {
    uint32_t length;    // of the longest substring that leads here
    uint32_t suffix;    // state of its longest suffix that leads elsewhere; None for Start
    uint32_t firstEdge; // of the chain of edges; None if there is none
  };
  struct Edge {
    uint32_t target;    // state
    uint32_t next;      // in the chain of the same state; None at its end
    unsigned char byte; // what it consumes
  };

  bool HasIndex() const { return m_stateCount != 0; }
  bool Contains(const qelCString& property) const;
  bool ContainsByScan(const qelCString& property) const;
  bool ContainsByIndex(const qelCString& property) const;
  void Append(const char* bytes, size_t n);
  void UpdateIndex();
  void DropIndex();
  void IndexByte(unsigned char byte);
  uint32_t CloneForSuffix(uint32_t from, uint32_t edge, unsigned char byte);
  uint32_t AddState(uint32_t length);
  void AddEdge(uint32_t state, unsigned char byte, uint32_t target);
  uint32_t FindEdge(uint32_t state, unsigned char byte) const;

  char* m_text;     // the list, m_text[0..m_length-1], with no terminator
  size_t m_length;  // bytes
  size_t m_room;    // bytes allocated
  size_t m_indexed; // how many bytes of the list are in the index

  State* m_states; // m_states[0..m_stateCount-1]; none without an index
  uint32_t m_stateCount;
  uint32_t m_stateRoom;
  uint32_t m_last; // state of the whole list
  Edge* m_edges;
  uint32_t m_edgeCount;
  uint32_t m_edgeRoom;
};

#endif
