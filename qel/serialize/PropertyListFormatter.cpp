#include <qel/serialize/PropertyListFormatter.h>

#include <cstdlib>

#include <qel/core/qelMem.h>
#include <qel/serialize/qelMediaPropertyList.h>

static void LinkAtHead(qelPropertyList* list, qelProperty* property) {
  property->next = list->first;
  list->first = property;
}

// A property can only be freed with a list.
static void DropProperty(qelProperty* property) {
  qelPropertyList* list = qelPropertyList_New();
  LinkAtHead(list, property);
  qelPropertyList_Release(list);
}

qelPropertyListFormatter::qelPropertyListFormatter()
    : m_property(nullptr), m_stack(nullptr), m_list(nullptr), m_depth(0), m_valueIndex(0) {}

qelPropertyListFormatter::~qelPropertyListFormatter() {
  free(m_stack);
}

int qelPropertyListFormatter::MapBegin() {
  Push();
  return 0;
}

int qelPropertyListFormatter::MapKey(const char* key, bool /*raw*/) {
  // INTENDED: in a map in a map this is the inner list already, so the outer property gets lost with it.
  // Readers don't expect a member that is a map. Pinned by
  // PropertyListFormatterNestedMap.VanishesWithItsMember.
  LinkPending();
  m_property = qelProperty_New(key, 1);
  m_valueIndex = 0;
  return 0;
}

int qelPropertyListFormatter::MapEnd() {
  LinkPending();
  // INTENDED: the inner list is left alone. A subclass may have taken it with Pop. Pinned by
  // PropertyListFormatterNestedMap.LeavesTheInnerListToWhoeverTookIt.
  if (m_depth != 0)
    m_list = m_stack[--m_depth];
  return 0;
}

int qelPropertyListFormatter::ArrayBegin() {
  return 0;
}

int qelPropertyListFormatter::ArrayItemSeparator() {
  return 0;
}

int qelPropertyListFormatter::ArrayEnd() {
  return 0;
}

int qelPropertyListFormatter::String(const qelWChar* value, bool /*raw*/) {
  if (MakeRoom())
    qelProperty_Set_wcharPtr(m_property, value, /*copy=*/1, m_valueIndex++);
  return 0;
}

int qelPropertyListFormatter::String(const char* value, bool /*raw*/) {
  if (MakeRoom())
    qelProperty_Set_charPtr(m_property, value, /*copy=*/1, m_valueIndex++);
  return 0;
}

int qelPropertyListFormatter::Boolean(bool value) {
  return U32(value ? 1 : 0);
}

int qelPropertyListFormatter::U32(qelULong value) {
  if (MakeRoom())
    qelProperty_Set_uint32(m_property, static_cast<uint32_t>(value), m_valueIndex++);
  return 0;
}

// INTENDED: a number below 0 comes out as a large one. Lists know no signed kind, and readers that
// expect one take the bits. Pinned by PropertyListFormatter.KeepsValuesOfEveryKind.
int qelPropertyListFormatter::S32(qelLong value) {
  return U32(static_cast<qelULong>(value));
}

int qelPropertyListFormatter::U64(unsigned long long value) {
  if (MakeRoom())
    qelProperty_Set_uint64(m_property, value, m_valueIndex++);
  return 0;
}

int qelPropertyListFormatter::S64(long long value) {
  return U64(static_cast<unsigned long long>(value));
}

int qelPropertyListFormatter::Float(double value) {
  if (MakeRoom())
    qelProperty_Set_double(m_property, value, m_valueIndex++);
  return 0;
}

int qelPropertyListFormatter::Null() {
  return 0;
}

qelPropertyList* qelPropertyListFormatter::Reset() {
  // INTENDED: the pending property stays out of the list and pending. What is handed over holds whole
  // members alone. Pinned by PropertyListFormatterReset.LeavesThePendingPropertyPending.
  qelPropertyList* list = m_list;
  m_list = m_depth != 0 ? m_stack[0] : nullptr;
  m_depth = 0;
  return list;
}

void qelPropertyListFormatter::Push() {
  if (m_list != nullptr) {
    const size_t size = (size_t(m_depth) + 1) * sizeof *m_stack;
    m_stack = static_cast<qelPropertyList**>(qelMem_Realloc(m_stack, size));
    m_stack[m_depth++] = m_list;
  }
  m_list = qelPropertyList_New();
}

qelPropertyList* qelPropertyListFormatter::Pop() {
  qelPropertyList* list = m_list;
  if (m_depth != 0)
    m_list = m_stack[--m_depth];
  return list;
}

// INTENDED: the pending property becomes the first of the current list, so the order of events is
// reversed, with each reading once more. Lists are looked up by key; of two properties with one key the
// later one counts. Pinned by PropertyListFormatter.ReversesAListThatIsPlayedAndBuiltAgain.
void qelPropertyListFormatter::LinkPending() {
  if (m_property == nullptr)
    return;
  if (m_list != nullptr)
    LinkAtHead(m_list, m_property);
  else
    DropProperty(m_property);
  m_property = nullptr;
}

// Whether there is a pending property; it then has a value at m_valueIndex.
bool qelPropertyListFormatter::MakeRoom() {
  if (m_property == nullptr)
    return false;
  qelProperty_Resize(m_property, m_valueIndex + 1);
  return true;
}

// Walks -------------------------------------------------------------------------

int qelPropertyListFormatter::Serialize(qelPropertyList* list, qelISerialize& target) {
  int status = target.MapBegin();
  qelProperty* property = list != nullptr ? list->first : nullptr;
  for (; status == 0 && property != nullptr; property = property->next)
    status = qelMediaPropertyList_SerializeProperty(property, target);
  return status == 0 ? target.MapEnd() : status;
}

int qelPropertyListFormatter::SerializeKeyValue(qelPropertyList* list, const char* key,
                                                qelISerialize& target) {
  // A null key would take a hold and find nothing, and the hold would stay.
  qelProperty* property = key != nullptr ? qelPropertyList_Take(list, key) : nullptr;
  if (property == nullptr)
    return 0;
  const int status = qelMediaPropertyList_SerializeProperty(property, target);
  qelPropertyList_Release(list);
  return status;
}
