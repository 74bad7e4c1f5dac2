#include <qel/media/SearchExpression.h>

#include <cstdio>
#include <cstring>
#include <typeinfo>

#include <qel/media/CriteriaList.h>
#include <qel/media/PendingStack.h>

#include <qel/core/qelMatch.h>
#include <qel/core/qelNum.h>
#include <qel/media/SearchExpressionEvaluator.h>

// Walking a tree
//
// Grouping by precedence nests the links of a chain of n relations up to n deep, so no operation
// here may recurse from a link or group into its children. Each walks the whole tree below it in
// one loop, in exactly the order of the recursion that it stands for, and calls virtual operations
// on leaves alone. A link or group whose class a client has derived counts as a leaf, so that its
// overrides are called as they would be by recursion; the walk below it is one of its own.

namespace {

enum Kind {
  Kind_Relation = 1,
  Kind_Composite = 2,
  Kind_Linear = 3,
};

enum Operator {
  Operator_None = 0,
  Operator_Equal = 1,
  Operator_NotEqual = 2,
  Operator_AtMost = 3,
  Operator_AtLeast = 4,
  Operator_Greater = 5,
  Operator_Less = 6,
  Operator_Contains = 7,
  Operator_DoesNotContain = 8,
  Operator_DerivedFrom = 9,
  Operator_Exists = 10,
  Operator_Or = 12,
  Operator_Like = 13,
};

enum ValueKind {
  Value_Unknown = 0,
  Value_Integer = 1,
  Value_Text = 2,
  Value_Date = 3,
  Value_Double = 4,
};

// The node as T if T is exactly its class, otherwise null. Addresses are compared, not names: an
// object whose class was built without type information then simply differs from T.
template <typename T>
T* ExactCast(qelSearchExpression* node) {
  if (node == nullptr)
    return nullptr;
  const std::type_info* const actual = &typeid(*node);
  return actual == &typeid(T) ? static_cast<T*>(node) : nullptr;
}

// Where a walk begins, and what it takes a node for. The object whose method is running is a link
// or group in any case: a derived class may have called its base's method.
class Walk {
public:
  explicit Walk(qelLinearExpression* link) : m_root(link), m_link(link), m_group(nullptr) {}
  explicit Walk(qelCompositeExpression* group) : m_root(group), m_link(nullptr), m_group(group) {}

