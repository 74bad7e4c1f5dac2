#include <qel/serialize/JSONFormatter.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>

// The grammar
//
//   text     blank value [anything]     the rest is not looked at, but for blanks and comments
//   value    "{" {key ":" value ","} [key ":" value] "}"  |  "[" {value ","} [value] "]"
//            |  string  |  number  |  word
//   key      string
//   string   a double or single quote, bytes and escapes, the same quote
//   escape   backslash and one of  " / \ b n r t  or u and four digits of 0 to 9, a to f
//   number   "-" or a digit, then any of 0 to 9 . + - e
//   word     null, true, false
//   blank    the bytes 9 to 13 and 32; "//" up to a line feed; "/*" up to "*/". May stand between any two
//            of the things above, but not within strings, numbers and words.
//
// Leniencies: comments; single quotes; words in any case; a comma behind the last member or item; raw line
// ends and control characters in strings; a number is as much of its bytes as can be converted, so
// "1-2" is 1 and "1.5e" is 1.5; whatever follows a word, so [true/**/] and [true] are alike.
// Refusals: what is neither of the above. \f, \' and upper-case digits in \u; "+" and "." ahead of a
// number. An "E" ends a number, and so "1E3" is 1 with something behind it.
//
// Nesting is a stack of kFrames frames and no recursion. Numbers and words are read where they stand;
// only the text of a string is copied, since it is delivered with a terminator.

namespace {

enum {
  kFrames = 20 // depth of nesting, the frame of the top included
};

// What the machine awaits, and what leaves the state. The number of a state stands for nothing; the
// states are in the order of their use.
enum State {
  State_Skip,             // blanks and comments; anything else goes to the frame's next state
  State_Value,            // the first byte of a value
  State_ValueDone,        // the value is complete: ends its frame, at the top the parsing
  State_NullWord,         // the rest of "null", until a byte behind it
  State_CommentStart,     // "*" or "/" behind a "/"
  State_BlockComment,     // "*"
  State_LineComment,      // a line feed
  State_BlockCommentStar, // "/"; anything else goes back into the comment, another "*" too
  State_String,           // the quote that opened a string value, or a backslash
  State_Escape,           // the byte behind a backslash; goes to the frame's next state
  State_Unicode,          // four hexadecimal digits; goes to the frame's next state
  State_BooleanWord,      // the rest of "true" or "false", until a byte behind it
  State_Number,           // a byte that is not of a number
  State_ArrayItem,        // an item, or "]"
  State_ArrayItemDone,    // the item's frame has ended
  State_ArraySeparator,   // "," or "]"
  State_MapMember,        // a quote that opens a key, or "}"
  State_Key,              // the quote that opened a key, or a backslash
  State_Colon,            // ":"
  State_MemberValue,      // the first byte of a member's value
  State_MemberValueDone,  // the value's frame has ended
  State_MapSeparator,     // "," or "}"
};

// What Parse returns.
enum Code {
  Code_Success = 0,
  Code_Incomplete = 1,     // the text ends ahead of the value's end
  Code_TooDeep = 2,        // a value in a frame beyond the last
  Code_NoValue = 4,        // State_Value: a byte that begins no value
  Code_NotNull = 5,        // State_NullWord
  Code_NotBoolean = 6,     // State_BooleanWord
  Code_BadNumber = 7,      // State_Number: nothing to convert
  Code_ArraySeparator = 8, // State_ArraySeparator: neither "," nor "]"
  Code_NoKey = 9,          // State_MapMember: neither a quote nor "}"
  Code_NoColon = 10,       // State_Colon
  Code_MapSeparator = 11,  // State_MapSeparator: neither "," nor "}"
  Code_BadEscape = 12,     // State_Escape, State_Unicode
  Code_NoComment = 13,     // State_CommentStart: a "/" alone
};

struct Frame {
  State state;
  State next; // where State_Skip, State_Escape and State_Unicode go
};

const Frame kNewFrame = {State_Skip, State_Value};
const Frame kValueDone = {State_Skip, State_ValueDone};

// The text of the current string. Short ones need no block; the block of long ones is kept from one string
// to the next and doubles when it is too small.
class Token {
public:
  Token() : m_text(m_short), m_length(0), m_room(sizeof m_short) {}
  Token(const Token&) = delete;
  Token& operator=(const Token&) = delete;
  ~Token() {
    if (m_text != m_short)
      free(m_text);
  }

  void Clear() { m_length = 0; }

  void Append(const char* text, size_t n) {
    if (m_room - m_length <= n)
      Grow(n);
    memcpy(m_text + m_length, text, n);
    m_length += n;
  }

