#ifndef QEL_SERIALIZE_ISERIALIZE_H
#define QEL_SERIALIZE_ISERIALIZE_H
//===----------------------------------------------------------------------===//
// Structured data as a stream of events: begin a map, a key, a value, end the map.
// Any producer can be joined to any consumer that derives from this class.
//
// Each event returns a status, 0 for success. `raw` says that the text is to be
// written without quotes around it. Narrow text is UTF-8.
//
// OWNERSHIP: texts stay the producer's and are read during the call only.
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelISerialize {
public:
  virtual ~qelISerialize();

  virtual int MapBegin() = 0;
  virtual int MapKey(const char* key, bool raw) = 0; // the key of the next member
  virtual int MapEnd() = 0;

  virtual int ArrayBegin() = 0;
  virtual int ArrayItemSeparator() = 0; // one item has ended and another follows
  virtual int ArrayEnd() = 0;

  virtual int Identifier(const char* name); // here: String(name, false)

  virtual int String(const qelWChar* value, bool raw) = 0;
  virtual int String(const char* value, bool raw) = 0;
  virtual int Boolean(bool value) = 0;
  virtual int U32(qelULong value) = 0;
  virtual int S32(qelLong value) = 0;
  virtual int U64(unsigned long long value) = 0;
  virtual int S64(long long value) = 0;
  virtual int Float(double value) = 0;
  virtual int Null() = 0;

  // The event that suits the argument's type; each returns that event's status. There is one form for
  // every native integer type; a `long` goes to the event of its width on the system at hand.
  int Value(const char* value) { return String(value, false); }
  int Value(const qelWChar* value) { return String(value, false); }
  int Value(bool value) { return Boolean(value); }
  int Value(unsigned int value) { return U32(value); }
  int Value(int value) { return S32(value); }
  int Value(unsigned long value);
  int Value(long value);
  int Value(unsigned long long value) { return U64(value); }
  int Value(long long value) { return S64(value); }
  int Value(double value) { return Float(value); }
};

#endif
