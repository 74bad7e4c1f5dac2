#include <qel/containers/qelPtrList.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <list>
#include <random>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct List {
  qelPtrList* l;
  List() : l(qelPtrList_New()) {}
  explicit List(qelPtrList* list) : l(list) {}
  ~List() { qelPtrList_Delete(l); }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
};

void* Int(uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

uintptr_t Number(const void* item) {
  return reinterpret_cast<uintptr_t>(item);
}

void Fill(qelPtrList* list, std::initializer_list<uintptr_t> values) {
  for (uintptr_t value : values)
    qelPtrList_Append(list, Int(value));
}

// The items from the head on, after a look at every link, owner and count.
std::vector<uintptr_t> Items(const qelPtrList* list) {
  std::vector<uintptr_t> items;
  const qelPtrListNode* previous = nullptr;
  for (const qelPtrListNode* node = list->head; node != nullptr; node = node->next) {
    EXPECT_EQ(node->previous, previous);
    EXPECT_EQ(node->owner, list);
    items.push_back(Number(node->item));
    previous = node;
  }
  EXPECT_EQ(list->tail, previous);
  EXPECT_EQ(list->count, items.size());
  return items;
}

std::vector<uintptr_t> g_released;
void Release(void* item) {
  g_released.push_back(Number(item));
}
std::vector<uintptr_t> TakeReleased() {
  return std::exchange(g_released, {});
}

int HasRemainder(const qelPtrListNode* node, void* context) {
  return Number(qelPtrListNode_GetData(node)) % 10 == Number(context) ? -1 : 0;
}

} // namespace

TEST(qelPtrListNew, IsEmpty) {
  List list;
  EXPECT_EQ(list.l->count, 0u);
  EXPECT_EQ(list.l->head, nullptr);
  EXPECT_EQ(list.l->tail, nullptr);
  EXPECT_EQ(list.l->freeItem, nullptr);
}

TEST(qelPtrListNewWithCount, HasNodesWithNullItems) {
  List list(qelPtrList_NewWithCount(3));
  EXPECT_THAT(Items(list.l), ElementsAre(0, 0, 0));
  List none(qelPtrList_NewWithCount(0));
  EXPECT_THAT(Items(none.l), IsEmpty());
}

TEST(qelPtrListDelete, AcceptsNullAndReleasesFromTheHeadOn) {
  qelPtrList_Delete(nullptr);
  qelPtrList* list = qelPtrList_New();
  Fill(list, {1, 2, 3});
  qelPtrList_SetFreeFunction(list, Release);
  qelPtrList_Delete(list);
  EXPECT_THAT(TakeReleased(), ElementsAre(1, 2, 3));
}

TEST(qelPtrListClear, ReleasesAllAndKeepsTheCallback) {
  List list;
  Fill(list.l, {1, 0, 3});
  qelPtrList_SetFreeFunction(list.l, Release);
  qelPtrList_Clear(list.l);
  EXPECT_THAT(TakeReleased(), ElementsAre(1, 0, 3));
  EXPECT_THAT(Items(list.l), IsEmpty());
  EXPECT_EQ(list.l->freeItem, &Release);
  Fill(list.l, {4});
  EXPECT_THAT(Items(list.l), ElementsAre(4));
  qelPtrList_SetFreeFunction(list.l, nullptr);
}

TEST(qelPtrListClear, LeavesAnEmptyListEmpty) {
  List list;
  qelPtrList_Clear(list.l);
  EXPECT_THAT(Items(list.l), IsEmpty());
}

TEST(qelPtrListAppend, ReturnsTheNewTail) {
  List list;
  qelPtrListNode* first = qelPtrList_Append(list.l, Int(1));
  EXPECT_EQ(list.l->head, first);
  EXPECT_EQ(list.l->tail, first);
  qelPtrListNode* second = qelPtrList_Append(list.l, Int(2));
  EXPECT_EQ(list.l->head, first);
  EXPECT_EQ(list.l->tail, second);
  EXPECT_EQ(qelPtrListNode_GetData(second), Int(2));
  EXPECT_EQ(qelPtrList_GetCount(list.l), 2u);
}