  qelSearchExpression* Root() const { return m_root; }
  qelLinearExpression* AsLink(qelSearchExpression* node) const {
    return node == m_root ? m_link : ExactCast<qelLinearExpression>(node);
  }
  qelCompositeExpression* AsGroup(qelSearchExpression* node) const {
    return node == m_root ? m_group : ExactCast<qelCompositeExpression>(node);
  }

private:
  qelSearchExpression* m_root;
  qelLinearExpression* m_link;     // m_root if it is a link
  qelCompositeExpression* m_group; // m_root if it is a group
};

// Deletes a whole tree. The way back up is kept in the left pointers of the links, which are about
// to go anyway, so destruction needs no memory.
void DeleteTree(qelSearchExpression* node) {
  qelSearchExpression* above = nullptr; // chain, by left, of the links whose left tree is going
  for (;;) {
    if (qelCompositeExpression* group = ExactCast<qelCompositeExpression>(node)) {
      node = group->inner;
      group->inner = nullptr;
      delete group;
      continue;
    }
    if (qelLinearExpression* link = ExactCast<qelLinearExpression>(node)) {
      node = link->left;
      link->left = above;
      above = link;
      continue;
    }
    delete node;
    if (above == nullptr)
      return;
    qelLinearExpression* link = static_cast<qelLinearExpression*>(above);
    above = link->left;
    node = link->right;
    link->left = nullptr;
    link->right = nullptr;
    delete link;
  }
}

// Whether the result of a link's left child is the link's own, so that its right child is not asked.
bool IsDecidedByLeft(const qelLinearExpression* link, bool leftResult) {
  if (link->operatorID == Operator_None || link->right == nullptr)
    return true;
  return leftResult == (link->operatorID == Operator_Or);
}

bool EvaluateTree(const Walk& walk, qelSearchExpressionEvaluator* evaluator) {
  qelSearchExpression* node = walk.Root();
  qelPendingStack<qelLinearExpression*> pending; // links whose left child is being evaluated
  for (;;) {
    bool result = true; // of an empty link or group
    while (node != nullptr) {
      if (qelLinearExpression* link = walk.AsLink(node)) {
        node = link->left;
        if (node != nullptr)
          pending.Push(link);
      } else if (qelCompositeExpression* group = walk.AsGroup(node)) {
        node = group->inner;
      } else {
        result = node->Evaluate(evaluator);
        node = nullptr;
      }
    }
    while (node == nullptr) {
      if (pending.IsEmpty())
        return result;
      const qelLinearExpression* link = pending.Pop();
      if (!IsDecidedByLeft(link, result))
        node = link->right;
    }
  }
}

void DisplayTree(const Walk& walk) {
  qelSearchExpression* node = walk.Root();
  qelPendingStack<qelSearchExpression*> pending; // links and groups whose first child is printed
  for (;;) {
    while (node != nullptr) {
      if (qelLinearExpression* link = walk.AsLink(node)) {
        pending.Push(link);
        node = link->left;
      } else if (qelCompositeExpression* group = walk.AsGroup(node)) {
        node = group->inner;
        if (node != nullptr) {
          printf("(");
          pending.Push(group);
        }
      } else {
        node->Display();
        node = nullptr;
      }
    }
    if (pending.IsEmpty())
      return;
    qelSearchExpression* done = pending.Pop();
    if (const qelLinearExpression* link = walk.AsLink(done)) {
      if (!link->operatorText.IsEmpty())
        printf(" %s ", link->operatorText.c_str());
      node = link->right;
    } else {
      printf(")");
    }
  }
}

qelCString ListTree(const Walk& walk, const qelCString& before) {
  qelSearchExpression* node = walk.Root();
  qelCriteriaList list(before);
  qelPendingStack<qelSearchExpression*> pending; // right children still to be listed
  for (;;) {
    while (node != nullptr) {
      if (const qelRelExpression* relation = ExactCast<qelRelExpression>(node)) {
        list.AddProperty(relation->property);
        node = nullptr;
      } else if (qelLinearExpression* link = walk.AsLink(node)) {
        if (link->right != nullptr)
          pending.Push(link->right);
        node = link->left;
      } else if (qelCompositeExpression* group = walk.AsGroup(node)) {
        node = group->inner;
      } else {
        list.Reset(node->GetSearchCriteriaList(list.GetText()));
        node = nullptr;
      }
    }
    if (pending.IsEmpty())
      return list.GetText();
    node = pending.Pop();
  }
}

// Two links whose left trees are being compared.
struct LinkPair {
  qelLinearExpression* one;
  qelLinearExpression* other;
};

// Goes down one level: on true, one and other are the pair to be compared next, or both null when
// this pair is the same already. False: they are not the same.
bool DescendPair(const Walk& walk, qelSearchExpression*& one, qelSearchExpression*& other,
                 qelPendingStack<LinkPair>& pending) {
  if (qelCompositeExpression* group = walk.AsGroup(one)) {
    if (other->GetType() != Kind_Composite)
      return false;
    one = group->inner;
    other = static_cast<qelCompositeExpression*>(other)->inner;
  } else if (qelLinearExpression* link = walk.AsLink(one)) {
    if (other->GetType() != Kind_Linear)
      return false;
    qelLinearExpression* otherLink = static_cast<qelLinearExpression*>(other);
    if (link->left != nullptr && link->operatorID != otherLink->operatorID)
      return false;
    if (link->left != nullptr)
      pending.Push({link, otherLink});
    one = link->left;
    other = otherLink->left;
  } else {
    const bool same = one->IsSameAs(other);
    one = nullptr;
    other = nullptr;
    return same;
  }
  return (one == nullptr) == (other == nullptr);
}

bool IsSameTree(const Walk& walk, qelSearchExpression* other) {
  if (other == nullptr)
    return false;
  qelSearchExpression* one = walk.Root();
  qelPendingStack<LinkPair> pending;
  for (;;) {
    while (one != nullptr) {
      if (!DescendPair(walk, one, other, pending))
        return false;
    }
    if (pending.IsEmpty())
      return true;
    const LinkPair links = pending.Pop();
    one = links.one->right;
    other = links.other->right;
    if ((one == nullptr) != (other == nullptr))
      return false;
  }
}

// Whether a text begins with a value that is not empty, case regarded.
bool BeginsWith(const char* text, const qelCString& value) {
  const size_t n = value.length();
  return n != 0 && strlen(text) >= n && memcmp(text, value.c_str(), n) == 0;
}

// Whether a text is exactly the given one.
bool IsExactly(const qelCString& text, const char* expected) {
  const size_t n = strlen(expected);
  return text.length() == n && memcmp(text.c_str(), expected, n) == 0;
}

// The six comparisons; any other operator is false.
template <typename T>
bool CompareBy(int operatorID, const T& candidate, const T& value) {
  switch (operatorID) {
  case Operator_Equal:
    return candidate == value;
  case Operator_NotEqual:
    return candidate != value;
  case Operator_AtMost:
    return candidate <= value;
  case Operator_AtLeast:
    return candidate >= value;
  case Operator_Greater:
    return candidate > value;
  case Operator_Less:
    return candidate < value;
  default:
    return false;
  }
}

} // namespace

