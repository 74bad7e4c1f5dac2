#include <examples/mediaquery/Settings.h>

#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <tests/posix/Permissions.h>
#include <tests/support/TempDir.h>

namespace mediaquery {

TEST(MediaquerySaveSetting, KeepsAFileThatItCannotRead) {
  const TempDir dir;
  ASSERT_EQ(::chmod(dir.Path().c_str(), 0777), 0);
  dir.Write("_mediaquery.ini", "[search]\r\nlimit=5\r\n");
  ASSERT_EQ(::chmod(dir.Path("_mediaquery.ini").c_str(), 0200), 0);
  std::string file;
  std::string fault;
  {
    const AsNobody nobody;
    EXPECT_FALSE(SaveSetting({dir.Path(), dir.Path()}, "Search/Limit", "7", &file, &fault));
  }
  EXPECT_EQ(fault, dir.Path("_mediaquery.ini") + " can't be read");
  EXPECT_EQ(dir.Read("_mediaquery.ini"), "[search]\r\nlimit=5\r\n");
}

} // namespace mediaquery
