// The members of both string classes that convert text and read numbers out of it.

#include <qel/core/CString.h>
#include <qel/core/String.h>

#include <qel/core/CharBuffer.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelNum.h>

// Buffers ----------------------------------------------------------------------

qelCString::qelCString(const qelCharBuffer& buffer) {
  InitWith(buffer.data(), 0, npos);
}

qelCString& qelCString::operator=(const qelCharBuffer& buffer) {
  return *this = buffer.data();
}

qelString::qelString(const qelWCharBuffer& buffer) {
  InitWith(buffer.data(), 0, npos);
}

qelString& qelString::operator=(const qelWCharBuffer& buffer) {
  return *this = buffer.data();
}

qelCharBuffer qelString::ToAscii() const {
  char* narrow = static_cast<char*>(qelMem_Alloc(length() + 1));
  const qelWChar* text = c_str();
  size_t at = 0;
  do
    narrow[at] = text[at] < 128 ? static_cast<char>(text[at]) : '_';
  while (text[at++] != 0); // a zero unit inside the text ends it
  return qelCharBuffer(narrow, /*copy=*/false);
}

// Numbers of narrow strings ----------------------------------------------------

bool qelCString::ToInt32(qelLong* out, int base) const {
  return qelNum_ToS32(c_str(), out, base) == 0;
}

bool qelCString::ToLong(qelLong* out, int base) const {
  return ToInt32(out, base);
}

bool qelCString::ToUInt32(qelULong* out, int base) const {
  return qelNum_ToU32(c_str(), out, base) == 0;
}

bool qelCString::ToULong(qelULong* out, int base) const {
  return ToUInt32(out, base);
}

bool qelCString::ToInt32(qelOtherLong* out, int base) const {
  qelLong value = 0;
  const bool whole = ToInt32(&value, base);
  *out = value;
  return whole;
}

bool qelCString::ToLong(qelOtherLong* out, int base) const {
  return ToInt32(out, base);
}

bool qelCString::ToUInt32(qelOtherULong* out, int base) const {
  qelULong value = 0;
  const bool whole = ToUInt32(&value, base);
  *out = value;
  return whole;
}

bool qelCString::ToULong(qelOtherULong* out, int base) const {
  return ToUInt32(out, base);
}

bool qelCString::ToDouble(double* out) const {
  return qelNum_ToDouble(c_str(), out) == 0;
}

// Numbers of wide strings ------------------------------------------------------

// A unit above 127 arrives as "_", which ends the number.
bool qelString::ToInt32(qelLong* out, int base) const {
  return qelNum_ToS32(ToAscii(), out, base) == 0;
}

bool qelString::ToLong(qelLong* out, int base) const {
  return ToInt32(out, base);
}

bool qelString::ToUInt32(qelULong* out, int base) const {
  return qelNum_ToU32(ToAscii(), out, base) == 0;
}

bool qelString::ToULong(qelULong* out, int base) const {
  return ToUInt32(out, base);
}

bool qelString::ToInt32(qelOtherLong* out, int base) const {
  qelLong value = 0;
  const bool whole = ToInt32(&value, base);
  *out = value;
  return whole;
}

bool qelString::ToLong(qelOtherLong* out, int base) const {
  return ToInt32(out, base);
}

bool qelString::ToUInt32(qelOtherULong* out, int base) const {
  qelULong value = 0;
  const bool whole = ToUInt32(&value, base);
  *out = value;
  return whole;
}

bool qelString::ToULong(qelOtherULong* out, int base) const {
  return ToUInt32(out, base);
}

bool qelString::ToDouble(double* out) const {
  return qelNum_ToDouble(ToAscii(), out) == 0;
}
