#include <qel/media/ExpressionParser.h>

#include <cstdio>
#include <cstring>

#include <qel/media/PendingStack.h>

#include <qel/containers/qelArray.h>
#include <qel/core/qelChar.h>
#include <qel/media/SearchExpressionEvaluator.h>

// The grammar
//
//   input     [space] "*" [space] end  |  search [space] end
//   search    group  |  chain
//   group     [space] "(" [space] search [space] ")" [space logic space search]
//   chain     relation [space logic space search]
//   relation  word space operator space value
//   word      anything but spaces and ")", at least one byte: "a=b" is a word
//   value     by the operator: a quoted text, "true" or "false", nothing
//
// Leniencies: spaces are optional ahead of "(", inside of the parentheses and at the end. In a
// quoted text a backslash takes the next byte as it is, so "\n" is an n.
// Refusals: a space ahead of a first relation; a keyword without spaces on both sides; an unquoted
// value; an unterminated quote; groups that nest deeper than MaxGroupDepth.
//
// The text is never cut while it is read: a position moves through it, and a scanner that fails puts
// the position back. Searches inside of searches are a loop with a stack of open groups, so neither
// long chains nor deep groups cost stack.

namespace {

enum LogicOperator {
  Logic_None = 0,
  Logic_And = 11,
  Logic_Or = 12,
};

enum OperandValue {
  Operand_Quoted = 1,
  Operand_Boolean = 2,
  Operand_Nothing = 3,
};

bool IsSpace(char c) {
  return qelChar_IsSpace(c) != 0;
}

// Copies the inside of a quoted text without its escaping backslashes, and a terminator.
// REQUIRES: from[0..end-1] does not end in an escaping backslash.
void Unescape(const char* from, const char* end, char* to) {
  while (from != end) {
    if (*from == '\\')
      from++;
    *to++ = *from++;
  }
  *to = '\0';
}

// The next link to be regrouped for this operator at or below node, or null. node and first are
// moved along, so that the walk can go on from the link that it found.
qelLinearExpression* FindRegrouping(qelSearchExpression*& node, int operatorID, bool& first) {
  while (node != nullptr) {
    if (node->IsComposite()) {
      node = static_cast<qelCompositeExpression*>(node)->inner;
      first = true;
      continue;
    }
    if (!node->IsLinear())
      return nullptr;
    qelLinearExpression* const link = static_cast<qelLinearExpression*>(node);
    if (link->operatorID == operatorID && link->right != nullptr && link->right->IsLinear()) {
      // A chain that is one pair and nothing else needs no group.
      const qelLinearExpression* next = static_cast<qelLinearExpression*>(link->right);
      if (!first || next->operatorID != Logic_None)
        return link;
    }
    node = link->right;
    first = false;
  }
  return nullptr;
}

// Regroups until a walk from the root would find nothing more. Going on from the link that was just
// regrouped finds the same links in the same order: those above it did not qualify, and what they
// were judged by has not changed.
void RegroupAll(qelSearchExpression* node, int operatorID) {
  bool first = true;
  while (qelLinearExpression* link = FindRegrouping(node, operatorID, first))
    link->MakeComposite();
}

} // namespace

// clang-format off
const qelExpressionOperand qelDefaultLogicOperands[] = {
    // name           id         valueKind
    {"and",           Logic_And, Operand_Nothing},
    {"or",            Logic_Or,  Operand_Nothing},
    {nullptr,         0,         0},
};

// In the order in which they are tried.
const qelExpressionOperand qelDefaultBinaryOperands[] = {
    // name           id         valueKind
    {"=",             1,         Operand_Quoted},
    {"!=",            2,         Operand_Quoted},
    {"<=",            3,         Operand_Quoted},
    {">=",            4,         Operand_Quoted},
    {">",             5,         Operand_Quoted},
    {"<",             6,         Operand_Quoted},
    {"contains",      7,         Operand_Quoted},
    {"doesNotContain", 8,        Operand_Quoted},
    {"derivedfrom",   9,         Operand_Quoted},
    {"exists",        10,        Operand_Boolean},
    {"like",          13,        Operand_Quoted},
    {nullptr,         0,         0},
};
// clang-format on

