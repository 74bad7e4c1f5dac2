#ifndef QEL_TESTS_MEDIA_SEARCHSUPPORT_H
#define QEL_TESTS_MEDIA_SEARCHSUPPORT_H
//===----------------------------------------------------------------------===//
// What the tests of the search expressions share: a parser whose inside can be
// seen, a text form of trees that shows every link and group, and a gauge of the
// stack that is in use.
//===----------------------------------------------------------------------===//

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <qel/core/CString.h>
#include <qel/media/ExpressionParser.h>
#include <qel/media/SearchExpression.h>
#include <qel/media/SearchExpressionEvaluator.h>

inline std::string ToStd(const qelCString& text) {
  return std::string(text.c_str(), text.length());
}

inline qelCString ToQel(const std::string& text) {
  return qelCString(text.data(), text.size());
}

// A parser with its protected half in the open. Hooks answer what the tests set, and what they are
// asked is written down.
class OpenParser : public qelExpressionParser {
public:
  explicit OpenParser(const std::string& text) : qelExpressionParser(ToQel(text)) {}
  OpenParser(const OpenParser&) = default;
  OpenParser& operator=(const OpenParser&) = default;
  virtual ~OpenParser() = default;

  using qelExpressionParser::GetDiscriminantCriteria;
  using qelExpressionParser::m_root;
  using qelExpressionParser::m_valid;
  using qelExpressionParser::ManagePrecedence;
  using qelExpressionParser::ParseBoolValue;
  using qelExpressionParser::ParseEOI;
  using qelExpressionParser::ParseExpression;
  using qelExpressionParser::ParseKeyword;
  using qelExpressionParser::ParseOperand;
  using qelExpressionParser::ParseQuotedValue;
  using qelExpressionParser::ParseRelExp;
  using qelExpressionParser::ParseSearchExp;
  using qelExpressionParser::ParseSpaces;
  using qelExpressionParser::ParseSpacesChar;
  using qelExpressionParser::ParseSpacesCharSpaces;
  using qelExpressionParser::ParseWord;

  std::string Rest() const { return ToStd(RemainingText()); }

  std::function<int(const std::string&)> propertyID;  // none: 0
  std::function<bool(const std::string&)> supported;  // none: true
  std::vector<std::pair<char, std::string>>* asked{}; // 'P' properties, 'O' operators, in order

protected:
  int GetPropertyID(const qelCString& property) override {
    if (asked != nullptr)
      asked->emplace_back('P', ToStd(property));
    return propertyID ? propertyID(ToStd(property)) : 0;
  }
  bool OperandSupported(const char* name) override {
    if (asked != nullptr)
      asked->emplace_back('O', name);
    return supported ? supported(name) : true;
  }
};

// Every node of a tree: [left op right] a link, (inner) a group, property op "value" a relation, ?
// any other class. Without recursion, since trees may be deep.
inline std::string Dump(qelSearchExpression* tree) {
  struct Piece {
    qelSearchExpression* node;
    std::string text; // without a node
  };
  std::string out;
  std::vector<Piece> todo;
  todo.push_back({tree, tree == nullptr ? "null" : ""});
  while (!todo.empty()) {
    const Piece piece = std::move(todo.back());
    todo.pop_back();
    if (piece.node == nullptr) {
      out += piece.text;
    } else if (piece.node->IsRel()) {
      const auto* rel = static_cast<qelRelExpression*>(piece.node);
      out +=
          ToStd(rel->property) + ' ' + ToStd(rel->operatorText) + " \"" + ToStd(rel->value) + '"';
    } else if (piece.node->IsComposite()) {
      out += '(';
      todo.push_back({nullptr, ")"});
      todo.push_back({static_cast<qelCompositeExpression*>(piece.node)->inner, ""});
    } else if (piece.node->IsLinear()) {
      const auto* link = static_cast<qelLinearExpression*>(piece.node);
      out += '[';
      todo.push_back({nullptr, "]"});
      if (link->right != nullptr) {
        todo.push_back({link->right, ""});
        todo.push_back({nullptr, " "});
      }
      if (link->operatorID != 0 || !link->operatorText.IsEmpty())
        todo.push_back({nullptr, ' ' + ToStd(link->operatorText)});
      todo.push_back({link->left, ""});
    } else {
      out += '?';
    }
  }
  return out;
}

// How far apart the stack frames are that call Mark.
class StackGauge {
public:
  void Mark() {
    const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    m_low = m_low == 0 ? here : std::min(m_low, here);
    m_high = std::max(m_high, here);
  }
  uintptr_t Spread() const { return m_high - m_low; }
  bool IsMarked() const { return m_low != 0; }

private:
  uintptr_t m_low = 0;
  uintptr_t m_high = 0;
};

// A stack that no recursion over a long chain keeps within, and any loop does.
const uintptr_t kSmallStack = 64 * 1024;

// An evaluator that asks a function.
class AskingEvaluator : public qelSearchExpressionEvaluator {
public:
  explicit AskingEvaluator(std::function<bool(qelRelExpression*)> answer)
      : m_answer(std::move(answer)) {}
  bool EvaluateRelExpression(qelRelExpression* expression) override { return m_answer(expression); }

private:
  std::function<bool(qelRelExpression*)> m_answer;
};

#endif
