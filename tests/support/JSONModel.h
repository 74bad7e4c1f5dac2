#ifndef QEL_TESTS_SUPPORT_JSONMODEL_H
#define QEL_TESTS_SUPPORT_JSONMODEL_H
//===----------------------------------------------------------------------===//
// What the JSON parser is compared with: a recorder of events, and the parser
// once more as a plain machine, one byte and one numbered state at a time, with
// no care for speed.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <qel/serialize/ISerialize.h>

// Writes each event down as one line of text. Every event returns 1, which nobody may care for.
class JSONEvents : public qelISerialize {
public:
  std::vector<std::string> list;

  int MapBegin() override { return Add("{"); }
  int MapKey(const char* key, bool raw) override { return Add(Text("key", key, raw)); }
  int MapEnd() override { return Add("}"); }
  int ArrayBegin() override { return Add("["); }
  int ArrayItemSeparator() override { return Add(","); }
  int ArrayEnd() override { return Add("]"); }
  int Identifier(const char* name) override { return Add(Text("identifier", name, false)); }
  int String(const qelWChar*, bool) override { return Add("wide string"); }
  int String(const char* value, bool raw) override { return Add(Text("string", value, raw)); }
  int Boolean(bool value) override { return Add(value ? "true" : "false"); }
  int U32(qelULong value) override { return Add("u32 " + std::to_string(value)); }
  int S32(qelLong value) override { return Add("s32 " + std::to_string(value)); }
  int U64(unsigned long long value) override { return Add("u64 " + std::to_string(value)); }
  int S64(long long value) override { return Add("s64 " + std::to_string(value)); }
  int Float(double value) override {
    char text[64];
    snprintf(text, sizeof text, "float %.17g", value);
    return Add(text);
  }
  int Null() override { return Add("null"); }

  // All lines, each but the last with a blank behind it.
  std::string Joined() const {
    std::string all;
    for (const std::string& line : list)
      all += all.empty() ? line : " " + line;
    return all;
  }

private:
  int Add(const std::string& line) {
    list.push_back(line);
    return 1;
  }
  static std::string Text(const char* event, const char* text, bool raw) {
    return std::string(event) + (raw ? " raw <" : " <") + text + ">";
  }
};

// The states by number:
//    0 skip          1 value             2 value done      3 null word    4 comment start
//    5 block comment 6 line comment      7 comment star    8 string       9 escape
//   10 unicode      11 boolean word     12 number         13 array item  14 array item done
//   15 array separator  16 map member   17 key            18 colon       19 member value
//   20 member value done                21 map separator
class JSONModel {
public:
  enum { kStates = 22 };

  // Parses a terminated text; the events go to `events`.
  int Parse(const char* text) {
    for (;; ++text) {
      if (*text == '\0')
        return m_depth == 0 && State() == 0 && Next() == 2 ? 0 : 1;
      m_result = -1;
      while (!Step(*text)) {
      }
      if (m_result >= 0)
        return m_result;
    }
  }

  JSONEvents events;
  bool seen[kStates][256] = {}; // which byte has been shown to which state

private:
  struct Pair {
    int state = 0;
    int next = 1;
  };

  int& State() { return m_frames[m_depth].state; }
  int& Next() { return m_frames[m_depth].next; }

  // Three ways to end a step.
  bool Consume(int state) {
    State() = state;
    return true;
  }
  bool Again(int state) {
    State() = state;
    return false;
  }
  bool Stop(int result) {
    m_result = result;
    return true;
  }
  // Skips what may stand ahead of the next state.
  bool ConsumeAndSkipTo(int next) {
    Next() = next;
    return Consume(0);
  }
  bool SkipTo(int next) {
    Next() = next;
    return Again(0);
  }
  bool Enter(int parentState) {
    if (m_depth >= 19)
      return Stop(2);
    State() = parentState;
    ++m_depth;
    m_frames[m_depth] = Pair();
    return false;
  }

  bool Step(char c) {
    seen[State()][static_cast<unsigned char>(c)] = true;
    switch (State()) {
    case 0:
      if (c != '\0' && strchr("\t\n\v\f\r ", c) != nullptr)
        return Consume(0);
      return c == '/' ? Consume(4) : Again(Next());
    case 1:
      return StepValue(c);
    case 2:
      if (m_depth == 0)
        return Stop(0);
      m_frames[m_depth] = Pair();
      --m_depth;
      return false;
    case 3:
      return StepNull(c);
    case 4:
      return c == '*' ? Consume(5) : c == '/' ? Consume(6) : Stop(13);
    case 5:
      return Consume(c == '*' ? 7 : 5);
    case 6:
      return Consume(c == '\n' ? 0 : 6);
    case 7:
      return Consume(c == '/' ? 0 : 5);
    case 8:
      if (c == m_quote)
        events.String(m_token.c_str(), false);
      return StepText(c, 2);
    case 9:
      return StepEscape(c);
    case 10:
      return StepUnicode(c);
    case 11:
      return StepBoolean(c);
    case 12:
      return StepNumber(c);
    case 13:
      if (c != ']')
        return Enter(14);
      events.ArrayEnd();
      return ConsumeAndSkipTo(2);
    case 14:
      return SkipTo(15);
    case 15:
      if (c == ']')
        events.ArrayEnd();
      return c == ']' ? ConsumeAndSkipTo(2) : c == ',' ? ConsumeAndSkipTo(13) : Stop(8);
    case 16:
      if (c == '}')
        events.MapEnd();
      if (c == '}')
        return ConsumeAndSkipTo(2);
      if (c != '"' && c != '\'')
        return Stop(9);
      m_quote = c;
      m_token.clear();
      return Consume(17);
    case 17:
      if (c == m_quote)
        events.MapKey(m_token.c_str(), true);
      return StepText(c, 18);
    case 18:
      return c == ':' ? ConsumeAndSkipTo(19) : Stop(10);
    case 19:
      return Enter(20);
    case 20:
      return SkipTo(21);
    default:
      if (c == '}')
        events.MapEnd();
      return c == '}' ? ConsumeAndSkipTo(2) : c == ',' ? ConsumeAndSkipTo(16) : Stop(11);
    }
  }