qelExpressionParser::qelExpressionParser(const qelCString& text)
    : m_valid(false), m_text(text), m_consumed(0), m_root(nullptr),
      m_logicOperands(qelDefaultLogicOperands), m_binaryOperands(qelDefaultBinaryOperands) {}
qelExpressionParser::qelExpressionParser(const qelExpressionParser&) = default;
qelExpressionParser& qelExpressionParser::operator=(const qelExpressionParser&) = default;

qelExpressionParser::~qelExpressionParser() {
  delete m_root;
}

void qelExpressionParser::SetLogicOperands(const qelExpressionOperand* table) {
  m_logicOperands = table;
}

void qelExpressionParser::SetBinaryOperands(const qelExpressionOperand* table) {
  m_binaryOperands = table;
}

bool qelExpressionParser::Parse() {
  m_valid = ParseExpression();
  ManagePrecedence();
  return m_valid;
}

bool qelExpressionParser::IsValid() const {
  return m_valid;
}

bool qelExpressionParser::Evaluate(qelSearchExpressionEvaluator* evaluator) {
  if (!m_valid)
    return false;
  return m_root == nullptr || m_root->Evaluate(evaluator);
}

bool qelExpressionParser::IsSameAs(qelExpressionParser* other) {
  if (other == nullptr || !m_valid || !other->m_valid || m_root == nullptr ||
      other->m_root == nullptr)
    return false;
  return m_root->IsSameAs(other->m_root);
}

void qelExpressionParser::Display() {
  if (!m_valid)
    return;
  if (m_root != nullptr)
    m_root->Display();
  else
    printf("*");
  printf("\n");
}

qelCString qelExpressionParser::GetSearchCriteriaList() {
  return m_root != nullptr ? m_root->GetSearchCriteriaList(qelCString()) : qelCString();
}

qelArray_t* qelExpressionParser::GetDiscriminantCriteria() {
  qelArray_t* const list = qelArray_New();
  if (m_valid)
    GetDiscriminantCriteria(list, m_root);
  return list;
}

bool qelExpressionParser::GetRelExpressionValue(const char* property, size_t occurrence,
                                                qelCString& value) {
  const qelCString wanted(property);
  qelArray_t* const list = GetDiscriminantCriteria();
  const qelRelExpression* found = nullptr;
  for (size_t i = 0; i < qelArray_GetCount(list) && found == nullptr; i++) {
    const auto* relation = static_cast<const qelRelExpression*>(qelArray_GetAt(list, i));
    if (relation->property.Compare(wanted) == 0 && occurrence-- == 0)
      found = relation;
  }
  qelArray_Delete(list);
  if (found == nullptr)
    return false;
  value = found->value;
  return true;
}

// INTENDED: the left child of a link is not entered, so in (a and b or c) or d the group evaluates
// as a and (b or c). Pinned by ManagePrecedence.LeavesAGroupToTheLeftAsParsed.
// INTENDED: a group at the end of a chain is no link and never regrouped with what is ahead of it,
// so a or b and (c) evaluates as (a or b) and (c). Stored searches are written for that. Pinned by
// ManagePrecedence.TestsAGroupBehindAndAgainstAllThatStandsAhead.
void qelExpressionParser::ManagePrecedence() {
  if (!m_valid)
    return;
  RegroupAll(m_root, Logic_And);
  RegroupAll(m_root, Logic_Or);
}

int qelExpressionParser::GetPropertyID(const qelCString&) {
  return 0;
}

bool qelExpressionParser::OperandSupported(const char*) {
  return true;
}

bool qelExpressionParser::ParseExpression() {
  delete m_root;
  m_root = nullptr;
  const bool complete = (ParseSpacesCharSpaces('*') || ParseSearchExp(&m_root)) && ParseEOI();
  m_text = RemainingText();
  m_consumed = 0;
  return complete;
}

