#include <qel/core/UInt64.h>

#include <cstdlib>

#include <qel/core/CharBuffer.h>
#include <qel/core/Convert.h>

// Constant-initialised: the globals of a client may use them.
const qeluint64 qeluint64::kqeluint64_0(0);
const qeluint64 qeluint64::kqeluint64_Max(~0ULL);

static const double k2To63 = 9223372036854775808.0;

qeluint64::qeluint64(double value) : m_value(uint64_t(1) << 63) {
  if (value >= -k2To63 && value < k2To63)
    m_value = static_cast<uint64_t>(static_cast<int64_t>(value));
  else if (value >= k2To63 && value < 2 * k2To63)
    m_value |= static_cast<uint64_t>(value - k2To63);
}

qeluint64::qeluint64(const qelULongLong* value) : qeluint64(*value) {}

int64_t qeluint64::ToFileOffset() const {
  return m_value >> 63 != 0 ? INT64_MAX : static_cast<int64_t>(m_value);
}

qelULongLong qeluint64::ToULongLong() const {
  qelULongLong halves;
  qelULongLong_FromU64(&halves, m_value);
  return halves;
}

qelCString qeluint64::ToCString() const {
  const qelULongLong halves = ToULongLong();
  char* digits = qelULongLong_ToDecimal(&halves);
  const qelCString text(digits);
  free(digits);
  return text;
}

qelString qeluint64::ToString() const {
  const qelCString digits = ToCString();
  return qelConvUTF8.ToString(digits.c_str());
}

qeluint64 qeluint64::FromString(const char* text, const qeluint64& fallback) {
  qelULongLong value;
  return qelULongLong_FromString(&value, text) ? qeluint64(value) : fallback;
}

qeluint64 qeluint64::FromString(const qelString& text, const qeluint64& fallback) {
  return FromString(qelConvUTF8.ToUTF8(text.c_str()).data(), fallback);
}

void qeluint64::Init(const qelULongLong& value) {
  *this = qeluint64(value);
}

void qeluint64::Init(qelULong high, qelULong low) {
  *this = qeluint64(high, low);
}
