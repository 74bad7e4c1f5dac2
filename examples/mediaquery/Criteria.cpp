#include "Criteria.h"

#include <cstring>
#include <vector>

#include "Properties.h"
#include "Text.h"

namespace mediaquery {

// The keywords, for the parser and for the search for faults. A keyword needs no end of its own, so
// the longer of two that begin alike stands first.
enum ValueKind { kQuotedValue = 1, kBooleanWord = 2, kNoValue = 3 };

static const qelExpressionOperand kLogicOperands[] = {
    {"and", 11, kNoValue},
    {"or", 12, kNoValue},
    {nullptr, 0, 0},
};

static const qelExpressionOperand kBinaryOperands[] = {
    {"=", 1, kQuotedValue},           {"!=", 2, kQuotedValue},
    {"<=", 3, kQuotedValue},          {">=", 4, kQuotedValue},
    {">", 5, kQuotedValue},           {"<", 6, kQuotedValue},
    {"contains", 7, kQuotedValue},    {"doesNotContain", 8, kQuotedValue},
    {"derivedfrom", 9, kQuotedValue}, {"exists", 10, kBooleanWord},
    {"like", 13, kQuotedValue},       {nullptr, 0, 0},
};

CriteriaParser::CriteriaParser(const qelCString& criteria) : qelExpressionParser(criteria) {
  SetLogicOperands(kLogicOperands);
  SetBinaryOperands(kBinaryOperands);
}

int CriteriaParser::GetPropertyID(const qelCString& property) {
  return FindProperty(property);
}

//===----------------------------------------------------------------------===//
// The search for a fault walks the same grammar as the parser:
//
//   criteria  [space] "*" [space]
//             search [space]
//   search    [space] "(" [space] search [space] ")" [space logic space search]
//             relation [space logic space search]
//   relation  word space keyword space value
//
// A search is always the last thing in its group, so a count of open groups does
// in place of recursion.
//===----------------------------------------------------------------------===//

namespace {

class FaultFinder {
public:
  explicit FaultFinder(const qelCString& text) : m_text(text.c_str()), m_length(text.length()) {}

  CriteriaFault Find() {
    if (!ScanStar() && m_message.empty())
      while (ScanSearchStart() && ScanSearchEnd()) {
      }
    return {m_at, m_message};
  }

private:
  bool AtEnd() const { return m_at >= m_length; }

  bool AtSpace() const {
    return !AtEnd() && (m_text[m_at] == ' ' || (m_text[m_at] >= 9 && m_text[m_at] <= 13));
  }

  bool At(char c) const { return !AtEnd() && m_text[m_at] == c; }

  // True if there was a space.
  bool SkipSpaces() {
    const size_t start = m_at;
    while (AtSpace())
      ++m_at;
    return m_at != start;
  }

  const qelExpressionOperand* SkipKeyword(const qelExpressionOperand* table) {
    for (const qelExpressionOperand* row = table; row->name != nullptr; ++row) {
      const size_t length = std::strlen(row->name);
      if (m_length - m_at >= length && std::memcmp(m_text + m_at, row->name, length) == 0) {
        m_at += length;
        return row;
      }
    }
    return nullptr;
  }

  // Always false.
  bool Fail(const std::string& message) {
    m_message = message;
    return false;
  }

  bool FailAt(size_t offset, const std::string& message) {
    m_at = offset;
    return Fail(message);
  }

  // True if the criteria are "*" and nothing else.
  bool ScanStar() {
    SkipSpaces();
    if (!At('*')) {
      m_at = 0;
      return false;
    }
    ++m_at;
    SkipSpaces();
    return AtEnd() || Fail("\"*\" stands alone, nothing may follow it");
  }

  // Opening parentheses, then one relation.
  bool ScanSearchStart() {
    const size_t start = m_at;
    SkipSpaces();
    while (At('(')) {
      if (m_groups.size() >= qelExpressionParser::MaxGroupDepth)
        return Fail("groups are nested too deep here");
      m_groups.push_back(m_at);
      ++m_at;
      SkipSpaces();
    }
    const bool afterBlanks = m_groups.empty() && m_at != start;
    if (AtEnd() || At(')'))
      return Fail("a test is missing here, such as dc:title contains \"sea\"");
    if (afterBlanks)
      return FailAt(start, "a blank may not stand ahead of a test");
    return ScanRelation();
  }

