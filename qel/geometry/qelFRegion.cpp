#include <qel/geometry/qelFRegion.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>

static void* (*g_reallocate)(void* block, size_t size) = &realloc;

// Makes room for exactly this many rectangles, or fails and changes nothing.
static int Resize(qelFRegion* region, int64_t capacity) {
  if (capacity > INT_MAX)
    return 1;
  void* block = g_reallocate(region->rects, static_cast<size_t>(capacity) * sizeof(qelRect));
  if (block == nullptr)
    return 1;
  region->rects = static_cast<qelRect*>(block);
  region->capacity = static_cast<int>(capacity);
  return 0;
}

// Leaves an empty region that owns no array, from which every operation can go on.
static void GiveUp(qelFRegion* region) {
  free(region->rects);
  region->rects = nullptr;
  region->capacity = 0;
  region->Empty();
}

// Doubles the array until n more rectangles leave one slot unused.
static int Reserve(qelFRegion* result, int64_t n) {
  int64_t capacity = result->capacity;
  while (result->count + n > capacity - 1)
    capacity = 2 * std::max(capacity, int64_t{1});
  if (capacity == result->capacity || Resize(result, capacity) == 0)
    return 0;
  GiveUp(result);
  return 1;
}

static int Add(qelFRegion* result, int left, int top, int right, int bottom) {
  if (result->count >= result->capacity - 1 && Reserve(result, 1) != 0)
    return 1;
  result->rects[result->count++] = qelRect(left, top, right, bottom);
  return 0;
}

//===-- The sweep ---------------------------------------------------------===//

namespace {

// How far the sweep has come in one operand.
struct Cursor {
  const qelRect* band;          // the current band; end: none left
  const qelRect* bandEnd;       // one past its last rectangle
  const qelRect* end;           // one past the operand's last rectangle
  qelFRegion_NonOverlap onlyIt; // for rows where it alone has a band; null: they add nothing
};

} // namespace

static void EnterBand(Cursor* cursor, const qelRect* first) {
  cursor->band = first;
  while (first != cursor->end && first->top == cursor->band->top)
    ++first;
  cursor->bandEnd = first;
}

static Cursor CursorOf(const qelFRegion* region, qelFRegion_NonOverlap onlyIt) {
  Cursor cursor = {nullptr, nullptr, region->rects + region->count, onlyIt};
  EnterBand(&cursor, region->rects);
  return cursor;
}

// Merges the band that was begun at curBand, if there is one. All behind curBand is one band.
static void EndBand(qelFRegion* result, int* prevBand, int curBand) {
  if (result->count == curBand)
    return;
  // Most bands differ from the one above in the number of rectangles, which needs no look at them.
  if (result->count - curBand != curBand - *prevBand)
    *prevBand = curBand;
  else
    *prevBand = qelFRegion_Coalesce(result, *prevBand, curBand);
}

// The rows of the cursor's band from `done` to where the other operand's band starts.
static int SweepBefore(qelFRegion* result, const Cursor* cursor, int done, int otherTop) {
  const int top = std::max(cursor->band->top, done);
  const int bottom = std::min(cursor->band->bottom, otherTop);
  if (cursor->band->top >= otherTop || top == bottom || cursor->onlyIt == nullptr)
    return 0;
  return cursor->onlyIt(result, cursor->band, cursor->bandEnd, top, bottom);
}

// True when the bands that are left lie below `done` and none mixes two bottoms: each rectangle passes
// as it is. The pass has no branch, so that it takes vector operations.
static bool PassesUnchanged(const Cursor* cursor, int done) {
  bool isPlain = cursor->band == cursor->end || cursor->band->top >= done;
  for (const qelRect* rect = cursor->band; rect + 1 < cursor->end; ++rect)
    isPlain &=
        (rect[1].top >= done) & ((rect[1].top != rect->top) | (rect[1].bottom == rect->bottom));
  return isPlain;
}

static int CopyBands(qelFRegion* result, const qelRect* first, const qelRect* end) {
  if (Reserve(result, end - first) != 0)
    return 1;
  std::copy(first, end, result->rects + result->count);
  result->count += static_cast<int>(end - first);
  return 0;
}

// The bands that one operand has left. Only the first can have rows that are done already; the others
// mostly go as one block where they would pass one by one unchanged.
static int SweepRest(qelFRegion* result, Cursor* cursor, int done) {
  for (bool isFirst = true; cursor->band != cursor->end; isFirst = false) {
    const int top = std::max(cursor->band->top, done);
    if (cursor->onlyIt(result, cursor->band, cursor->bandEnd, top, cursor->band->bottom) != 0)
      return 1;
    EnterBand(cursor, cursor->bandEnd);
    if (isFirst && cursor->onlyIt == &qelFRegion_UnionNonOverlap && PassesUnchanged(cursor, done))
      return CopyBands(result, cursor->band, cursor->end);
  }
  return 0;
}