// qelSearchExpression

qelSearchExpression::qelSearchExpression() : type(0) {}
qelSearchExpression::qelSearchExpression(int kind) : type(kind) {}
qelSearchExpression::qelSearchExpression(const qelSearchExpression&) = default;
qelSearchExpression& qelSearchExpression::operator=(const qelSearchExpression&) = default;
qelSearchExpression::~qelSearchExpression() = default;

bool qelSearchExpression::IsComposite() {
  return false;
}

bool qelSearchExpression::IsRel() {
  return false;
}

bool qelSearchExpression::IsLinear() {
  return false;
}

int qelSearchExpression::GetType() {
  return type;
}

// qelRelExpression

qelRelExpression::qelRelExpression()
    : qelSearchExpression(Kind_Relation), propertyID(0), operatorID(Operator_None), longValue(0),
      doubleValue(0), valueKind(Value_Unknown) {}
qelRelExpression::qelRelExpression(const qelRelExpression&) = default;
qelRelExpression& qelRelExpression::operator=(const qelRelExpression&) = default;
qelRelExpression::~qelRelExpression() = default;

void qelRelExpression::Display() {
  printf("%s %s \"%s\"", property.c_str(), operatorText.c_str(), value.c_str());
}

// INTENDED: "b" is not added to "ab,", because "b," stands in it. Callers compare the lists as they
// have always been. Pinned by GetSearchCriteriaList.TakesTheEndOfALongerNameForTheName.
qelCString qelRelExpression::GetSearchCriteriaList(const qelCString& list) {
  const qelCString item = property + ',';
  if (list.Contains(item))
    return list;
  return list + item;
}

bool qelRelExpression::Evaluate(qelSearchExpressionEvaluator* evaluator) {
  return evaluator->EvaluateRelExpression(this);
}

bool qelRelExpression::IsRel() {
  return true;
}

// INTENDED: neither property nor operator is compared; a stored search with "*" for a value stands
// for all searches of its shape. Pinned by RelExpressionIsSameAs.ComparesValuesAlone.
bool qelRelExpression::IsSameAs(qelSearchExpression* other) {
  if (other == nullptr || other->GetType() != Kind_Relation)
    return false;
  const qelCString& otherValue = static_cast<qelRelExpression*>(other)->value;
  return IsExactly(otherValue, "*") || value.Compare(otherValue) == 0;
}

