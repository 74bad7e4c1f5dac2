#include <qel/posix/qelUserDirs.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/PathText.h>

namespace {

std::string Found(const std::string& text, const char* key = "XDG_MUSIC_DIR",
                  const char* home = "/home/u") {
  return Taken(qelUserDirs_Find(text.c_str(), key, home));
}

TEST(QelUserDirsFind, ReadsEachFormOfALine) {
  const struct {
    const char* text;
    const char* folder;
  } rows[] = {
      {"XDG_MUSIC_DIR=\"$HOME/Music\"\n", "/home/u/Music"},
      {"XDG_MUSIC_DIR=\"$HOME/Music\"", "/home/u/Music"},
      {"XDG_MUSIC_DIR=\"/data/m\"\n", "/data/m"},
      {"XDG_MUSIC_DIR=\"/data/m///\"\n", "/data/m"},
      {"XDG_MUSIC_DIR=\"/\"\n", "/"},
      {"XDG_MUSIC_DIR=\"$HOME\"\n", "/home/u"},
      {"XDG_MUSIC_DIR=\"$HOME/\"\n", "/home/u"},
      {"  XDG_MUSIC_DIR =\t\"$HOME/a b\" # why not\n", "/home/u/a b"},
      {"XDG_MUSIC_DIR=\"/a\\\"b\\\\c\\$d\\`e\"\n", "/a\"b\\c$d`e"},
      {"XDG_MUSIC_DIR=\"$HOME/\\x\"\n", "/home/u/x"},
      {"XDG_MUSIC_DIR=\"$HOME/\xC3\xA9\"\n", "/home/u/\xC3\xA9"},
      {"XDG_VIDEOS_DIR=\"/v\"\nXDG_MUSIC_DIR=\"/m\"\nXDG_PICTURES_DIR=\"/p\"\n", "/m"},
      {"XDG_MUSIC_DIR=\"/first\"\nXDG_MUSIC_DIR=\"/last\"\n", "/last"},
      {"XDG_MUSIC_DIR=\"/good\"\nXDG_MUSIC_DIR=\"bad\"\n", "/good"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Found(row.text), row.folder) << row.text;
}

TEST(QelUserDirsFind, PassesOverEveryOtherLine) {
  for (const char* text : {
           "",
           "\n\n",
           "# XDG_MUSIC_DIR=\"/m\"\n",
           "XDG_MUSIC_DIR=/m\n",
           "XDG_MUSIC_DIR='/m'\n",
           "XDG_MUSIC_DIR=\"/m\n",
           "XDG_MUSIC_DIR=\"/m\\\"\n",
           "XDG_MUSIC_DIR=\"/m\\\n\"\n",
           "XDG_MUSIC_DIR=\"Music\"\n",
           "XDG_MUSIC_DIR=\"\"\n",
           "XDG_MUSIC_DIR=\"$HOMEX/m\"\n",
           "XDG_MUSIC_DIR=\"\\$HOME/m\"\n",
           "XDG_MUSIC_DIR=\"~/m\"\n",
           "XDG_MUSIC_DIR\n",
           "XDG_MUSIC_DIR=\n",
           "XDG_MUSIC_DIR=\"",
           "XDG_MUSIC_DIR=\"\\",
           "XDG_MUSIC_DIRS=\"/m\"\n",
           "export XDG_MUSIC_DIR=\"/m\"\n",
           "XDG_MUSIC_DI",
           "xdg_music_dir=\"/m\"\n",
       })
    EXPECT_EQ(Found(text), "(null)") << text;
}

TEST(QelUserDirsFind, TakesTheRootForAnEmptyHome) {
  EXPECT_EQ(Found("XDG_MUSIC_DIR=\"$HOME\"\n", "XDG_MUSIC_DIR", ""), "/");
  EXPECT_EQ(Found("XDG_MUSIC_DIR=\"$HOME/m\"\n", "XDG_MUSIC_DIR", ""), "/m");
}

} // namespace