  bool ScanRelation() {
    const size_t word = m_at;
    while (!AtEnd() && !AtSpace() && !At(')'))
      ++m_at;
    const qelCString name(m_text + word, m_at - word);
    if (FindProperty(name) < 0)
      return FailAt(word, DescribeUnknown(name));
    if (!SkipSpaces())
      return Fail("a blank and an operator are missing here");
    const qelExpressionOperand* row = SkipKeyword(kBinaryOperands);
    if (row == nullptr)
      return Fail("an operator is missing here: " + ListKeywords(kBinaryOperands));
    if (!SkipSpaces())
      return Fail("a blank is missing behind the operator");
    return row->valueKind == kQuotedValue ? ScanQuotedValue() : ScanBooleanWord();
  }

  bool ScanQuotedValue() {
    const size_t start = m_at;
    if (!At('"'))
      return Fail("a value in double quotes is missing here");
    for (++m_at; !AtEnd() && !At('"'); ++m_at)
      if (At('\\'))
        ++m_at;
    if (AtEnd())
      return FailAt(start, "the quote that begins here is not closed");
    ++m_at;
    return true;
  }

  bool ScanBooleanWord() {
    for (const char* word : {"true", "false"}) {
      const size_t length = std::strlen(word);
      if (m_length - m_at >= length && std::memcmp(m_text + m_at, word, length) == 0) {
        m_at += length;
        return true;
      }
    }
    return Fail("true or false is missing here");
  }

  // Closing parentheses, then a logic keyword. False at the end of the text, too.
  bool ScanSearchEnd() {
    for (;;) {
      const bool spaces = SkipSpaces();
      if (spaces && SkipKeyword(kLogicOperands) != nullptr)
        return SkipSpaces() || Fail("a blank and another test are missing here");
      if (At(')')) {
        if (m_groups.empty())
          return Fail("this parenthesis closes nothing");
        m_groups.pop_back();
        ++m_at;
        continue;
      }
      if (!AtEnd())
        return Fail(spaces ? "\"and\", \"or\" or the end is missing here"
                           : "a blank or the end is missing here");
      if (!m_groups.empty())
        FailAt(m_groups.back(), "the parenthesis that begins here is not closed");
      return false;
    }
  }

  static std::string ListKeywords(const qelExpressionOperand* table) {
    std::string list;
    for (; table->name != nullptr; ++table)
      list += (list.empty() ? "" : " ") + std::string(table->name);
    return list;
  }

  static std::string DescribeUnknown(const qelCString& name) {
    if (name.FindFirstOf("=<>\"", 0) < name.length())
      return "there is no such property (an operator needs a blank on both sides)";
    std::string message = "there is no such property; there are";
    for (size_t i = 0; i < GetPropertyCount(); ++i)
      message += std::string(" ") + GetProperty(i).name;
    return message;
  }

  const char* m_text;
  size_t m_length;
  size_t m_at = 0;              // the scanner's place
  std::string m_message;        // the fault; empty: none so far
  std::vector<size_t> m_groups; // where the open groups begin
};

} // namespace

CriteriaFault FindCriteriaFault(const qelCString& text) {
  return FaultFinder(text).Find();
}

// The character at text[0..n-1] as it is shown: one column each, whatever it is.
static std::string ShowCharacter(const char* text, size_t* length, size_t n) {
  *length = GetCharacterLength(text, n);
  if (*length == 0) {
    *length = 1;
    return "?";
  }
  const bool isControl = *length == 1 && (static_cast<unsigned char>(*text) < 32 || *text == 127);
  return isControl ? " " : std::string(text, *length);
}

std::string FormatCriteriaFault(const qelCString& text, const CriteriaFault& fault) {
  const size_t kColumnsAhead = 40;
  const size_t kColumnsBehind = 30;
  std::vector<std::string> columns;
  size_t caret = 0; // column of the fault
  bool cut = false;
  for (size_t i = 0; i < text.length();) {
    if (i <= fault.offset)
      caret = columns.size();
    cut = columns.size() > caret + kColumnsBehind;
    if (cut)
      break;
    size_t length = 0;
    columns.push_back(ShowCharacter(text.c_str() + i, &length, text.length() - i));
    i += length;
  }
  if (fault.offset >= text.length())
    caret = columns.size();
  const size_t first = caret > kColumnsAhead ? caret - kColumnsAhead : 0;
  std::string line = first != 0 ? "..." : "";
  const std::string indent((first != 0 ? 3 : 0) + caret - first, ' ');
  for (size_t i = first; i < columns.size(); ++i)
    line += columns[i];
  if (cut)
    line += "...";
  return "at character " + std::to_string(caret + 1) + ": " + fault.message + "\n  " + line +
         "\n  " + indent + "^";
}

} // namespace mediaquery