static int Sweep(qelFRegion* result, Cursor a, Cursor b, qelFRegion_Overlap overlap, int ybot) {
  int prevBand = 0;
  while (a.band != a.end && b.band != b.end) {
    int curBand = result->count;
    const int ytop = std::max(a.band->top, b.band->top);
    if (SweepBefore(result, &a, ybot, b.band->top) != 0 ||
        SweepBefore(result, &b, ybot, a.band->top) != 0)
      return 1;
    EndBand(result, &prevBand, curBand);

    ybot = std::min(a.band->bottom, b.band->bottom);
    curBand = result->count;
    if (ybot > ytop && overlap(result, a.band, a.bandEnd, b.band, b.bandEnd, ytop, ybot) != 0)
      return 1;
    EndBand(result, &prevBand, curBand);

    const bool aIsDone = a.band->bottom == ybot;
    const bool bIsDone = b.band->bottom == ybot;
    if (aIsDone)
      EnterBand(&a, a.bandEnd);
    if (bIsDone)
      EnterBand(&b, b.bandEnd);
  }
  const int curBand = result->count;
  Cursor* rest = a.band != a.end && a.onlyIt != nullptr ? &a : &b;
  if (rest->onlyIt != nullptr && SweepRest(result, rest, ybot) != 0)
    return 1;
  if (result->count != curBand)
    qelFRegion_Coalesce(result, prevBand, curBand);
  return 0;
}

void qelFRegion_Op(qelFRegion* result, const qelFRegion* a, const qelFRegion* b,
                   qelFRegion_Overlap overlap, qelFRegion_NonOverlap nonOverlapA,
                   qelFRegion_NonOverlap nonOverlapB) {
  // The result may be an operand, even both: all that is read of them is taken ahead, and their
  // rectangles live until the end.
  const Cursor cursorA = CursorOf(a, nonOverlapA);
  const Cursor cursorB = CursorOf(b, nonOverlapB);
  const int ybot = std::min(a->extents.top, b->extents.top);
  const int64_t capacity = int64_t{2} * std::max(a->count, b->count);
  qelRect* const old = result->rects;
  result->rects = nullptr;
  result->count = 0;
  if (Resize(result, capacity) != 0)
    GiveUp(result);
  else if (Sweep(result, cursorA, cursorB, overlap, ybot) == 0 &&
           result->count < result->capacity / 2)
    Resize(result, std::max(result->count, 1)); // when that fails, the larger block stays
  free(old);
}

static bool HaveSameColumns(const qelRect* a, const qelRect* b, int n) {
  for (int i = 0; i != n; ++i) {
    if (a[i].left != b[i].left || a[i].right != b[i].right)
      return false;
  }
  return true;
}

int qelFRegion_Coalesce(qelFRegion* region, int prevStart, int curStart) {
  qelRect* const rects = region->rects;
  const int count = region->count;
  int curEnd = curStart;
  while (curEnd != count && rects[curEnd].top == rects[curStart].top)
    ++curEnd;
  int last = curStart;
  if (curEnd != count) {
    last = count - 1;
    while (rects[last - 1].top == rects[last].top)
      --last;
  }

  const int n = curEnd - curStart;
  if (n == 0 || n != curStart - prevStart || rects[prevStart].bottom != rects[curStart].top ||
      !HaveSameColumns(rects + prevStart, rects + curStart, n))
    return last;
  for (int i = 0; i != n; ++i)
    rects[prevStart + i].bottom = rects[curStart + i].bottom;
  std::copy(rects + curEnd, rects + count, rects + curStart);
  region->count = count - n;
  return curEnd == count ? prevStart : last;
}

//===-- The operations ----------------------------------------------------===//

static bool IsOneAround(const qelFRegion* region, const qelRect& inner) {
  const qelRect& outer = region->extents;
  return region->count == 1 && outer.left <= inner.left && outer.top <= inner.top &&
         outer.right >= inner.right && outer.bottom >= inner.bottom;
}

static bool MayMeet(const qelFRegion* a, const qelFRegion* b) {
  return a->count != 0 && b->count != 0 && a->extents.right > b->extents.left &&
         a->extents.left < b->extents.right && a->extents.bottom > b->extents.top &&
         a->extents.top < b->extents.bottom;
}

void qelFRegion_UnionInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result) {
  if (a == b || (a->count != 0 && (b->count == 0 || IsOneAround(a, b->extents)))) {
    qelFRegion_Copy(result, a);
    return;
  }
  if (a->count == 0 || IsOneAround(b, a->extents)) {
    qelFRegion_Copy(result, b);
    return;
  }
  const qelRect box(
      std::min(a->extents.left, b->extents.left), std::min(a->extents.top, b->extents.top),
      std::max(a->extents.right, b->extents.right), std::max(a->extents.bottom, b->extents.bottom));
  qelFRegion_Op(result, a, b, &qelFRegion_UnionOverlap, &qelFRegion_UnionNonOverlap,
                &qelFRegion_UnionNonOverlap);
  if (result->capacity != 0)
    result->extents = box;
}

