// What mediaquery meets on POSIX systems only: links, names of any bytes, pipes, permissions, and a
// terminal.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(__linux__)
#include <linux/capability.h>
#include <sys/prctl.h>
#endif

#include <tests/support/MediaFiles.h>
#include <tests/support/RunProgram.h>
#include <tests/support/TempDir.h>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

size_t CountLines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class MediaqueryPosix : public testing::Test {
protected:
  ProgramResult RunQuery(const std::vector<std::string>& arguments) {
    return RunProgram(MEDIAQUERY_PROGRAM, arguments);
  }
  void Link(const std::string& target, const std::string& name) {
    ASSERT_EQ(::symlink(target.c_str(), dir.Path(name).c_str()), 0);
  }

  TempDir dir;
};

} // namespace

TEST_F(MediaqueryPosix, EndsOnACircleOfLinks) {
  dir.MakeDir("a/b");
  dir.Write("a/b/x.png", MakePNG(1, 1));
  Link("../..", "a/b/up");
  Link(".", "self");
  Link("a", "again");
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(CountLines(result.out), 1u);
  EXPECT_THAT(result.err, HasSubstr("1 file seen, 1 media item, 1 hit, "));
  EXPECT_THAT(result.err, HasSubstr("3 folders met again and left out"));
}

TEST_F(MediaqueryPosix, EntersEachFolderOnceThoughLinksLeadThereInManyWays) {
  // Without that, each level doubles the number of ways: 2 to the power of 40.
  std::string folder = "d";
  for (int i = 0; i < 40; ++i) {
    dir.MakeDir(folder + "/d");
    Link("d", folder + "/e");
    folder += "/d";
  }
  dir.Write(folder + "/x.png", MakePNG(1, 1));
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(CountLines(result.out), 1u);
}

TEST_F(MediaqueryPosix, FollowsALinkToAFolderAndToAFile) {
  const TempDir other;
  other.Write("x.png", MakePNG(1, 1));
  Link(other.Path(), "folder");
  Link(other.Path("x.png"), "y.png");
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_THAT(result.out, HasSubstr("\"@id\":\"folder/x.png\""));
  EXPECT_THAT(result.out, HasSubstr("\"@id\":\"y.png\""));
}

TEST_F(MediaqueryPosix, PassesByALinkToNowhereAndALinkToItself) {
  Link("nowhere.png", "dangling.png");
  Link("circle.png", "circle.png");
  dir.Write("x.png", MakePNG(1, 1));
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.err, StartsWith("3 files seen, 1 media item, 1 hit, "));
  EXPECT_THAT(result.err, HasSubstr("2 media files not readable"));
}

TEST_F(MediaqueryPosix, DoesNotWaitForAPipe) {
  for (const char* name : {"x.png", "pipe.wav", "movie.mpg"})
    ASSERT_EQ(::mkfifo(dir.Path(name).c_str(), 0600), 0);
  Link("x.png", "link.gif");
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("4 media files not readable"));
}

TEST_F(MediaqueryPosix, PrintsNamesThatAreNotUTF8AsTextAndExactly) {
  dir.MakeDir("caf\xE9");
  const std::string name = "caf\xE9/\xFF\x80.png";
  std::FILE* file = std::fopen(dir.Path(name).c_str(), "wb");
  ASSERT_NE(file, nullptr);
  const std::string bytes = MakePNG(1, 1);
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title = \"\xFF\x80\""});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\"dc:title\":\"\xEF\xBF\xBD\xEF\xBF\xBD\""));
  EXPECT_THAT(result.out, HasSubstr("\"upnp:album\":\"caf\xEF\xBF\xBD\""));
  EXPECT_THAT(result.out, HasSubstr("/caf%E9/%FF%80.png\""));
}

TEST_F(MediaqueryPosix, PrintsNamesWithControlCharactersAsJSON) {
  dir.Write("a\n\"\x01\".png", MakePNG(1, 1));
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(CountLines(result.out), 1u);
  EXPECT_THAT(result.out, HasSubstr("\"dc:title\":\"a\\n\\\"\\u0001\\\"\""));
}