TEST(qelPtrListAppendNode, CountsAndSetsTheTail) {
  List list;
  Fill(list.l, {1});
  List other;
  qelPtrListNode* node = qelPtrList_Detach(qelPtrList_Append(other.l, Int(2)));
  EXPECT_EQ(qelPtrList_AppendNode(list.l, node), node);
  EXPECT_EQ(qelPtrList_GetCount(list.l), 2u);
  EXPECT_EQ(list.l->tail, node);
  EXPECT_EQ(list.l->head->next, node);
  EXPECT_EQ(node->next, nullptr);
}

TEST(qelPtrListAppendNode, SetsTheHeadOfAnEmptyList) {
  List list;
  List other;
  qelPtrListNode* node = qelPtrList_Detach(qelPtrList_Append(other.l, Int(2)));
  qelPtrList_AppendNode(list.l, node);
  EXPECT_EQ(list.l->head, node);
  EXPECT_EQ(list.l->tail, node);
  EXPECT_EQ(qelPtrList_GetCount(list.l), 1u);
}

TEST(qelPtrListAppendNode, SetsNeitherPreviousNorOwner) {
  List list;
  Fill(list.l, {1});
  List other;
  qelPtrListNode* node = qelPtrList_Detach(qelPtrList_Append(other.l, Int(2)));
  qelPtrList_AppendNode(list.l, node);
  EXPECT_EQ(node->previous, nullptr);
  EXPECT_EQ(node->owner, nullptr);
  EXPECT_EQ(qelPtrList_FindForward(list.l, HasRemainder, Int(2)), node);
  EXPECT_EQ(qelPtrList_FindBackward(list.l, HasRemainder, Int(1)), nullptr);
}

TEST(qelPtrListInsertBefore, InsertsAtTheHeadForANullNode) {
  List list;
  qelPtrListNode* node = qelPtrList_InsertBefore(list.l, nullptr, Int(2));
  EXPECT_EQ(list.l->tail, node);
  EXPECT_THAT(Items(list.l), ElementsAre(2));
  qelPtrList_InsertBefore(list.l, nullptr, Int(1));
  EXPECT_THAT(Items(list.l), ElementsAre(1, 2));
}

TEST(qelPtrListInsertBefore, InsertsAheadOfTheNode) {
  List list;
  Fill(list.l, {1, 3});
  qelPtrListNode* node = qelPtrList_InsertBefore(list.l, list.l->tail, Int(2));
  EXPECT_EQ(qelPtrListNode_GetData(node), Int(2));
  EXPECT_THAT(Items(list.l), ElementsAre(1, 2, 3));
  qelPtrList_InsertBefore(list.l, list.l->head, Int(0));
  EXPECT_THAT(Items(list.l), ElementsAre(0, 1, 2, 3));
}

TEST(qelPtrListGetAt, GivesNullAtAndBehindTheCount) {
  List list;
  EXPECT_EQ(qelPtrList_GetAt(list.l, 0), nullptr);
  Fill(list.l, {1, 2});
  EXPECT_EQ(qelPtrList_GetAt(list.l, 0), list.l->head);
  EXPECT_EQ(qelPtrList_GetAt(list.l, 1), list.l->tail);
  EXPECT_EQ(qelPtrList_GetAt(list.l, 2), nullptr);
  EXPECT_EQ(qelPtrList_GetAt(list.l, SIZE_MAX), nullptr);
}

TEST(qelPtrListFindNode, GivesTheFirstNodeOfThatItem) {
  List list;
  Fill(list.l, {1, 2, 2});
  EXPECT_EQ(qelPtrList_FindNode(list.l, Int(2)), list.l->head->next);
  EXPECT_EQ(qelPtrList_FindNode(list.l, Int(3)), nullptr);
}

TEST(qelPtrListIndexOf, GivesTheFirstIndexOrMinusOne) {
  List list;
  Fill(list.l, {1, 2, 2});
  EXPECT_EQ(qelPtrList_IndexOf(list.l, Int(1)), 0);
  EXPECT_EQ(qelPtrList_IndexOf(list.l, Int(2)), 1);
  EXPECT_EQ(qelPtrList_IndexOf(list.l, Int(3)), -1);
}

TEST(qelPtrListFind, GoesFromEitherEnd) {
  List list;
  Fill(list.l, {11, 12, 21, 22});
  EXPECT_EQ(qelPtrListNode_GetData(qelPtrList_FindForward(list.l, HasRemainder, Int(1))), Int(11));
  EXPECT_EQ(qelPtrListNode_GetData(qelPtrList_FindBackward(list.l, HasRemainder, Int(1))), Int(21));
  EXPECT_EQ(qelPtrList_FindForward(list.l, HasRemainder, Int(5)), nullptr);
  EXPECT_EQ(qelPtrList_FindBackward(list.l, HasRemainder, Int(5)), nullptr);
}

