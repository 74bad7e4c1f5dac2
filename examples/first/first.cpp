// Describes a picture, and asks whether search criteria find it.

#include <cstdio>

#include <qel/qel.h>

// Answers the tests of a search about one item.
class ItemEvaluator : public qelSearchExpressionEvaluator {
public:
  explicit ItemEvaluator(const qelMediaInfo& item) : m_item(item) {}

  bool EvaluateRelExpression(qelRelExpression* test) override {
    if (test->property == "dc:title")
      return test->MatchString(m_item.title.c_str());
    return test->MatchInt(m_item.GetCString(test->property.c_str(), ""));
  }

private:
  const qelMediaInfo& m_item;
};

int main() {
  qelMediaInfo photo;
  photo.path = "/srv/media/photos/Lisbon/The harbour.jpeg";
  photo.Set("cn", "object.item.imageItem.photo", true);
  photo.Set("res@size", 81920, true);
  photo.Finalize(/*keepEmptyTitle=*/false); // title and album come from the path
  std::printf("\"%s\" of the album \"%s\"\n", photo.title.c_str(), photo.album.c_str());

  qelExpressionParser search("dc:title contains \"HARBOUR\" and res@size > \"50000\"");
  ItemEvaluator item(photo);
  std::printf("%s\n", search.Parse() && search.Evaluate(&item) ? "found" : "not found");
}