// INTENDED: "derivedfrom" and "like" regard case, the other operators do not. Pinned by
// MatchString.RegardsCaseInDerivedFromAndLikeOnly.
// INTENDED: no text contains the empty value or is derived from it, though every text begins with
// it. Pinned by MatchString.FindsTheEmptyValueNowhere.
bool qelRelExpression::MatchString(const char* candidate) {
  if (!ValidateValue(Value_Text, candidate))
    return false;
  if (operatorID == Operator_Exists)
    return true;
  if (candidate == nullptr)
    candidate = "";
  switch (operatorID) {
  case Operator_Equal:
    return value.CompareNoCase(candidate) == 0;
  case Operator_NotEqual:
    return value.CompareNoCase(candidate) != 0;
  case Operator_Contains:
    return qelCString(candidate).FindNoCase(value, 0) != qelCString::npos;
  case Operator_DoesNotContain:
    return qelCString(candidate).FindNoCase(value, 0) == qelCString::npos;
  case Operator_DerivedFrom:
    return BeginsWith(candidate, value);
  case Operator_Like:
    return qelMatch_WildcardSimple(value.c_str(), candidate) == 1;
  default: // Order tests do not apply to text.
    return false;
  }
}

// An "exists" relation is text, so ValidateValue refuses it to the typed tests. It gets past only
// where a caller has set valueKind, and then the gate's answer is the result.
bool qelRelExpression::MatchInt(const qelCString& candidate) {
  if (!ValidateValue(Value_Integer, candidate.c_str()))
    return false;
  if (operatorID == Operator_Exists)
    return true;
  qelLong number = 0;
  if (!candidate.ToLong(&number, 10))
    return false;
  return CompareBy(operatorID, number, longValue);
}

bool qelRelExpression::MatchDouble(const qelCString& candidate) {
  if (!ValidateValue(Value_Double, candidate.c_str()))
    return false;
  if (operatorID == Operator_Exists)
    return true;
  double number = 0;
  if (qelNum_ToDouble(candidate.c_str(), &number) != 0)
    return false;
  return CompareBy(operatorID, number, doubleValue);
}

bool qelRelExpression::MatchDate(const qelCString& candidate) {
  if (!ValidateValue(Value_Date, candidate.c_str()))
    return false;
  if (operatorID == Operator_Exists)
    return true;
  qelDateTime date;
  if (!ConvertToDateTime(candidate.c_str(), date))
    return false;
  return CompareBy(operatorID, date, dateValue);
}

bool qelRelExpression::MatchDate(const qelDateTime& candidate) {
  if (!ValidateValue(Value_Date, candidate.IsValid() ? "1" : nullptr))
    return false;
  if (operatorID == Operator_Exists)
    return true;
  return CompareBy(operatorID, candidate, dateValue);
}

// INTENDED: a value passes for one type alone, so "2" is no floating number. Evaluators try one test
// after the other and rely on it. Pinned by MatchDouble.WantsAFloatingValueAndCandidate.
bool qelRelExpression::ValidateValue(int kind, const char* candidate) {
  if (valueKind == Value_Unknown)
    ClassifyValue();
  if (valueKind != kind && kind != Value_Text)
    return false;
  if (operatorID != Operator_Exists)
    return true;
  const bool isThere = candidate != nullptr && candidate[0] != '\0';
  return isThere == IsExactly(value, "true");
}