TEST(qelPtrListDetach, UnlinksAndKeepsNodeAndItem) {
  List list;
  Fill(list.l, {1, 2, 3});
  qelPtrList_SetFreeFunction(list.l, Release);
  qelPtrListNode* middle = list.l->head->next;
  EXPECT_EQ(qelPtrList_Detach(middle), middle);
  EXPECT_EQ(middle->owner, nullptr);
  EXPECT_EQ(middle->item, Int(2));
  EXPECT_THAT(Items(list.l), ElementsAre(1, 3));
  EXPECT_THAT(TakeReleased(), IsEmpty());
  qelPtrList_DeleteNode(middle);
  EXPECT_THAT(TakeReleased(), IsEmpty());
  qelPtrList_SetFreeFunction(list.l, nullptr);
}

TEST(qelPtrListDetach, MovesHeadAndTail) {
  List list;
  Fill(list.l, {1, 2, 3});
  qelPtrList_DeleteNode(qelPtrList_Detach(list.l->head));
  EXPECT_THAT(Items(list.l), ElementsAre(2, 3));
  qelPtrList_DeleteNode(qelPtrList_Detach(list.l->tail));
  EXPECT_THAT(Items(list.l), ElementsAre(2));
  qelPtrList_DeleteNode(qelPtrList_Detach(list.l->head));
  EXPECT_THAT(Items(list.l), IsEmpty());
  EXPECT_EQ(list.l->head, nullptr);
}

TEST(qelPtrListDeleteNode, DetachesANodeThatHasAnOwnerAndReleasesNoItem) {
  List list;
  Fill(list.l, {1, 2});
  qelPtrList_SetFreeFunction(list.l, Release);
  qelPtrList_DeleteNode(list.l->head);
  EXPECT_THAT(Items(list.l), ElementsAre(2));
  EXPECT_THAT(TakeReleased(), IsEmpty());
  qelPtrList_SetFreeFunction(list.l, nullptr);
}

TEST(qelPtrListDestroyNode, ReleasesAndLeavesNeighboursAndCount) {
  List list;
  Fill(list.l, {1, 2});
  qelPtrList_SetFreeFunction(list.l, Release);
  const qelPtrListNode* gone = list.l->tail;
  qelPtrList_DestroyNode(list.l, list.l->tail);
  EXPECT_THAT(TakeReleased(), ElementsAre(2));
  EXPECT_EQ(list.l->count, 2u);
  EXPECT_EQ(list.l->head->next, gone);
  EXPECT_EQ(list.l->tail, gone);
  list.l->head->next = nullptr; // so that the teardown does not meet it again
  qelPtrList_Clear(list.l);
  TakeReleased();
}

TEST(qelPtrListRemoveNode, DetachesThenReleasesAndGivesOne) {
  List list;
  Fill(list.l, {1, 2, 3});
  qelPtrList_SetFreeFunction(list.l, Release);
  EXPECT_EQ(qelPtrList_RemoveNode(list.l, list.l->head->next), 1);
  EXPECT_THAT(TakeReleased(), ElementsAre(2));
  EXPECT_THAT(Items(list.l), ElementsAre(1, 3));
  qelPtrList_SetFreeFunction(list.l, nullptr);
}

TEST(qelPtrListRemoveItem, TakesTheFirstNodeOfThatItem) {
  List list;
  Fill(list.l, {1, 2, 1});
  qelPtrList_SetFreeFunction(list.l, Release);
  EXPECT_EQ(qelPtrList_RemoveItem(list.l, Int(1)), 1);
  EXPECT_THAT(Items(list.l), ElementsAre(2, 1));
  EXPECT_EQ(qelPtrList_RemoveItem(list.l, Int(9)), 0);
  EXPECT_THAT(TakeReleased(), ElementsAre(1));
  qelPtrList_SetFreeFunction(list.l, nullptr);
}