bool qelExpressionParser::ParseSearchExp(qelSearchExpression** out) {
  const size_t start = m_consumed;
  *out = nullptr;
  if (ParseSearchTree(out))
    return true;
  delete *out;
  *out = nullptr;
  m_consumed = start;
  return false;
}

// Any failure inside of nested searches fails them all, so only the caller has something to undo.
bool qelExpressionParser::ParseSearchTree(qelSearchExpression** slot) {
  qelPendingStack<qelSearchExpression**> open; // where the groups stand whose ")" is awaited
  for (;;) {
    if (ParseSpacesCharSpaces('(')) {
      if (open.GetCount() == MaxGroupDepth)
        return false;
      qelCompositeExpression* const group = new qelCompositeExpression;
      *slot = group;
      open.Push(slot);
      slot = &group->inner;
      continue;
    }
    qelLinearExpression* const link = new qelLinearExpression;
    *slot = link;
    if (!ParseRelExp(&link->left))
      return false;
    slot = ParseLogic(link->operatorText, link->operatorID) ? &link->right : nullptr;
    while (slot == nullptr) {
      if (open.IsEmpty())
        return true;
      slot = open.Pop();
      if (!ParseEndOfGroup(slot))
        return false;
    }
  }
}

// Behind the inner search of the group at *slot. When a logic keyword follows the ")", a link takes
// the group's place, and slot becomes its right child, to be parsed; otherwise null.
bool qelExpressionParser::ParseEndOfGroup(qelSearchExpression**& slot) {
  if (!ParseSpacesChar(')'))
    return false;
  qelCString operatorText;
  int operatorID = Logic_None;
  if (!ParseLogic(operatorText, operatorID)) {
    slot = nullptr;
    return true;
  }
  qelLinearExpression* const link = new qelLinearExpression;
  link->left = *slot;
  link->operatorText = operatorText;
  link->operatorID = operatorID;
  *slot = link;
  slot = &link->right;
  return true;
}

bool qelExpressionParser::ParseLogic(qelCString& operatorText, int& operatorID) {
  qelCString ignored; // the value of a keyword that has one
  return ParseOperand(m_logicOperands, operatorText, operatorID, ignored);
}

bool qelExpressionParser::ParseRelExp(qelSearchExpression** out) {
  const size_t start = m_consumed;
  qelRelExpression* const relation = new qelRelExpression;
  *out = relation;
  if (ParseWord(relation->property)) {
    relation->propertyID = GetPropertyID(relation->property);
    if (relation->propertyID != -1 && ParseOperand(m_binaryOperands, relation->operatorText,
                                                   relation->operatorID, relation->value))
      return true;
  }
  delete relation;
  *out = nullptr;
  m_consumed = start;
  return false;
}

bool qelExpressionParser::ParseOperand(const qelExpressionOperand* table, qelCString& operatorText,
                                       int& operatorID, qelCString& value) {
  const size_t start = m_consumed;
  const qelExpressionOperand* row = ParseSpaces() ? FindOperand(table, operatorText) : nullptr;
  if (row != nullptr)
    operatorID = row->id;
  if (row == nullptr || !ParseSpaces()) {
    m_consumed = start;
    return false;
  }
  // INTENDED: a value that is missing does not give back the keyword; a search that ends in a logic
  // keyword of this kind is left complete. Pinned by ParseOperand.KeepsTheKeywordOfAMissingValue.
  switch (row->valueKind) {
  case Operand_Quoted:
    return ParseQuotedValue(value);
  case Operand_Boolean:
    return ParseBoolValue(value);
  default:
    return row->valueKind == Operand_Nothing;
  }
}

// Takes the first row whose keyword stands here, or gives null.
const qelExpressionOperand* qelExpressionParser::FindOperand(const qelExpressionOperand* table,
                                                             qelCString& matched) {
  if (table == nullptr)
    return nullptr;
  for (const qelExpressionOperand* row = table; row->name != nullptr; row++) {
    if (OperandSupported(row->name) && ParseKeyword(row->name, matched))
      return row;
  }
  return nullptr;
}

