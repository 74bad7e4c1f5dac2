#include <qel/serialize/JSONFormatter.h>

#include <cstring>

#include <qel/core/Convert.h>

static const char kDefaultIndent[] = "    ";
static const char kDigits[] = "0123456789";

static void Append(qelCString& out, const char* text, size_t n) {
  out.Insert(out.length(), text, n);
}

// The letter behind the backslash of a short escape, 'u' for a long one, 0 for a plain byte.
static char EscapeOf(unsigned char byte, bool strict) {
  switch (byte) {
  case '\b':
    return 'b';
  case '\t':
    return 't';
  case '\n':
    return 'n';
  case '\f':
    return 'f';
  case '\r':
    return 'r';
  case '"':
  case '\\':
    return static_cast<char>(byte);
  case '/':
    return strict ? '/' : '\0';
  default:
    return byte < 0x20 ? 'u' : '\0';
  }
}

static void AppendEscape(qelCString& out, unsigned char byte, char letter) {
  static const char kHex[] = "0123456789abcdef";
  const char text[] = {'\\', letter, '0', '0', kHex[byte >> 4], kHex[byte & 15]};
  Append(out, text, letter == 'u' ? sizeof text : 2);
}

// Appends a formatted number with "." for whatever stands between its digits, since a locale may
// have put its own decimal point there. A word such as "inf" has no digits behind it and stays.
static void AppendWithPoint(qelCString& out, const char* number) {
  const size_t sign = *number == '-' ? 1 : 0;
  const size_t whole = sign + strspn(number + sign, kDigits);
  const char* fraction = number + whole + strcspn(number + whole, kDigits);
  if (*fraction == '\0') {
    out += number;
    return;
  }
  Append(out, number, whole);
  out += '.';
  out += fraction;
}

qelJSONFormatter::qelJSONFormatter()
    : m_strictEscapes(true), m_humanMode(false), m_indentText(kDefaultIndent) {
  Reset();
}

void qelJSONFormatter::Reset() {
  m_result.Empty();
  m_indentLevel = 0;
  m_firstInMap = false;
}

qelCString qelJSONFormatter::Result() const {
  return m_result;
}

void qelJSONFormatter::SetStrictMode(bool strict) {
  m_strictEscapes = strict;
}

void qelJSONFormatter::SetHumanMode(bool human, const char* indent) {
  m_humanMode = human;
  m_indentText = indent != nullptr ? indent : kDefaultIndent;
}

int qelJSONFormatter::MapBegin() {
  NewLine();
  m_result += '{';
  ++m_indentLevel;
  m_firstInMap = true;
  return 0;
}

int qelJSONFormatter::MapKey(const char* key, bool raw) {
  if (!m_firstInMap)
    m_result += ',';
  m_firstInMap = false;
  NewLine();
  m_scratch.Empty();
  Escape(key, m_scratch);
  if (!raw)
    m_result += '"';
  m_result += m_scratch;
  if (!raw)
    m_result += '"';
  m_result += m_humanMode ? ": " : ":";
  return 0;
}

int qelJSONFormatter::MapEnd() {
  // INTENDED: the comma is always there, so that even an empty map is "{,}". Readers of this text
  // take it. Pinned by qelJSONFormatterMapEnd.AlwaysWritesAComma.
  m_result += ',';
  --m_indentLevel;
  NewLine();
  m_result += '}';
  m_firstInMap = false;
  return 0;
}

int qelJSONFormatter::ArrayBegin() {
  m_result += '[';
  return 0;
}

int qelJSONFormatter::ArrayItemSeparator() {
  m_result += m_humanMode ? ", " : ",";
  return 0;
}

int qelJSONFormatter::ArrayEnd() {
  m_result += ']';
  return 0;
}

int qelJSONFormatter::String(const qelWChar* value, bool raw) {
  return String(qelConvUTF8.ToUTF8(value != nullptr ? value : QEL_W("")).data(), raw);
}

int qelJSONFormatter::String(const char* value, bool raw) {
  if (!raw)
    m_result += '"';
  Escape(value, m_result);
  if (!raw)
    m_result += '"';
  return 0;
}

int qelJSONFormatter::Boolean(bool value) {
  m_result += value ? "true" : "false";
  return 0;
}

int qelJSONFormatter::U32(qelULong value) {
  m_scratch.Printf("%lu", static_cast<unsigned long>(value));
  m_result += m_scratch;
  return 0;
}

int qelJSONFormatter::S32(qelLong value) {
  m_scratch.Printf("%ld", static_cast<long>(value));
  m_result += m_scratch;
  return 0;
}

int qelJSONFormatter::U64(unsigned long long value) {
  m_scratch.Printf("%llu", value);
  m_result += m_scratch;
  return 0;
}

int qelJSONFormatter::S64(long long value) {
  m_scratch.Printf("%lld", value);
  m_result += m_scratch;
  return 0;
}

int qelJSONFormatter::Float(double value) {
  m_scratch.Printf("%lf", value);
  AppendWithPoint(m_result, m_scratch.c_str());
  return 0;
}

int qelJSONFormatter::Null() {
  m_result += "null";
  return 0;
}

bool qelJSONFormatter::Escape(const char* text, qelCString& out) {
  if (text == nullptr)
    return false;
  bool escaped = false;
  const char* run = text; // plain bytes that have not been copied yet
  const char* at = text;
  for (; *at != '\0'; ++at) {
    const unsigned char byte = static_cast<unsigned char>(*at);
    const char letter = EscapeOf(byte, m_strictEscapes);
    if (letter == '\0')
      continue;
    Append(out, run, static_cast<size_t>(at - run));
    AppendEscape(out, byte, letter);
    run = at + 1;
    escaped = true;
  }
  Append(out, run, static_cast<size_t>(at - run));
  return escaped;
}

void qelJSONFormatter::NewLine() {
  if (!m_humanMode)
    return;
  m_result += '\n';
  for (int32_t level = 0; level < m_indentLevel; ++level)
    m_result += m_indentText;
}
