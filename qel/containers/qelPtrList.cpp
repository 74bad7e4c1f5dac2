#include <qel/containers/qelPtrList.h>

#include <cstdlib>

#include <qel/core/qelMem.h>

// Links a new node between two neighbours of the list, either of which may be null.
static qelPtrListNode* LinkNew(qelPtrList* list, qelPtrListNode* previous, qelPtrListNode* next,
                               void* item) {
  auto* node = static_cast<qelPtrListNode*>(qelMem_Alloc(sizeof(qelPtrListNode)));
  *node = {item, next, previous, list};
  if (previous != nullptr)
    previous->next = node;
  if (next != nullptr)
    next->previous = node;
  ++list->count;
  return node;
}

qelPtrList* qelPtrList_New() {
  return static_cast<qelPtrList*>(qelMem_AllocZero(sizeof(qelPtrList)));
}

qelPtrList* qelPtrList_NewWithCount(size_t n) {
  qelPtrList* list = qelPtrList_New();
  for (; n != 0; --n)
    qelPtrList_Append(list, nullptr);
  return list;
}

void qelPtrList_Delete(qelPtrList* list) {
  if (list == nullptr)
    return;
  qelPtrList_Clear(list);
  free(list);
}

void qelPtrList_Clear(qelPtrList* list) {
  for (qelPtrListNode* node = list->head; node != nullptr;) {
    qelPtrListNode* next = node->next;
    qelPtrList_DestroyNode(list, node);
    node = next;
  }
  list->count = 0;
  list->head = nullptr;
  list->tail = nullptr;
}

size_t qelPtrList_GetCount(const qelPtrList* list) {
  return list->count;
}

void* qelPtrListNode_GetData(const qelPtrListNode* node) {
  return node->item;
}

void qelPtrList_SetFreeFunction(qelPtrList* list, qelPtrList_Free freeItem) {
  list->freeItem = freeItem;
}

qelPtrListNode* qelPtrList_Append(qelPtrList* list, void* item) {
  qelPtrListNode* node = LinkNew(list, list->tail, nullptr, item);
  if (list->head == nullptr)
    list->head = node;
  list->tail = node;
  return node;
}

qelPtrListNode* qelPtrList_AppendNode(qelPtrList* list, qelPtrListNode* node) {
  if (list->tail != nullptr)
    list->tail->next = node;
  if (list->head == nullptr)
    list->head = node;
  list->tail = node;
  node->next = nullptr;
  ++list->count;
  return node;
}

qelPtrListNode* qelPtrList_InsertBefore(qelPtrList* list, qelPtrListNode* node, void* item) {
  qelPtrListNode* next = node != nullptr ? node : list->head;
  qelPtrListNode* previous = node != nullptr ? node->previous : nullptr;
  qelPtrListNode* inserted = LinkNew(list, previous, next, item);
  if (list->tail == nullptr)
    list->tail = inserted;
  if (previous == nullptr)
    list->head = inserted;
  return inserted;
}

qelPtrListNode* qelPtrList_GetAt(const qelPtrList* list, size_t index) {
  qelPtrListNode* node = list->head;
  for (; node != nullptr && index != 0; --index)
    node = node->next;
  return node;
}

qelPtrListNode* qelPtrList_FindNode(const qelPtrList* list, const void* item) {
  qelPtrListNode* node = list->head;
  while (node != nullptr && node->item != item)
    node = node->next;
  return node;
}

int32_t qelPtrList_IndexOf(const qelPtrList* list, const void* item) {
  int32_t index = 0;
  for (const qelPtrListNode* node = list->head; node != nullptr; node = node->next, ++index)
    if (node->item == item)
      return index;
  return -1;
}

qelPtrListNode* qelPtrList_FindForward(const qelPtrList* list, qelPtrList_Predicate predicate,
                                       void* context) {
  qelPtrListNode* node = list->head;
  while (node != nullptr && predicate(node, context) == 0)
    node = node->next;
  return node;
}

qelPtrListNode* qelPtrList_FindBackward(const qelPtrList* list, qelPtrList_Predicate predicate,
                                        void* context) {
  qelPtrListNode* node = list->tail;
  while (node != nullptr && predicate(node, context) == 0)
    node = node->previous;
  return node;
}

// Takes the node out of the list and clears its links and owner. A node without a previous one is
// taken for the head.
static void Unlink(qelPtrList* list, qelPtrListNode* node) {
  if (node->previous != nullptr)
    node->previous->next = node->next;
  else
    list->head = node->next;
  if (node->next != nullptr)
    node->next->previous = node->previous;
  else
    list->tail = node->previous;
  --list->count;
  *node = {node->item, nullptr, nullptr, nullptr};
}

qelPtrListNode* qelPtrList_Detach(qelPtrListNode* node) {
  Unlink(node->owner, node);
  return node;
}

void qelPtrList_DeleteNode(qelPtrListNode* node) {
  if (node->owner != nullptr)
    qelPtrList_Detach(node);
  free(node);
}

void qelPtrList_DestroyNode(qelPtrList* list, qelPtrListNode* node) {
  if (list->freeItem != nullptr)
    list->freeItem(node->item);
  node->owner = nullptr;
  free(node);
}

int qelPtrList_RemoveNode(qelPtrList* list, qelPtrListNode* node) {
  qelPtrList_Detach(node);
  qelPtrList_DestroyNode(list, node);
  return 1;
}

int qelPtrList_RemoveItem(qelPtrList* list, const void* item) {
  qelPtrListNode* node = qelPtrList_FindNode(list, item);
  return node != nullptr ? qelPtrList_RemoveNode(list, node) : 0;
}

void* qelPtrList_PopHead(qelPtrList* list) {
  // By the list that is given: a head that AppendNode linked names no owner.
  qelPtrListNode* head = list->head;
  Unlink(list, head);
  void* item = head->item;
  free(head);
  return item;
}

void qelPtrList_FreeItem(void* item) {
  free(item);
}