// INTENDED: a day that is missing is day 0, the last of the month before; a zone is dropped, so the
// date is a local one. Pinned by MatchDate.TakesAMonthForTheLastDayBeforeIt and
// ConvertToDateTime.BuildsALocalDateFromIsoText.
bool qelRelExpression::ConvertToDateTime(const char* text, qelDateTime& date) {
  int fields[9];
  if (qelNum_ParseISODateTime(text, fields) != 0)
    return false;
  date =
      qelDateTime(static_cast<uint16_t>(fields[2]), static_cast<qelDateTime::Month>(fields[1] - 1),
                  fields[0], static_cast<uint16_t>(fields[3]), static_cast<uint16_t>(fields[4]),
                  static_cast<uint16_t>(fields[5]), static_cast<uint16_t>(fields[6]));
  return date.IsValid();
}

void qelRelExpression::ClassifyValue() {
  if (operatorID == Operator_Exists) {
    valueKind = Value_Text;
    return;
  }
  qelLong integer = 0;
  if (qelNum_ToS32Dec(value.c_str(), &integer) == 0) {
    valueKind = Value_Integer;
    longValue = integer;
    return;
  }
  double number = 0;
  if (qelNum_ToDouble(value.c_str(), &number) != 0) {
    valueKind = ConvertToDateTime(value.c_str(), dateValue) ? Value_Date : Value_Text;
    return;
  }
  valueKind = Value_Double;
  doubleValue = number;
}

// qelLinearExpression

qelLinearExpression::qelLinearExpression()
    : qelSearchExpression(Kind_Linear), left(nullptr), operatorID(Operator_None), right(nullptr) {}
qelLinearExpression::qelLinearExpression(const qelLinearExpression&) = default;
qelLinearExpression& qelLinearExpression::operator=(const qelLinearExpression&) = default;

qelLinearExpression::~qelLinearExpression() {
  DeleteTree(left);
  DeleteTree(right);
}

void qelLinearExpression::Display() {
  DisplayTree(Walk(this));
}

qelCString qelLinearExpression::GetSearchCriteriaList(const qelCString& list) {
  return ListTree(Walk(this), list);
}

bool qelLinearExpression::Evaluate(qelSearchExpressionEvaluator* evaluator) {
  return EvaluateTree(Walk(this), evaluator);
}

bool qelLinearExpression::IsLinear() {
  return true;
}

bool qelLinearExpression::IsSameAs(qelSearchExpression* other) {
  return IsSameTree(Walk(this), other);
}

void qelLinearExpression::MakeComposite() {
  if (right == nullptr || !right->IsLinear())
    return;
  qelLinearExpression* const next = static_cast<qelLinearExpression*>(right);
  qelLinearExpression* const pair = new qelLinearExpression;
  pair->left = left;
  pair->operatorText = operatorText;
  pair->operatorID = operatorID;
  pair->right = next;
  qelCompositeExpression* const group = new qelCompositeExpression;
  group->inner = pair;

  left = group;
  operatorText = next->operatorText;
  operatorID = next->operatorID;
  right = next->right;

  next->operatorText.Empty();
  next->operatorID = Operator_None;
  next->right = nullptr;
}

// qelCompositeExpression

qelCompositeExpression::qelCompositeExpression()
    : qelSearchExpression(Kind_Composite), inner(nullptr) {}
qelCompositeExpression::qelCompositeExpression(const qelCompositeExpression&) = default;
qelCompositeExpression& qelCompositeExpression::operator=(const qelCompositeExpression&) = default;

qelCompositeExpression::~qelCompositeExpression() {
  DeleteTree(inner);
}

void qelCompositeExpression::Display() {
  DisplayTree(Walk(this));
}

qelCString qelCompositeExpression::GetSearchCriteriaList(const qelCString& list) {
  return ListTree(Walk(this), list);
}

bool qelCompositeExpression::Evaluate(qelSearchExpressionEvaluator* evaluator) {
  return EvaluateTree(Walk(this), evaluator);
}

bool qelCompositeExpression::IsComposite() {
  return true;
}

bool qelCompositeExpression::IsSameAs(qelSearchExpression* other) {
  return IsSameTree(Walk(this), other);
}