  void Append(char c) { Append(&c, 1); }

  // Terminated, until the next change.
  const char* Text() {
    m_text[m_length] = '\0';
    return m_text;
  }

private:
  void Grow(size_t n) {
    m_room = 2 * (m_length + n);
    char* const block =
        static_cast<char*>(qelMem_Realloc(m_text != m_short ? m_text : nullptr, m_room));
    if (m_text == m_short)
      memcpy(block, m_short, m_length);
    m_text = block;
  }

  char* m_text;      // m_short, or an owned block
  size_t m_length;   // bytes in use, below m_room
  size_t m_room;     // bytes there
  char m_short[256]; // uninitialised behind m_length, as the block is
};

} // namespace

// Reading of bytes ---------------------------------------------------------------------

// Whether c is the letter in either case.
static bool IsLetter(char c, char letter) {
  return (c | 0x20) == letter;
}

// The value of a lower-case hexadecimal digit, -1 for anything else.
static int HexValue(char c) {
  if (qelChar_IsDigit(c))
    return c - '0';
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// What stands for the escape letter, 0 if there is no such escape. INTENDED: there is none for a form
// feed, though the formatter writes one. What is refused is a promise as well. Pinned by
// qelJSONFormatterParse.CannotReadBackSomeThingsThatTheFormatterWrites.
static char EscapedByte(char letter) {
  switch (letter) {
  case '"':
  case '/':
  case '\\':
    return letter;
  case 'b':
    return '\b';
  case 'n':
    return '\n';
  case 'r':
    return '\r';
  case 't':
    return '\t';
  default:
    return '\0';
  }
}

// The first stop byte or terminator at or behind `at`.
static const char* FindByte(const char* at, char stop) {
  while (*at != stop && *at != '\0')
    ++at;
  return at;
}

// Appends the bytes ahead of the quote or of the next backslash, and returns where that stands. A string
// that the text's end cuts off is not needed any more: nothing is appended.
static const char* AppendPlain(const char* at, char quote, Token& token) {
  const char* const run = at;
  while (*at != quote && *at != '\\' && *at != '\0')
    ++at;
  if (*at != '\0')
    token.Append(run, static_cast<size_t>(at - run));
  return at;
}

// Skips the bytes of a number; *isFloat tells whether a "." or an "e" is among them.
static const char* SkipNumber(const char* at, bool* isFloat) {
  for (*isFloat = false;; ++at) {
    while (qelChar_IsDigit(*at))
      ++at;
    if (*at == '.' || *at == 'e')
      *isFloat = true;
    else if (*at != '+' && *at != '-')
      return at;
  }
}

// INTENDED: halves of surrogate pairs are not joined, each becomes three bytes of its own. The
// conversions of this library take them. Pinned by qelJSONFormatterParse.DoesNotJoinSurrogates.
static void AppendUnit(uint32_t unit, Token& token) {
  if (unit < 0x80) {
    token.Append(static_cast<char>(unit));
    return;
  }
  if (unit < 0x800) {
    token.Append(static_cast<char>(0xC0 | (unit >> 6)));
  } else {
    token.Append(static_cast<char>(0xE0 | (unit >> 12)));
    token.Append(static_cast<char>(0x80 | ((unit >> 6) & 0x3F)));
  }
  token.Append(static_cast<char>(0x80 | (unit & 0x3F)));
}

// Numbers --------------------------------------------------------------------------------

// Whether the number text[0..end-1], which no double holds, is too large rather than too small: by the power
// of ten of its first digit that is not 0.
static bool IsTooLarge(const char* text, const char* end) {
  int64_t power = 0;
  bool leading = true;
  bool fraction = false;
  for (text += *text == '-'; text != end && (qelChar_IsDigit(*text) || *text == '.'); ++text) {
    if (*text == '.') {
      fraction = true;
      continue;
    }
    leading = leading && *text == '0';
    if (leading == fraction)
      power += leading ? -1 : 1;
  }
  int64_t exponent = 0;
  if (text != end && *text == 'e')
    ++text;
  const bool negative = text != end && *text == '-';
  if (text != end && (*text == '-' || *text == '+'))
    ++text;
  for (; text != end && qelChar_IsDigit(*text) && exponent < INT64_MAX / 100; ++text)
    exponent = exponent * 10 + (*text - '0');
  return (negative ? power - exponent : power + exponent) > 0;
}

// As much of text[0..end-1] as is a fraction. False if none of it is.
static bool DeliverFloat(const char* text, const char* end, qelISerialize& target) {
  double value = 0;
  const std::from_chars_result read = std::from_chars(text, end, value);
  if (read.ec == std::errc::invalid_argument)
    return false;
  if (read.ec == std::errc::result_out_of_range) {
    value = IsTooLarge(text, read.ptr) ? std::numeric_limits<double>::infinity() : 0.0;
    value = std::copysign(value, *text == '-' ? -1.0 : 1.0);
  }
  target.Float(value);
  return true;
}

// As much of text[0..end-1] as is a whole number. False if none of it is.
static bool DeliverInteger(const char* text, const char* end, qelISerialize& target) {
  const bool negative = *text == '-';
  if (negative)
    ++text;
  if (text == end || !qelChar_IsDigit(*text))
    return false;
  const uint64_t limit = static_cast<uint64_t>(INT64_MAX) + (negative ? 1 : 0);
  uint64_t value = 0;
  for (; text != end && qelChar_IsDigit(*text); ++text) {
    value = value > limit / 10 ? limit : value * 10 + static_cast<uint64_t>(*text - '0');
    if (value >= limit) {
      value = limit;
      break;
    }
  }
  // INTENDED: the low half is delivered, so 4294967295 comes as -1. Unsigned values that were written
  // come back in this form. Pinned by qelJSONFormatterParse.DeliversTheLowHalfOfALargeNumber.
  target.S32(static_cast<qelLong>(static_cast<uint32_t>(negative ? 0 - value : value)));
  return true;
}

// The machine ------------------------------------------------------------------------------

// Each turn of the loop shows the byte *at to the state of the current frame. A state that does not move
// `at` hands the same byte to the state that it sets.
int qelJSONFormatter::Parse(const char* text, qelISerialize& target, int&, int&) {
  Frame frames[kFrames];
  Frame* const last = frames + kFrames - 1;
  Frame* frame = frames; // the current one
  Token token;
  char quote = '\0';            // what opened the current string
  uint32_t codeUnit = 0;        // the value of the current \u escape so far
  int digits = 0;               // how many of its digits have been seen
  const char* word = "";        // what is left of the current word
  bool isTrue = false;          // the word is "true"
  const char* number = nullptr; // where the current number begins
  bool isFloat = false;         // it has a "." or an "e"

  *frame = kNewFrame;
  const char* at = text != nullptr ? text : "";
  while (*at != '\0') {
    const char c = *at;
    switch (frame->state) {

    case State_Skip:
      if (qelChar_IsSpace(c)) {
        ++at;
      } else if (c == '/') {
        frame->state = State_CommentStart;
        ++at;
      } else {
        frame->state = frame->next;
      }
      break;

    case State_Value:
      if (c == '"' || c == '\'') {
        token.Clear();
        quote = c;
        frame->state = State_String;
        ++at;
      } else if (c == '[') {
        *frame = {State_Skip, State_ArrayItem};
        target.ArrayBegin();
        ++at;
      } else if (c == '{') {
        *frame = {State_Skip, State_MapMember};
        target.MapBegin();
        ++at;
      } else if (IsLetter(c, 't') || IsLetter(c, 'f')) {
        isTrue = IsLetter(c, 't');
        word = isTrue ? "true" : "false";
        frame->state = State_BooleanWord;
      } else if (IsLetter(c, 'n')) {
        word = "null";
        frame->state = State_NullWord;
      } else if (c == '-' || qelChar_IsDigit(c)) {
        number = at;
        frame->state = State_Number;
      } else {
        return Code_NoValue;
      }
      break;

    case State_ValueDone:
      if (frame == frames)
        return Code_Success;
      --frame;
      break;

    case State_NullWord:
      if (*word == '\0') {
        target.Null();
        *frame = kValueDone;
      } else if (IsLetter(c, *word)) {
        ++word;
        ++at;
      } else {
        return Code_NotNull;
      }
      break;

    case State_CommentStart:
      if (c != '*' && c != '/')
        return Code_NoComment;
      frame->state = c == '*' ? State_BlockComment : State_LineComment;
      ++at;
      break;

    case State_BlockComment:
      at = FindByte(at, '*');
      if (*at == '*') {
        frame->state = State_BlockCommentStar;
        ++at;
      }
      break;

    case State_LineComment:
      at = FindByte(at, '\n');
      if (*at == '\n') {
        frame->state = State_Skip;
        ++at;
      }
      break;

    case State_BlockCommentStar:
      // INTENDED: a second star is a plain byte of the comment, so that "**/" does not end it: where
      // a comment ends is a promise to the texts that there are. Pinned by
      // qelJSONFormatterParse.DoesNotEndACommentBehindTwoStars.
      frame->state = c == '/' ? State_Skip : State_BlockComment;
      ++at;
      break;

    case State_String:
      at = AppendPlain(at, quote, token);
      if (*at == quote) {
        target.String(token.Text(), /*raw=*/false);
        *frame = kValueDone;
        ++at;
      } else if (*at == '\\') {
        *frame = {State_Escape, State_String};
        ++at;
      }
      break;

    case State_Escape:
      if (c == 'u') {
        codeUnit = 0;
        digits = 0;
        frame->state = State_Unicode;
      } else if (EscapedByte(c) != '\0') {
        token.Append(EscapedByte(c));
        frame->state = frame->next;
      } else {
        return Code_BadEscape;
      }
      ++at;
      break;

    case State_Unicode:
      if (HexValue(c) < 0)
        return Code_BadEscape;
      codeUnit = codeUnit << 4 | static_cast<uint32_t>(HexValue(c));
      if (++digits == 4) {
        AppendUnit(codeUnit, token);
        frame->state = frame->next;
      }
      ++at;
      break;

    case State_BooleanWord:
      if (*word == '\0') {
        target.Boolean(isTrue);
        *frame = kValueDone;
      } else if (IsLetter(c, *word)) {
        ++word;
        ++at;
      } else {
        return Code_NotBoolean;
      }
      break;

    case State_Number:
      at = SkipNumber(at, &isFloat);
      // INTENDED: a number or a word at the top ends only at a byte behind it; with the text's end it is
      // incomplete. Callers put a blank behind a bare value. Pinned by
      // qelJSONFormatterParse.NeedsAByteBehindAWordOrNumberAtTheTop.
      if (*at == '\0')
        break;
      if (!(isFloat ? DeliverFloat(number, at, target) : DeliverInteger(number, at, target)))
        return Code_BadNumber;
      *frame = kValueDone;
      break;

    case State_ArrayItem:
      if (c == ']') {
        target.ArrayEnd();
        *frame = kValueDone;
        ++at;
        break;
      }
      if (frame == last)
        return Code_TooDeep;
      frame->state = State_ArrayItemDone;
      *++frame = kNewFrame;
      break;

    case State_ArrayItemDone:
      *frame = {State_Skip, State_ArraySeparator};
      break;

    case State_ArraySeparator:
      if (c == ']') {
        target.ArrayEnd();
        *frame = kValueDone;
      } else if (c == ',') {
        *frame = {State_Skip, State_ArrayItem};
      } else {
        return Code_ArraySeparator;
      }
      ++at;
      break;

    case State_MapMember:
      if (c == '}') {
        target.MapEnd();
        *frame = kValueDone;
      } else if (c == '"' || c == '\'') {
        quote = c;
        token.Clear();
        frame->state = State_Key;
      } else {
        return Code_NoKey;
      }
      ++at;
      break;

    case State_Key:
      at = AppendPlain(at, quote, token);
      if (*at == quote) {
        // INTENDED: keys are handed on as raw, so a formatter as the target writes them without
        // quotes. Targets may look at the flag. Pinned by
        // qelJSONFormatterParse.WritesKeysWithoutQuotesIntoAPlainFormatter.
        target.MapKey(token.Text(), /*raw=*/true);
        *frame = {State_Skip, State_Colon};
        ++at;
      } else if (*at == '\\') {
        *frame = {State_Escape, State_Key};
        ++at;
      }
      break;

    case State_Colon:
      if (c != ':')
        return Code_NoColon;
      *frame = {State_Skip, State_MemberValue};
      ++at;
      break;

    case State_MemberValue:
      if (frame == last)
        return Code_TooDeep;
      frame->state = State_MemberValueDone;
      *++frame = kNewFrame;
      break;

    case State_MemberValueDone:
      *frame = {State_Skip, State_MapSeparator};
      break;

    case State_MapSeparator:
      if (c == '}') {
        target.MapEnd();
        *frame = kValueDone;
      } else if (c == ',') {
        *frame = {State_Skip, State_MapMember};
      } else {
        return Code_MapSeparator;
      }
      ++at;
      break;
    }
  }
  const bool done = frame == frames && frame->state == State_Skip && frame->next == State_ValueDone;
  return done ? Code_Success : Code_Incomplete;
}

int qelJSONFormatter::Parse(const char* text, qelISerialize& target) {
  int line = 0;
  int column = 0;
  return Parse(text, target, line, column);
}
