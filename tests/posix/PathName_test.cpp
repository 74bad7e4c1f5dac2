//===----------------------------------------------------------------------===//
// Path names without volumes.
//===----------------------------------------------------------------------===//

#include <qel/files/PathName.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/PathText.h>

namespace {

TEST(QelPathNameGetVolume, IsTheRoot) {
  const qelPathName path = qelPathName::MakeDirPath("/a/b/");
  EXPECT_EQ(Text(path.GetVolume()), "/");
  EXPECT_EQ(Text(path.GetPathPart(0)), "");
  EXPECT_EQ(path.GetPathCount(), 3u);
}

TEST(QelPathNameGetParentPath, IsInvalidForADirectoryInTheRoot) {
  EXPECT_FALSE(qelPathName::MakeDirPath("/a/").GetParentPath().IsValid());
  EXPECT_FALSE(qelPathName::MakeFilePath("/a").GetParentPath().IsValid());
  EXPECT_EQ(Text(qelPathName::MakeDirPath("/a/b").GetParentPath().GetFullPath()), "/a/");
}

TEST(QelPathNameMakeDirPath, TurnsANetworkNameIntoARootedPath) {
  const qelPathName path = qelPathName::MakeDirPath("\\\\srv\\share\\x");
  EXPECT_EQ(Text(path.GetFullPath()), "//srv/share/x/");
  EXPECT_EQ(Text(path.GetVolume()), "/");
}

TEST(QelPathNameMakeFilePath, TakesAVolumeForARelativeName) {
  EXPECT_EQ(Text(qelPathName::MakeFilePath("C:/a/b").GetFullPath()), ProgramDirectory() + "C:/a/b");
}

TEST(QelPathNameMakeFilePath, KeepsBytesThatAreNoUTF8) {
  const qelPathName path = qelPathName::MakeFilePath("/a/\xFF\xFE.\x80");
  EXPECT_EQ(Text(path.GetFullPath()), "/a/\xFF\xFE.\x80");
}

TEST(QelPathNameMakeCombinedDirPath, CannotLeaveTheRoot) {
  const qelPathName anchor = qelPathName::MakeDirPath("/a");
  EXPECT_EQ(Text(qelPathName::MakeCombinedDirPath(anchor, "..").GetFullPath()), "/");
  EXPECT_FALSE(qelPathName::MakeCombinedDirPath(anchor, "../..").IsValid());
}

} // namespace
