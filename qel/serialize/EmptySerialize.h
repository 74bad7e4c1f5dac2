#ifndef QEL_SERIALIZE_EMPTYSERIALIZE_H
#define QEL_SERIALIZE_EMPTYSERIALIZE_H
//===----------------------------------------------------------------------===//
// A consumer that takes every event, does nothing and says 0: the base for one
// that wants a few of them only. Identifier still calls String.
//
// THREADS: any; it has no state.
//===----------------------------------------------------------------------===//

#include <qel/serialize/ISerialize.h>

class QEL_EXPORT qelEmptySerialize : public qelISerialize {
public:
  int MapBegin() override;
  int MapKey(const char* key, bool raw) override;
  int MapEnd() override;
  int ArrayBegin() override;
  int ArrayItemSeparator() override;
  int ArrayEnd() override;
  int String(const qelWChar* value, bool raw) override;
  int String(const char* value, bool raw) override;
  int Boolean(bool value) override;
  int U32(qelULong value) override;
  int S32(qelLong value) override;
  int U64(unsigned long long value) override;
  int S64(long long value) override;
  int Float(double value) override;
  int Null() override;
};

#endif