TEST(qelPtrListPopHead, GivesTheItemWithoutReleasingIt) {
  List list;
  Fill(list.l, {1, 2});
  qelPtrList_SetFreeFunction(list.l, Release);
  EXPECT_EQ(qelPtrList_PopHead(list.l), Int(1));
  EXPECT_EQ(qelPtrList_PopHead(list.l), Int(2));
  EXPECT_THAT(Items(list.l), IsEmpty());
  EXPECT_THAT(TakeReleased(), IsEmpty());
}

TEST(qelPtrListPopHead, TakesAHeadThatAppendNodeLinked) {
  List list;
  List other;
  for (uintptr_t value : {1, 2})
    qelPtrList_AppendNode(list.l, qelPtrList_Detach(qelPtrList_Append(other.l, Int(value))));
  Fill(list.l, {3});
  EXPECT_EQ(qelPtrList_PopHead(list.l), Int(1));
  EXPECT_EQ(qelPtrList_GetCount(list.l), 2u);
  EXPECT_EQ(qelPtrList_PopHead(list.l), Int(2));
  EXPECT_THAT(Items(list.l), ElementsAre(3));
  qelPtrList_AppendNode(other.l, qelPtrList_Detach(list.l->head));
  EXPECT_THAT(Items(list.l), IsEmpty());
  EXPECT_EQ(qelPtrList_PopHead(other.l), Int(3));
  EXPECT_THAT(Items(other.l), IsEmpty());
}

TEST(qelPtrListFreeItem, ReleasesAllocatedItemsAndAcceptsNull) {
  qelPtrList_FreeItem(nullptr);
  List list;
  qelPtrList_SetFreeFunction(list.l, qelPtrList_FreeItem);
  qelPtrList_Append(list.l, malloc(10)); // the leak checker watches
  qelPtrList_Append(list.l, nullptr);
  EXPECT_EQ(list.l->count, 2u);
}

TEST(qelPtrListModel, AgreesWithAStandardList) {
  std::mt19937 random(33);
  List list;
  qelPtrList_SetFreeFunction(list.l, Release);
  std::list<uintptr_t> model;
  std::vector<uintptr_t> released;
  for (int step = 0; step != 20000; ++step) {
    const uintptr_t value = random() % 100;
    const size_t at = model.empty() ? 0 : random() % model.size();
    const auto place = std::next(model.begin(), static_cast<ptrdiff_t>(at));
    qelPtrListNode* node = qelPtrList_GetAt(list.l, at);
    ASSERT_EQ(node == nullptr, model.empty());
    const bool crowded = model.size() > 60;
    switch (crowded ? 4 + random() % 5 : random() % 9) {
    case 0:
    case 1:
      qelPtrList_Append(list.l, Int(value));
      model.push_back(value);
      break;
    case 2:
      qelPtrList_InsertBefore(list.l, nullptr, Int(value));
      model.push_front(value);
      break;
    case 3:
      qelPtrList_InsertBefore(list.l, node, Int(value));
      model.insert(place, value);
      break;
    case 4: {
      const auto found = std::find(model.begin(), model.end(), value);
      ASSERT_EQ(qelPtrList_RemoveItem(list.l, Int(value)), found != model.end());
      if (found != model.end()) {
        released.push_back(value);
        model.erase(found);
      }
      break;
    }
    case 5:
      if (node != nullptr) {
        qelPtrList_RemoveNode(list.l, node);
        released.push_back(*place);
        model.erase(place);
      }
      break;
    case 6:
      if (node != nullptr) {
        qelPtrList_DeleteNode(random() % 2 != 0 ? qelPtrList_Detach(node) : node);
        model.erase(place);
      }
      break;
    case 7:
      if (node != nullptr) {
        ASSERT_EQ(qelPtrList_PopHead(list.l), Int(model.front()));
        model.pop_front();
      }
      break;
    default:
      if (random() % 200 == 0) {
        qelPtrList_Clear(list.l);
        released.insert(released.end(), model.begin(), model.end());
        model.clear();
      }
    }
    ASSERT_EQ(Items(list.l), std::vector<uintptr_t>(model.begin(), model.end()));
    const auto found = std::find(model.begin(), model.end(), value);
    ASSERT_EQ(qelPtrList_IndexOf(list.l, Int(value)),
              found != model.end() ? std::distance(model.begin(), found) : -1);
  }
  EXPECT_EQ(TakeReleased(), released);
  qelPtrList_SetFreeFunction(list.l, nullptr);
}
