// Path text: expansion, normalisation with every flag, all ways to make a path name, and changes to
// one. What comes out keeps the invariants of path names.

#include <cstring>
#include <string>

#include <fuzz/FuzzInput.h>
#include <qel/files/PathName.h>
#include <qel/multiplatform/qelPath.h>

static bool Contains(const qelCString& text, const char* part) {
  return strstr(text.c_str(), part) != nullptr;
}

static void CheckInvariants(const qelPathName& path) {
  const bool hasPath = !path.GetPath().IsEmpty();
  const bool hasName = !path.GetFileName().IsEmpty() || !path.GetExtension().IsEmpty();
  FUZZ_CHECK(path.IsValid() == hasPath);
  FUZZ_CHECK(path.IsFilePath() == (hasPath && hasName));
  FUZZ_CHECK(path.IsDirPath() == (hasPath && !hasName));
  FUZZ_CHECK(hasPath || !hasName);
  FUZZ_CHECK(!hasPath || path.GetPath().Last() == '/');
  FUZZ_CHECK(strcmp(path.c_str(), path.GetFullPath().c_str()) == 0);

  size_t length = 0;
  const size_t count = path.GetPathCount();
  for (size_t i = 0; i < count; ++i)
    length += path.GetPathPart(i).length() + 1;
  FUZZ_CHECK(length == path.GetPath().length());
  FUZZ_CHECK(path.GetPathPart(count).IsEmpty());
}

// A path without its dots stays the same when they are taken away once more.
static void CheckSimple(const qelPathName& path) {
  CheckInvariants(path);
  const qelCString parts = qelCString("/") + path.GetPath();
  FUZZ_CHECK(!Contains(parts, "/./") && !Contains(parts, "/../"));
  FUZZ_CHECK(!Contains(path.GetPath(), "//"));
}

static void CheckNormalized(const char* text, const char* anchor, int choice) {
  const int flags = choice & 3;
  const int strip = choice >> 2 & 1;
  char* normalized = qelPath_Normalize(text, strip, flags, anchor);
  char* expanded = qelPath_ExpandSpecialFolders(text);
  FUZZ_CHECK((normalized == nullptr) == (expanded == nullptr));
  if (normalized != nullptr && (flags & qelPathFlagLongPath) == 0)
    FUZZ_CHECK(strlen(normalized) <= strlen(expanded) + strlen(anchor));
  free(expanded);
  free(normalized);
}

static void CheckDirPath(const char* text) {
  const qelPathName dir = qelPathName::MakeDirPath(text);
  CheckInvariants(dir);
  FUZZ_CHECK(!dir.IsFilePath());
  if (qelPath_IsAbsolute(dir.c_str()) && strchr(dir.c_str(), '<') == nullptr)
    FUZZ_CHECK(strcmp(qelPathName::MakeDirPath(dir.c_str()).c_str(), dir.c_str()) == 0);
  CheckInvariants(dir.GetParentPath());
}

// Any change leaves a path name whose kind follows from what it is made of.
static void CheckChanges(qelPathName path, const char* text, int choice) {
  if ((choice & 1) != 0)
    path.AppendPathPart(text);
  if ((choice & 2) != 0)
    path.SetFullName(text);
  if ((choice & 4) != 0)
    path.SetExtension("");
  if ((choice & 8) != 0)
    path.SetFileName(text);
  if ((choice & 16) != 0)
    path.SetPath(text);
  const bool isValid = path.IsValid();
  FUZZ_CHECK(isValid == !path.GetPath().IsEmpty());
  path.ToDirPath();
  FUZZ_CHECK(path.IsDirPath() == isValid);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const int choice = input.TakeByte();
  const std::vector<char> anchorText = input.TakeText(input.TakeByte() % 32);
  const std::vector<char> textBytes = input.TakeText(4096);
  const char* anchor = anchorText.data();
  const char* text = textBytes.data();

  CheckNormalized(text, anchor, choice);
  CheckDirPath(text);
  CheckInvariants(qelPathName::MakeFilePath(text));
  const qelPathName anchorPath = qelPathName::MakeDirPath(anchor);
  CheckSimple(qelPathName::MakeCombinedDirPath(anchorPath, text));
  CheckSimple(qelPathName::MakeCombinedDirPath(qelPathName(), text));
  CheckSimple(qelPathName::MakeCombinedFilePath(anchorPath, text));
  CheckChanges(qelPathName::MakeFilePath(text), anchor, choice >> 3);
  CheckChanges(qelPathName::MakeFilePath(anchor, text), anchor, choice >> 3);
  CheckChanges(qelPathName::MakeFilePath(anchor, text, anchor), text, choice >> 3);
  return 0;
}