bool qelFRegion_IntersectInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result) {
  if (MayMeet(a, b))
    qelFRegion_Op(result, a, b, &qelFRegion_IntersectOverlap, nullptr, nullptr);
  else
    result->count = 0;
  qelFRegion_SetExtents(result);
  return !result->IsEmpty();
}

void qelFRegion_SubtractInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result) {
  if (!MayMeet(a, b)) {
    qelFRegion_Copy(result, a);
    return;
  }
  qelFRegion_Op(result, a, b, &qelFRegion_SubtractOverlap, &qelFRegion_SubtractNonOverlap, nullptr);
  qelFRegion_SetExtents(result);
}

//===-- The functions of the sweep ----------------------------------------===//

int qelFRegion_UnionNonOverlap(qelFRegion* result, const qelRect* first, const qelRect* end,
                               int top, int bottom) {
  if (Reserve(result, end - first) != 0)
    return 1;
  qelRect* to = result->rects + result->count;
  for (; first != end; ++first)
    *to++ = qelRect(first->left, top, first->right, bottom);
  result->count = static_cast<int>(to - result->rects);
  return 0;
}

// Adds a rectangle that lies right of all others of its band, or fuses it with the last one.
static int AddFused(qelFRegion* result, const qelRect* rect, int top, int bottom) {
  if (result->count != 0) {
    qelRect& last = result->rects[result->count - 1];
    if (last.top == top && last.bottom == bottom && last.right >= rect->left) {
      last.right = std::max(last.right, rect->right);
      return 0;
    }
  }
  return Add(result, rect->left, top, rect->right, bottom);
}

int qelFRegion_UnionOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                            const qelRect* b, const qelRect* bEnd, int top, int bottom) {
  while (a != aEnd || b != bEnd) {
    const bool takesA = b == bEnd || (a != aEnd && a->left < b->left);
    if (AddFused(result, takesA ? a++ : b++, top, bottom) != 0)
      return 1;
  }
  return 0;
}

int qelFRegion_IntersectOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                                const qelRect* b, const qelRect* bEnd, int top, int bottom) {
  while (a != aEnd && b != bEnd) {
    const int left = std::max(a->left, b->left);
    const int right = std::min(a->right, b->right);
    if (left < right && Add(result, left, top, right, bottom) != 0)
      return 1;
    const bool aIsDone = a->right == right;
    const bool bIsDone = b->right == right;
    a += aIsDone;
    b += bIsDone;
  }
  return 0;
}

int qelFRegion_SubtractNonOverlap(qelFRegion* result, const qelRect* first, const qelRect* end,
                                  int top, int bottom) {
  return qelFRegion_UnionNonOverlap(result, first, end, top, bottom);
}

int qelFRegion_SubtractOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                               const qelRect* b, const qelRect* bEnd, int top, int bottom) {
  int x = a->left; // the left edge still to be placed
  while (b != bEnd) {
    if (b->right <= x) {
      ++b;
      continue;
    }
    const bool isBeyond = b->left > x && b->left >= a->right;
    if (b->left > x && x < a->right) {
      if (Add(result, x, top, std::min(b->left, a->right), bottom) != 0)
        return 1;
    }
    if (!isBeyond) {
      x = b->right;
      if (x < a->right) {
        ++b;
        continue;
      }
    }
    if (++a == aEnd)
      return 0;
    x = a->left;
  }
  if (Add(result, x, top, a->right, bottom) != 0)
    return 1;
  return qelFRegion_UnionNonOverlap(result, a + 1, aEnd, top, bottom);
}

void qelFRegion_SetExtents(qelFRegion* region) {
  if (region->count == 0) {
    region->extents.Empty();
    return;
  }
  const qelRect& first = region->rects[0];
  const qelRect& last = region->rects[region->count - 1];
  qelRect box(first.left, first.top, last.right, last.bottom);
  for (int i = 0; i != region->count; ++i) {
    box.left = std::min(box.left, region->rects[i].left);
    box.right = std::max(box.right, region->rects[i].right);
  }
  region->extents = box;
}

void qelFRegion_Copy(qelFRegion* destination, const qelFRegion* source) {
  if (destination == source)
    return;
  if (destination->capacity < source->count && Resize(destination, source->count) != 0) {
    GiveUp(destination);
    return;
  }
  destination->count = source->count;
  destination->extents = source->extents;
  std::copy(source->rects, source->rects + source->count, destination->rects);
}

//===-- The view, the seam ------------------------------------------------===//

void qelFRegion_SetReallocForTest(void* (*reallocate)(void* block, size_t size)) {
  g_reallocate = reallocate != nullptr ? reallocate : &realloc;
}
