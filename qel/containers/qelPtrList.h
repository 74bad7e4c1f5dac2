#ifndef QEL_CONTAINERS_QELPTRLIST_H
#define QEL_CONTAINERS_QELPTRLIST_H
//===----------------------------------------------------------------------===//
// A doubly linked list of pointer-sized items with an optional release callback.
//
//   head --> node <--> node <--> node <-- tail        each node knows its list
//
// COST: at either end, and at a known node, O(1); by item or index O(n).
// INVALIDATES: a node's life ends with its removal; other nodes stay.
// OWNERSHIP: the list owns its nodes. With a release callback it owns its items
// too; each function tells whether it releases one.
// ERRORS: none; exhausted memory is fatal. Arguments are never checked.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

struct qelPtrList;

struct qelPtrListNode {
  void* item;               // null is a legal item
  qelPtrListNode* next;     // null: the last one
  qelPtrListNode* previous; // null: the first one
  qelPtrList* owner;        // the list it stands in; null: none
};

// Releases an item; it gets null items too.
typedef void (*qelPtrList_Free)(void* item);

// Not 0 for the node that is looked for.
typedef int (*qelPtrList_Predicate)(const qelPtrListNode* node, void* context);

struct qelPtrList {
  size_t count;             // nodes in the list
  qelPtrListNode* head;     // null: the list is empty
  qelPtrListNode* tail;     // null: the list is empty
  qelPtrList_Free freeItem; // null: nothing is released
};

// A new empty list. Released by qelPtrList_Delete.
qelPtrList* qelPtrList_New();

// A new list of n nodes with null items.
qelPtrList* qelPtrList_NewWithCount(size_t n);

// Releases every item and node from the head on, then the record. Null does nothing.
void qelPtrList_Delete(qelPtrList* list);

// Releases every item and node from the head on. The list stays usable, the callback set.
void qelPtrList_Clear(qelPtrList* list);

// The number of nodes.
size_t qelPtrList_GetCount(const qelPtrList* list);

// The node's item.
void* qelPtrListNode_GetData(const qelPtrListNode* node);

// Sets the release callback; null: items are the client's.
void qelPtrList_SetFreeFunction(qelPtrList* list, qelPtrList_Free freeItem);

// Appends an item and returns its node.
qelPtrListNode* qelPtrList_Append(qelPtrList* list, void* item);

// Links an existing node behind the tail and returns it.
// INTENDED: neither its previous link nor its owner is set. Such a node leaves the list only by Clear,
// Delete, DestroyNode or, at the head, PopHead, and a walk from the tail ends at it. Pinned by
// qelPtrListAppendNode.SetsNeitherPreviousNorOwner.
// REQUIRES: the node is in no list.
qelPtrListNode* qelPtrList_AppendNode(qelPtrList* list, qelPtrListNode* node);

// Inserts an item ahead of a node of this list, or at the head if the node is null, and returns the
// new node.
qelPtrListNode* qelPtrList_InsertBefore(qelPtrList* list, qelPtrListNode* node, void* item);

// The node at the index, or null at or behind the count.
qelPtrListNode* qelPtrList_GetAt(const qelPtrList* list, size_t index);

// The first node with this very item, or null.
qelPtrListNode* qelPtrList_FindNode(const qelPtrList* list, const void* item);

// The index of the first node with this very item, or -1.
int32_t qelPtrList_IndexOf(const qelPtrList* list, const void* item);

// The first node for which predicate(node, context) is not 0, from the head on or from the tail
// back; or null.
qelPtrListNode* qelPtrList_FindForward(const qelPtrList* list, qelPtrList_Predicate predicate,
                                       void* context);
qelPtrListNode* qelPtrList_FindBackward(const qelPtrList* list, qelPtrList_Predicate predicate,
                                        void* context);

// Takes the node out of its list and returns it with its item; the caller releases it by
// qelPtrList_DeleteNode or links it again by qelPtrList_AppendNode. Its links and owner are cleared.
// REQUIRES: the node has an owner.
qelPtrListNode* qelPtrList_Detach(qelPtrListNode* node);

// Detaches the node if it has an owner and releases it. The item is the caller's.
void qelPtrList_DeleteNode(qelPtrListNode* node);

// Releases item and node, and leaves the neighbours' links and the count as they are: only for
// teardown.
void qelPtrList_DestroyNode(qelPtrList* list, qelPtrListNode* node);

// Detaches the node, releases item and node. Returns 1. REQUIRES: the node's owner is this list.
int qelPtrList_RemoveNode(qelPtrList* list, qelPtrListNode* node);

// The same for the first node with this very item. Returns 1; or 0 if there is none.
int qelPtrList_RemoveItem(qelPtrList* list, const void* item);

// Removes the head node and returns its item, not released. REQUIRES: the list is not empty.
void* qelPtrList_PopHead(qelPtrList* list);

// A release callback for items that the C library's free releases; null is fine.
void qelPtrList_FreeItem(void* item);

#endif