TEST_F(MediaqueryPosix, LeavesOutNamesThatTheLibraryWouldReadAsOthers) {
  dir.Write("x.png", MakePNG(1, 1));
  dir.MakeDir("sub");
  dir.Write("sub\\x.png", MakePNG(1, 1));
  dir.Write("<MyMusic>.png", MakePNG(1, 1));
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\"@id\":\"x.png\""));
  EXPECT_EQ(CountLines(result.out), 1u);
}

TEST_F(MediaqueryPosix, RefusesAFolderWhoseNameTheLibraryWouldReadAsAnother) {
  dir.MakeDir("a/b");
  dir.Write("a/b/x.png", MakePNG(1, 1));
  dir.MakeDir("a\\b");
  const ProgramResult result = RunQuery({"--", dir.Path("a\\b")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("the library reads this name as that of another folder"));
}

TEST_F(MediaqueryPosix, FindsAFolderThroughALinkAndItsParentThroughThat) {
  const TempDir other;
  other.MakeDir("deep");
  other.Write("x.png", MakePNG(1, 1));
  Link(other.Path("deep"), "link");
  const ProgramResult result = RunProgram(MEDIAQUERY_PROGRAM, {"link/.."}, dir.Path());
  EXPECT_THAT(result.out, HasSubstr("\"@id\":\"x.png\""));
}

TEST_F(MediaqueryPosix, FailsWhenTheOutputCanNotBeWritten) {
  dir.Write("x.png", MakePNG(1, 1));
  const std::string command =
      std::string(MEDIAQUERY_PROGRAM) + " -- " + dir.Path() + " >/dev/full 2>" + dir.Path("err");
  const int status = std::system(command.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
  EXPECT_EQ(dir.Read("err"), "mediaquery: standard output can't be written\n");
}

#if defined(__linux__)

// Takes the right to read everything from the programs that this process starts. A user other than root
// has none to take away.
static bool DropReadRights() {
  if (::geteuid() != 0)
    return true;
  return ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 &&
         ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) == 0;
}

// Runs the rest of a test in a process of its own, whose rights are dropped.
static ProgramResult RunWithoutRights(const std::vector<std::string>& arguments,
                                      const TempDir& dir) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (!DropReadRights())
      ::_exit(99);
    const ProgramResult result = RunProgram(MEDIAQUERY_PROGRAM, arguments);
    dir.Write("result.out", result.out);
    dir.Write("result.err", result.err);
    ::_exit(result.status);
  }
  int status = 0;
  ProgramResult result;
  if (::waitpid(child, &status, 0) == child && WIFEXITED(status))
    result.status = WEXITSTATUS(status);
  result.out = dir.Read("result.out");
  result.err = dir.Read("result.err");
  return result;
}

TEST_F(MediaqueryPosix, PassesByFoldersAndFilesThatItMayNotRead) {
  const TempDir results;
  dir.MakeDir("locked");
  dir.Write("locked/x.png", MakePNG(1, 1));
  dir.Write("locked.png", MakePNG(1, 1));
  dir.Write("open.png", MakePNG(1, 1));
  ::chmod(dir.Path("locked").c_str(), 0);
  ::chmod(dir.Path("locked.png").c_str(), 0);
  const ProgramResult result = RunWithoutRights({"--", dir.Path()}, results);
  const ProgramResult onRoot = RunWithoutRights({"--", dir.Path("locked")}, results);
  ::chmod(dir.Path("locked").c_str(), 0700);
  if (result.status == 99)
    GTEST_SKIP() << "this process may not give up its right to read everything";
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\"@id\":\"open.png\""));
  EXPECT_EQ(CountLines(result.out), 1u);
  EXPECT_THAT(result.err, HasSubstr("1 media file not readable; 1 folder not readable"));
  EXPECT_EQ(onRoot.status, 2);
  EXPECT_THAT(onRoot.err, HasSubstr("this folder can't be read"));
}

#endif