  bool StepValue(char c) {
    m_token.clear();
    m_count = 0;
    switch (c) {
    case '"':
    case '\'':
      m_quote = c;
      return Consume(8);
    case '[':
      events.ArrayBegin();
      return ConsumeAndSkipTo(13);
    case '{':
      events.MapBegin();
      return ConsumeAndSkipTo(16);
    case 't':
    case 'T':
    case 'f':
    case 'F':
      return Again(11);
    case 'n':
    case 'N':
      return Again(3);
    default:
      m_isFloat = false;
      return c == '-' || (c >= '0' && c <= '9') ? Again(12) : Stop(4);
    }
  }

  // Whether the token equals the front of the word, as far as the word goes.
  bool IsFrontOf(const std::string& word) const {
    const std::string front = m_token.substr(0, word.size());
    for (size_t i = 0; i < front.size(); ++i) {
      const char c = front[i];
      if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c) != word[i])
        return false;
    }
    return true;
  }

  bool StepNull(char c) {
    m_token += c;
    if (!IsFrontOf("null"))
      return Stop(5);
    if (m_count == 4) {
      events.Null();
      return SkipTo(2);
    }
    ++m_count;
    return Consume(3);
  }

  bool StepBoolean(char c) {
    m_token += c;
    const bool isTrue = IsFrontOf("true");
    if (!isTrue && !IsFrontOf("false"))
      return Stop(6);
    if (m_count == (isTrue ? 4 : 5)) {
      events.Boolean(isTrue);
      return SkipTo(2);
    }
    ++m_count;
    return Consume(11);
  }

  bool StepNumber(char c) {
    if (strchr("0123456789.+-e", c) != nullptr) {
      m_token += c;
      m_isFloat = m_isFloat || c == '.' || c == 'e';
      return Consume(12);
    }
    char* end = nullptr;
    if (m_isFloat) {
      const double value = strtod(m_token.c_str(), &end);
      if (end == m_token.c_str())
        return Stop(7);
      events.Float(value);
    } else {
      const long long value = strtoll(m_token.c_str(), &end, 10);
      if (end == m_token.c_str())
        return Stop(7);
      events.S32(static_cast<qelLong>(value & 0xFFFFFFFFLL));
    }
    return SkipTo(2);
  }

  // A byte of a string or key; `next` follows its closing quote, whose event is done.
  bool StepText(char c, int next) {
    if (c == m_quote)
      return ConsumeAndSkipTo(next);
    if (c == '\\') {
      Next() = State();
      return Consume(9);
    }
    m_token += c;
    return Consume(State());
  }

  bool StepEscape(char c) {
    static const char kLetters[] = "\"/\\bnrt";
    static const char kBytes[] = "\"/\\\b\n\r\t";
    if (c == 'u') {
      m_unit = 0;
      m_count = 0;
      return Consume(10);
    }
    const char* letter = strchr(kLetters, c);
    if (letter == nullptr)
      return Stop(12);
    m_token += kBytes[letter - kLetters];
    return Consume(Next());
  }

  bool StepUnicode(char c) {
    static const char kDigits[] = "0123456789abcdef";
    const char* digit = strchr(kDigits, c);
    if (digit == nullptr)
      return Stop(12);
    m_unit += static_cast<int>(digit - kDigits) << (12 - 4 * m_count);
    if (++m_count < 4)
      return Consume(10);
    if (m_unit < 0x80) {
      m_token += static_cast<char>(m_unit);
    } else if (m_unit < 0x800) {
      m_token += static_cast<char>(0xC0 + m_unit / 64);
      m_token += static_cast<char>(0x80 + m_unit % 64);
    } else {
      m_token += static_cast<char>(0xE0 + m_unit / 4096);
      m_token += static_cast<char>(0x80 + m_unit / 64 % 64);
      m_token += static_cast<char>(0x80 + m_unit % 64);
    }
    return Consume(Next());
  }

  Pair m_frames[20];
  int m_depth = 0;
  int m_result = -1; // below 0: go on
  std::string m_token;
  int m_count = 0;
  bool m_isFloat = false;
  char m_quote = '\0';
  int m_unit = 0;
};

#endif
