//===----------------------------------------------------------------------===//
// Path names with volumes and network names.
//===----------------------------------------------------------------------===//

#include <qel/files/PathName.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/PathText.h>

namespace {

TEST(QelPathNameNetworkName, KeepsItsTwoBackslashes) {
  const qelPathName path = qelPathName::MakeDirPath("\\\\srv\\share\\x");
  EXPECT_EQ(Text(path.GetFullPath()), "\\\\srv/share/x/");
  EXPECT_EQ(Text(path.GetVolume()), "\\\\srv/");
  EXPECT_EQ(path.GetPathCount(), 3u);
  EXPECT_EQ(Text(path.GetPathPart(0)), "\\\\srv");
  EXPECT_EQ(Text(path.GetParentPath().GetFullPath()), "\\\\srv/share/");
}

TEST(QelPathNameNetworkName, CannotBeLeft) {
  const qelPathName anchor = qelPathName::MakeDirPath("\\\\srv\\share");
  EXPECT_EQ(Text(qelPathName::MakeCombinedDirPath(anchor, "../x").GetFullPath()), "\\\\srv/x/");
  EXPECT_FALSE(qelPathName::MakeCombinedDirPath(anchor, "../../x").IsValid());
}

TEST(QelPathNameVolume, CannotBeLeft) {
  EXPECT_FALSE(qelPathName::MakeDirPath("C:/").GetParentPath().IsValid());
  EXPECT_EQ(Text(qelPathName::MakeDirPath("C:").GetFullPath()), "C:/");
  EXPECT_EQ(Text(qelPathName::MakeDirPath("C:/a").GetParentPath().GetFullPath()), "C:/");
  const qelPathName anchor = qelPathName::MakeDirPath("C:/");
  EXPECT_FALSE(qelPathName::MakeCombinedDirPath(anchor, "..").IsValid());
  EXPECT_EQ(Text(qelPathName::MakeCombinedDirPath(anchor, "a/../b").GetFullPath()), "C:/b/");
}

TEST(QelPathNameMakeFilePath, TakesAVolumeAsTheFirstPart) {
  const qelPathName path = qelPathName::MakeFilePath("C:\\a\\b.tar.gz");
  EXPECT_EQ(Text(path.GetPath()), "C:/a/");
  EXPECT_EQ(Text(path.GetFileName()), "b.tar");
  EXPECT_EQ(Text(path.GetExtension()), "gz");
  EXPECT_EQ(Text(path.GetVolume()), "C:/");
  EXPECT_FALSE(qelPathName::MakeFilePath("C:x").IsValid());
}

// A text with a leading "/" alone has no volume, so it lies beside the program.
TEST(QelPathNameMakeDirPath, AnchorsATextWithoutAVolume) {
  EXPECT_EQ(Text(qelPathName::MakeDirPath("/x").GetFullPath()), ProgramDirectory() + "/x/");
  EXPECT_EQ(Text(qelPathName::MakeDirPath("//x").GetFullPath()), ProgramDirectory() + "//x/");
}

} // namespace
