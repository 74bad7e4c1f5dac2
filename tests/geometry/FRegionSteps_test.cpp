// Regions held step by step against a plain model of the sweep that has its own arrays and knows no
// short cut of the library's. Its rectangles may lack an area or have their corners swapped, where no
// painted grid can tell what is right: fields, counts and capacities must agree there too.

#include <qel/geometry/qelFRegion.h>

#include <gtest/gtest.h>

#include <tests/geometry/Areas.h>

namespace {

struct Model {
  qelRect extents;
  std::vector<qelRect> rects;
  int capacity = 1;

  int Count() const { return static_cast<int>(rects.size()); }
  const qelRect& At(int i) const { return rects[static_cast<size_t>(i)]; }
  qelRect& At(int i) { return rects[static_cast<size_t>(i)]; }

  void Add(int left, int top, int right, int bottom) {
    if (Count() >= capacity - 1)
      capacity *= 2;
    rects.emplace_back(left, top, right, bottom);
  }
};

struct Band {
  const Model* model;
  int first, end;

  Band(const Model& from, int start) : model(&from), first(start), end(start) {
    while (end != from.Count() && from.At(end).top == from.At(start).top)
      ++end;
  }
  const qelRect& Head() const { return model->At(first); }
};

enum class Kind { Union, Intersection, Subtraction };

int Coalesce(Model* model, int prevStart, int curStart) {
  const int curEnd = Band(*model, curStart).end;
  const int curCount = curEnd - curStart;
  const bool isLast = curEnd == model->Count();
  int result = curStart;
  if (!isLast) {
    result = model->Count() - 1;
    while (model->At(result - 1).top == model->At(result).top)
      --result;
  }
  if (curCount == 0 || curCount != curStart - prevStart)
    return result;
  if (model->At(prevStart).bottom != model->At(curStart).top)
    return result;
  for (int i = 0; i != curCount; ++i) {
    const qelRect &above = model->At(prevStart + i), &below = model->At(curStart + i);
    if (above.left != below.left || above.right != below.right)
      return result;
  }
  for (int i = 0; i != curCount; ++i)
    model->At(prevStart + i).bottom = model->At(curStart + i).bottom;
  model->rects.erase(model->rects.begin() + curStart, model->rects.begin() + curEnd);
  return isLast ? prevStart : result;
}

void AddBand(Model* result, const Band& band, int top, int bottom) {
  for (int i = band.first; i != band.end; ++i)
    result->Add(band.model->At(i).left, top, band.model->At(i).right, bottom);
}

void AddFused(Model* result, const qelRect& next, int top, int bottom) {
  if (result->Count() != 0) {
    qelRect& last = result->rects.back();
    if (last.top == top && last.bottom == bottom && last.right >= next.left) {
      if (next.right > last.right)
        last.right = next.right;
      return;
    }
  }
  result->Add(next.left, top, next.right, bottom);
}

void UnionOverlap(Model* result, const Band& a, const Band& b, int top, int bottom) {
  int i = a.first, j = b.first;
  while (i != a.end && j != b.end) {
    if (a.model->At(i).left < b.model->At(j).left)
      AddFused(result, a.model->At(i++), top, bottom);
    else
      AddFused(result, b.model->At(j++), top, bottom);
  }
  while (i != a.end)
    AddFused(result, a.model->At(i++), top, bottom);
  while (j != b.end)
    AddFused(result, b.model->At(j++), top, bottom);
}

void IntersectOverlap(Model* result, const Band& a, const Band& b, int top, int bottom) {
  int i = a.first, j = b.first;
  while (i != a.end && j != b.end) {
    const qelRect &one = a.model->At(i), &other = b.model->At(j);
    const int left = std::max(one.left, other.left);
    const int right = std::min(one.right, other.right);
    if (left < right)
      result->Add(left, top, right, bottom);
    if (one.right <= other.right)
      ++i;
    if (other.right <= one.right)
      ++j;
  }
}

void SubtractOverlap(Model* result, const Band& a, const Band& b, int top, int bottom) {
  int i = a.first, j = b.first;
  int x = a.Head().left;
  while (j != b.end) {
    const qelRect &whole = a.model->At(i), &cut = b.model->At(j);
    if (cut.right <= x) {
      ++j;
      continue;
    }
    if (cut.left > x) {
      if (cut.left >= whole.right) {
        if (whole.right > x)
          result->Add(x, top, whole.right, bottom);
        if (++i == a.end)
          return;
        x = a.model->At(i).left;
        continue;
      }
      result->Add(x, top, cut.left, bottom);
    }
    x = cut.right;
    if (x < whole.right) {
      ++j;
      continue;
    }
    if (++i == a.end)
      return;
    x = a.model->At(i).left;
  }
  result->Add(x, top, a.model->At(i).right, bottom);
  while (++i != a.end)
    result->Add(a.model->At(i).left, top, a.model->At(i).right, bottom);
}

void Overlap(Kind kind, Model* result, const Band& a, const Band& b, int top, int bottom) {
  if (kind == Kind::Union)
    UnionOverlap(result, a, b, top, bottom);
  else if (kind == Kind::Intersection)
    IntersectOverlap(result, a, b, top, bottom);
  else
    SubtractOverlap(result, a, b, top, bottom);
}

void Merge(Model* result, int* prevBand, int curBand) {
  if (result->Count() != curBand)
    *prevBand = Coalesce(result, *prevBand, curBand);
}

// The rest of an operand's bands.
void AddRest(Model* result, const Model& from, int i, int ybot) {
  while (i != from.Count()) {
    const Band band(from, i);
    AddBand(result, band, std::max(band.Head().top, ybot), band.Head().bottom);
    i = band.end;
  }
}

// Operands by value: the result may be one of them.
void Sweep(Kind kind, const Model a, const Model b, Model* result) {
  const bool keepsA = kind != Kind::Intersection, keepsB = kind == Kind::Union;
  result->rects.clear();
  result->capacity = 2 * std::max(a.Count(), b.Count());
  int ybot = std::min(a.extents.top, b.extents.top);
  int prevBand = 0, i = 0, j = 0;
  while (i != a.Count() && j != b.Count()) {
    const Band bandA(a, i), bandB(b, j);
    const qelRect &headA = bandA.Head(), &headB = bandB.Head();
    int curBand = result->Count();
    int ytop = headA.top;
    if (headA.top < headB.top) {
      const int top = std::max(headA.top, ybot), bottom = std::min(headA.bottom, headB.top);
      if (top != bottom && keepsA)
        AddBand(result, bandA, top, bottom);
      ytop = headB.top;
    } else if (headB.top < headA.top) {
      const int top = std::max(headB.top, ybot), bottom = std::min(headB.bottom, headA.top);
      if (top != bottom && keepsB)
        AddBand(result, bandB, top, bottom);
    }
    Merge(result, &prevBand, curBand);
    ybot = std::min(headA.bottom, headB.bottom);
    curBand = result->Count();
    if (ybot > ytop)
      Overlap(kind, result, bandA, bandB, ytop, ybot);
    Merge(result, &prevBand, curBand);
    if (headA.bottom == ybot)
      i = bandA.end;
    if (headB.bottom == ybot)
      j = bandB.end;
  }
  const int curBand = result->Count();
  if (i != a.Count() && keepsA)
    AddRest(result, a, i, ybot);
  else if (j != b.Count() && keepsB)
    AddRest(result, b, j, ybot);
  Merge(result, &prevBand, curBand);
  if (result->Count() < result->capacity / 2)
    result->capacity = std::max(result->Count(), 1);
}

void Copy(Model* to, const Model& from) {
  if (to == &from)
    return;
  to->capacity = std::max(to->capacity, from.Count());
  to->rects = from.rects;
  to->extents = from.extents;
}

void FindExtents(Model* model) {
  model->extents = qelRect();
  if (model->Count() == 0)
    return;
  model->extents = qelRect(model->rects.front().left, model->rects.front().top,
                           model->rects.back().right, model->rects.back().bottom);
  for (const qelRect& rect : model->rects) {
    model->extents.left = std::min(model->extents.left, rect.left);
    model->extents.right = std::max(model->extents.right, rect.right);
  }
}

bool Covers(const Model& one, const Model& other) {
  return one.Count() == 1 && one.extents.left <= other.extents.left &&
         one.extents.top <= other.extents.top && one.extents.right >= other.extents.right &&
         one.extents.bottom >= other.extents.bottom;
}

bool Meet(const Model& a, const Model& b) {
  return a.Count() != 0 && b.Count() != 0 && a.extents.right > b.extents.left &&
         a.extents.left < b.extents.right && a.extents.bottom > b.extents.top &&
         a.extents.top < b.extents.bottom;
}

void UnionInto(const Model& a, const Model& b, Model* result) {
  if (&a == &b)
    return Copy(result, a);
  if (a.Count() == 0)
    return Copy(result, b);
  if (b.Count() == 0 || Covers(a, b))
    return Copy(result, a);
  if (Covers(b, a))
    return Copy(result, b);
  const qelRect box(
      std::min(a.extents.left, b.extents.left), std::min(a.extents.top, b.extents.top),
      std::max(a.extents.right, b.extents.right), std::max(a.extents.bottom, b.extents.bottom));
  Sweep(Kind::Union, a, b, result);
  result->extents = box;
}

bool IntersectInto(const Model& a, const Model& b, Model* result) {
  if (Meet(a, b))
    Sweep(Kind::Intersection, a, b, result);
  else
    result->rects.clear();
  FindExtents(result);
  return result->Count() != 0 && (result->extents.left != result->extents.right ||
                                  result->extents.top != result->extents.bottom);
}

void SubtractInto(const Model& a, const Model& b, Model* result) {
  if (!Meet(a, b))
    return Copy(result, a);
  Sweep(Kind::Subtraction, a, b, result);
  FindExtents(result);
}

Model ModelOf(const qelRect& rect) {
  Model model;
  model.rects = {rect};
  model.extents = rect;
  return model;
}

testing::AssertionResult Agree(const qelFRegion& region, const Model& model) {
  std::vector<Fields> rects;
  for (const qelRect& rect : model.rects)
    rects.push_back(FieldsOf(rect));
  if (RectsOf(region) != rects)
    return testing::AssertionFailure() << "rectangles: " << testing::PrintToString(RectsOf(region))
                                       << " for " << testing::PrintToString(rects);
  if (FieldsOf(region.extents) != FieldsOf(model.extents))
    return testing::AssertionFailure()
           << "extents: " << testing::PrintToString(FieldsOf(region.extents)) << " for "
           << testing::PrintToString(FieldsOf(model.extents));
  if (region.capacity != model.capacity)
    return testing::AssertionFailure()
           << "capacity: " << region.capacity << " for " << model.capacity;
  return testing::AssertionSuccess();
}

// Three out of four with an area; the others as they come.
qelRect AnyRect(Series* series) {
  const int kSide = 9;
  if (series->Below(4) != 0)
    return series->Rect(kSide, 4);
  return qelRect(series->Below(kSide), series->Below(kSide), series->Below(kSide),
                 series->Below(kSide));
}

// One random operation on any three of the regions, which may be the same ones.
void Step(Series* series, std::vector<qelFRegion>* regions, std::vector<Model>* models) {
  const auto any = [&] { return static_cast<size_t>(series->Below(4)); };
  const size_t i = any(), j = any(), k = any();
  qelFRegion &a = (*regions)[i], &b = (*regions)[j], &result = (*regions)[k];
  Model &modelA = (*models)[i], &modelB = (*models)[j], &modelResult = (*models)[k];
  const qelRect rect = AnyRect(series);
  switch (series->Below(10)) {
  case 0:
    a.Union(b);
    UnionInto(modelA, modelB, &modelA);
    break;
  case 1:
    EXPECT_EQ(IntersectInto(modelA, modelB, &modelA), a.Intersect(b));
    break;
  case 2:
    a.Subtract(b);
    SubtractInto(modelA, modelB, &modelA);
    break;
  case 3:
    qelFRegion_UnionInto(&a, &b, &result);
    UnionInto(modelA, modelB, &modelResult);
    break;
  case 4:
    EXPECT_EQ(IntersectInto(modelA, modelB, &modelResult),
              qelFRegion_IntersectInto(&a, &b, &result));
    break;
  case 5:
    qelFRegion_SubtractInto(&a, &b, &result);
    SubtractInto(modelA, modelB, &modelResult);
    break;
  case 6:
    a.Subtract(rect);
    SubtractInto(modelA, ModelOf(rect), &modelA);
    break;
  case 7:
    a = rect;
    Copy(&modelA, ModelOf(rect));
    break;
  default:
    a.Union(rect);
    UnionInto(modelA, ModelOf(rect), &modelA);
    break;
  }
}

} // namespace

TEST(FRegionSteps, AgreeForRectanglesOfEveryShape) {
  Series series(25);
  int most = 0;
  for (int round = 0; round != 250; ++round) {
    std::vector<qelFRegion> regions(4);
    std::vector<Model> models(4);
    for (int step = 0; step != 60; ++step) {
      Step(&series, &regions, &models);
      for (size_t i = 0; i != regions.size(); ++i) {
        ASSERT_TRUE(Agree(regions[i], models[i])) << "round " << round << ", step " << step;
        most = std::max(most, regions[i].count);
      }
    }
  }
  EXPECT_GE(most, 10); // the rounds build more than single rectangles
}