TEST_F(MediaqueryPosix, EndsWellWhenFilesVanishWhileItWalks) {
  // The hits are more than a pipe holds, so the program is stopped in its walk until they are read.
  const int kFolders = 40;
  const int kFiles = 50;
  for (int folder = 0; folder < kFolders; ++folder) {
    const std::string name = "folder" + std::to_string(folder);
    dir.MakeDir(name);
    for (int file = 0; file < kFiles; ++file)
      dir.Write(name + "/" + std::to_string(file) + ".png", MakePNG(1, 1));
  }
  const TempDir results;
  const std::string command =
      std::string(MEDIAQUERY_PROGRAM) + " -- " + dir.Path() + " 2>" + results.Path("err");
  std::FILE* output = ::popen(command.c_str(), "r");
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(std::fgetc(output), '{'); // the walk is under way
  for (int folder = 0; folder < kFolders; ++folder)
    std::filesystem::remove_all(TempDir::Native(dir.Path("folder" + std::to_string(folder))));
  size_t hits = 0;
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output))
    hits += c == '\n' ? 1 : 0;
  const int status = ::pclose(output);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GT(hits, 0u);
  EXPECT_LT(hits, static_cast<size_t>(kFolders * kFiles));
  EXPECT_THAT(results.Read("err"), HasSubstr("folders not readable"));
}

TEST_F(MediaqueryPosix, ShowsItsProgressOnATerminal) {
  dir.Write("x.png", MakePNG(1, 1));
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(::grantpt(terminal), 0);
  ASSERT_EQ(::unlockpt(terminal), 0);
  const std::string command = std::string(MEDIAQUERY_PROGRAM) + " -- " + dir.Path() + " >" +
                              dir.Path("out") + " 2>" + ::ptsname(terminal);
  EXPECT_EQ(std::system(command.c_str()), 0);
  char text[4096];
  const ssize_t length = ::read(terminal, text, sizeof text);
  ::close(terminal);
  ASSERT_GT(length, 0);
  EXPECT_THAT(std::string(text, static_cast<size_t>(length)),
              StartsWith("1 file seen, 0 media items, 0 hits\r"));
}

TEST_F(MediaqueryPosix, KeepsNamesOfAnyBytesInACatalogue) {
  dir.MakeDir("In");
  for (const char* name : {"bad \xFF\xC3.png", "cr\r.png", "feed\f\n.png", "per%FFcent.png"})
    std::ofstream(dir.Path("In/") + name) << MakePNG(2, 3);
  const ProgramResult plain = RunQuery({"--", dir.Path("In")});
  ASSERT_EQ(CountLines(plain.out), 4u);
  ASSERT_EQ(RunQuery({"--store", dir.Path("c.cat"), "--", dir.Path("In")}).status, 0);
  EXPECT_THAT(dir.Read("c.cat"), HasSubstr("bad %FF%C3.png"));
  EXPECT_EQ(RunQuery({"--from", dir.Path("c.cat")}).out, plain.out);
}

TEST_F(MediaqueryPosix, KeepsTheOldCatalogueWhenTheNewOneDoesNotFit) {
  for (int i = 0; i < 20; ++i)
    dir.Write(std::to_string(i) + ".png", MakePNG(2, 3));
  dir.Write("c.cat", "old");
  const std::string command = "trap '' XFSZ; ulimit -f 1; exec '" +
                              std::string(MEDIAQUERY_PROGRAM) + "' --store '" + dir.Path("c.cat") +
                              "' -- '" + dir.Path() + "' 'dc:title = \"none\"'";
  const ProgramResult result = RunProgram("/bin/bash", {"-c", command});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, HasSubstr(dir.Path("c.cat.tmp") + ", line "));
  EXPECT_EQ(dir.Read("c.cat"), "old");
  EXPECT_FALSE(dir.Has("c.cat.tmp"));
}

TEST_F(MediaqueryPosix, WritesNoCatalogueInThePlaceOfADevice) {
  const ProgramResult result = RunQuery({"--store", "/dev/null", "--", dir.Path()});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, StartsWith("mediaquery: /dev/null: "));
}
