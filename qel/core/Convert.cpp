#include <qel/core/Convert.h>

#include <cstdlib>
#include <string>

#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>

const qelUTF8Convert qelConvUTF8;
const qelLibCConvert qelConvLibC;

// The C library's wide character, of 16 or of 32 bits, and the conversion result that it calls an
// error.
typedef wchar_t Native;
static const size_t kFailed = static_cast<size_t>(-1);

static Native* NewNative(size_t n) {
  return static_cast<Native*>(qelMem_Alloc((n + 1) * sizeof(Native)));
}

// qelUTF8Convert ---------------------------------------------------------------

qelCharBuffer qelUTF8Convert::ToUTF8(const qelWChar* text) const {
  return qelCharBuffer(qelUTF8_FromWide(text), /*copy=*/false);
}

qelWCharBuffer qelUTF8Convert::ToString(const char* text) const {
  return qelWCharBuffer(qelUTF8_ToWide(text), /*copy=*/false);
}

qelCharBuffer qelUTF8Convert::cWC2MB(const qelWChar* text) const {
  return ToUTF8(text);
}

qelCharBuffer qelUTF8Convert::cWX2MB(const qelWChar* text) const {
  return ToUTF8(text);
}

qelCharBuffer qelUTF8Convert::cQEL2MB(const qelWChar* text) const {
  return ToUTF8(text);
}

qelWCharBuffer qelUTF8Convert::cMB2WC(const char* text) const {
  return ToString(text);
}

qelWCharBuffer qelUTF8Convert::cMB2WX(const char* text) const {
  return ToString(text);
}

qelWCharBuffer qelUTF8Convert::cMB2QEL(const char* text) const {
  return ToString(text);
}

qelWCharBuffer qelUTF8Convert::cWX2WC(const char* text) const {
  return ToString(text);
}

qelWCharBuffer qelUTF8Convert::cQEL2WC(const char* text) const {
  return ToString(text);
}

// qelLibCConvert ---------------------------------------------------------------

// How a failure looks: a text, though an empty one, and never null.
static qelWCharBuffer FailedWide() {
  qelWCharBuffer buffer(1);
  buffer.data()[0] = 0;
  return buffer;
}

static qelCharBuffer FailedNarrow() {
  qelCharBuffer buffer(1);
  buffer.data()[0] = '\0';
  return buffer;
}

// Writes native[0..n-1] as UTF-16 to dst, or counts with a null dst. Units that are already UTF-16
// pass through. Returns kFailed for a character that UTF-16 has no form for.
static size_t PutUnits(const Native* native, size_t n, qelWChar* dst) {
  size_t units = 0;
  for (size_t i = 0; i < n; ++i) {
    const int put = qelUTF16_Put(static_cast<uint32_t>(native[i]),
                                 dst != nullptr ? dst + units : nullptr, /*size=*/2);
    if (put < 0)
      return kFailed;
    units += static_cast<size_t>(put);
  }
  return units;
}

// Writes text and its terminator to dst, which has room for as many characters as text has units.
static void PutNative(const qelWChar* text, Native* dst) {
  while (*text != 0) {
    uint32_t character = *text;
    int units = 1;
    const bool joins = sizeof(Native) > sizeof(qelWChar) && character >= 0xD800 &&
                       character <= 0xDBFF && qelUTF16_Get(text, 2, &character) == 2;
    if (joins)
      units = 2;
    *dst++ = static_cast<Native>(character);
    text += units;
  }
  *dst = 0;
}

// The text as UTF-16 in a buffer with one unit to spare, or the failure's buffer.
static qelWCharBuffer MakeWide(const Native* native, size_t n) {
  const size_t units = PutUnits(native, n, nullptr);
  if (units == kFailed)
    return FailedWide();
  qelWCharBuffer buffer(units + 1);
  PutUnits(native, n, buffer.data());
  buffer.data()[units] = 0;
  return buffer;
}

// The text as narrow text in a buffer with one byte to spare, or the failure's buffer.
static qelCharBuffer MakeNarrow(const Native* native) {
  const size_t count = wcstombs(nullptr, native, 0);
  if (count == kFailed)
    return FailedNarrow();
  qelCharBuffer buffer(count + 1);
  if (wcstombs(buffer.data(), native, count + 1) == kFailed)
    return FailedNarrow();
  return buffer;
}

qelWCharBuffer qelLibCConvert::cMB2QEL(const char* text) const {
  const size_t count = text != nullptr ? mbstowcs(nullptr, text, 0) : kFailed;
  if (count == kFailed)
    return FailedWide();
  Native* native = NewNative(count);
  // Some runtime libraries count a text that they then can't convert.
  const bool converted = mbstowcs(native, text, count + 1) != kFailed;
  qelWCharBuffer buffer = converted ? MakeWide(native, count) : FailedWide();
  free(native);
  return buffer;
}

qelWCharBuffer qelLibCConvert::cMB2WC(const char* text) const {
  return cMB2QEL(text);
}

qelWCharBuffer qelLibCConvert::cMB2WX(const char* text) const {
  return cMB2QEL(text);
}

qelCharBuffer qelLibCConvert::cQEL2MB(const qelWChar* text) const {
  if (text == nullptr)
    return FailedNarrow();
  Native* native = NewNative(std::char_traits<qelWChar>::length(text));
  PutNative(text, native);
  qelCharBuffer buffer = MakeNarrow(native);
  free(native);
  return buffer;
}

qelCharBuffer qelLibCConvert::cWX2MB(const qelWChar* text) const {
  return cQEL2MB(text);
}