bool qelExpressionParser::ParseWord(qelCString& word) {
  const char* const bytes = m_text.c_str();
  size_t end = m_consumed;
  while (end < m_text.length() && bytes[end] != ')' && !IsSpace(bytes[end]))
    end++;
  word = qelCString(bytes, m_consumed, end - m_consumed);
  m_consumed = end;
  return !word.IsEmpty();
}

bool qelExpressionParser::ParseQuotedValue(qelCString& value) {
  value.Empty();
  const char* const bytes = m_text.c_str();
  if (bytes[m_consumed] != '"') // The terminator, if nothing is left.
    return false;
  size_t end = m_consumed + 1;
  size_t length = 0;
  for (; end < m_text.length() && bytes[end] != '"'; end++, length++) {
    if (bytes[end] == '\\')
      end++;
  }
  if (end >= m_text.length())
    return false;
  if (length != 0) {
    Unescape(bytes + m_consumed + 1, bytes + end, value.GetWriteBuf(length));
    value.UngetWriteBuf(length);
  }
  m_consumed = end + 1;
  return true;
}

bool qelExpressionParser::ParseBoolValue(qelCString& value) {
  return ParseKeyword("true", value) || ParseKeyword("false", value);
}

bool qelExpressionParser::ParseKeyword(const char* keyword, qelCString& matched) {
  const size_t n = strlen(keyword);
  if (m_text.length() - m_consumed < n || memcmp(m_text.c_str() + m_consumed, keyword, n) != 0)
    return false;
  matched = keyword;
  m_consumed += n;
  return true;
}

bool qelExpressionParser::ParseSpaces() {
  const size_t start = m_consumed;
  SkipSpaces();
  return m_consumed != start;
}

bool qelExpressionParser::ParseSpacesChar(char c) {
  const size_t start = m_consumed;
  SkipSpaces();
  if (m_consumed < m_text.length() && m_text.c_str()[m_consumed] == c) {
    m_consumed++;
    return true;
  }
  m_consumed = start;
  return false;
}

bool qelExpressionParser::ParseSpacesCharSpaces(char c) {
  if (!ParseSpacesChar(c))
    return false;
  SkipSpaces();
  return true;
}

bool qelExpressionParser::ParseEOI() {
  const size_t start = m_consumed;
  SkipSpaces();
  if (m_consumed == m_text.length())
    return true;
  m_consumed = start;
  return false;
}

void qelExpressionParser::GetDiscriminantCriteria(qelArray_t* list,
                                                  qelSearchExpression* expression) {
  qelPendingStack<qelSearchExpression*> pending; // right children of links whose left is a group
  qelSearchExpression* node = expression;
  for (;;) {
    while (node != nullptr) {
      if (node->IsComposite()) {
        node = static_cast<qelCompositeExpression*>(node)->inner;
        continue;
      }
      const qelLinearExpression* link =
          node->IsLinear() ? static_cast<qelLinearExpression*>(node) : nullptr;
      if (link == nullptr || (link->operatorID != Logic_None && link->operatorID != Logic_And))
        break;
      if (link->left != nullptr && !link->left->IsRel()) {
        pending.Push(link->right);
        node = link->left;
        continue;
      }
      if (link->left != nullptr)
        qelArray_Append(list, link->left);
      node = link->right;
    }
    if (pending.IsEmpty())
      return;
    node = pending.Pop();
  }
}

bool qelExpressionParser::ManagePrecedence(qelSearchExpression* expression, int operatorID,
                                           bool first) {
  qelLinearExpression* const link = FindRegrouping(expression, operatorID, first);
  if (link == nullptr)
    return true;
  link->MakeComposite();
  return false;
}

qelCString qelExpressionParser::RemainingText() const {
  return qelCString(m_text.c_str(), m_consumed, m_text.length() - m_consumed);
}

void qelExpressionParser::SkipSpaces() {
  while (m_consumed < m_text.length() && IsSpace(m_text.c_str()[m_consumed]))
    m_consumed++;
}
