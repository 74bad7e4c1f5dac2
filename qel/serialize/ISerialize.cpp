#include <qel/serialize/ISerialize.h>

qelISerialize::~qelISerialize() = default;

int qelISerialize::Identifier(const char* name) {
  return String(name, false);
}

int qelISerialize::Value(unsigned long value) {
  if constexpr (sizeof value == sizeof(qelULong))
    return U32(static_cast<qelULong>(value));
  else
    return U64(value);
}

int qelISerialize::Value(long value) {
  if constexpr (sizeof value == sizeof(qelLong))
    return S32(static_cast<qelLong>(value));
  else
    return S64(value);
}
