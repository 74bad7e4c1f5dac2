#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Hidden.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/RunProgram.h>
#include <tests/support/Sockets.h>
#include <tests/support/TelnetScene.h>
#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

ProgramResult RunQuery(const std::vector<std::string>& arguments, const std::string& folder = "") {
  return RunProgram(MEDIAQUERY_PROGRAM, arguments, folder);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

// The values of a member of text in each hit, sorted.
std::vector<std::string> Values(const ProgramResult& result, const std::string& member) {
  std::vector<std::string> values;
  const std::string start = "\"" + member + "\":\"";
  for (const std::string& line : Lines(result.out)) {
    const size_t at = line.find(start);
    if (at != std::string::npos)
      values.push_back(
          line.substr(at + start.size(), line.find('"', at + start.size()) - at - start.size()));
  }
  std::sort(values.begin(), values.end());
  return values;
}

// A folder with two pictures, a sound and a text.
class Mediaquery : public testing::Test {
protected:
  void SetUp() override {
    dir.MakeDir("Holiday");
    dir.Write("Holiday/sea.png", MakePNG(640, 480));
    dir.Write("Holiday/boat.GIF", MakeGIF(32, 16));
    dir.Write("tone.wav", MakeWAV(2, 8000, 16, 20000));
    dir.Write("readme.txt", "no media");
  }

  TempDir dir;
};

} // namespace

TEST_F(Mediaquery, PrintsEveryMediaFileWithoutCriteria) {
  const ProgramResult result = RunQuery({"--", dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(Values(result, "dc:title"), ElementsAre("boat", "sea", "tone"));
}

TEST_F(Mediaquery, DescribesAHitInOneLineOfJSON) {
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title = \"tone\""});
  EXPECT_EQ(result.status, 0);
  ASSERT_EQ(Lines(result.out).size(), 1u);
  EXPECT_THAT(
      Lines(result.out)[0],
      AllOf(StartsWith("{\"@id\":\"tone.wav\",\"@parentID\":\"0\",\"dc:title\":\"tone\","
                       "\"dc:date\":\"20"),
            HasSubstr("\"upnp:class\":\"object.item.audioItem.musicTrack\",\"res\":\"file:///"),
            testing::EndsWith("/tone.wav\",\"res@size\":80044,\"res@duration\":\"0:00:02.500\","
                              "\"res@protocolInfo\":\"http-get:*:audio/wav:*\","
                              "\"res@nrAudioChannels\":2,\"res@sampleFrequency\":8000,"
                              "\"res@bitsPerSample\":16}")));
}

TEST_F(Mediaquery, TellsPixelSizeAndAlbumOfAPicture) {
  const ProgramResult result =
      RunQuery({"--", dir.Path(), "upnp:class derivedfrom \"object.item.imageItem\""});
  EXPECT_THAT(Values(result, "res@resolution"), ElementsAre("32x16", "640x480"));
  EXPECT_THAT(Values(result, "upnp:album"), ElementsAre("Holiday", "Holiday"));
  EXPECT_THAT(Values(result, "@id"), ElementsAre("Holiday/boat.GIF", "Holiday/sea.png"));
}

TEST_F(Mediaquery, ClosesWithALineOfTotals) {
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title = \"sea\""});
  EXPECT_THAT(Lines(result.err), ElementsAre(StartsWith("4 files seen, 3 media items, 1 hit, ")));
}

TEST_F(Mediaquery, WritesNothingButTheClosingLineToAnErrorOutputThatIsNoTerminal) {
  EXPECT_EQ(Lines(RunQuery({"--", dir.Path()}).err).size(), 1u);
  EXPECT_THAT(RunQuery({"--", dir.Path()}).err, Not(HasSubstr("\r")));
}

TEST_F(Mediaquery, ExitsWithOneWhenThereIsNoHit) {
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title = \"lake\""});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("0 hits"));
}

TEST_F(Mediaquery, ShowsThePlaceOfAFaultInTheCriteria) {
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title equals \"sea\""});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  const std::vector<std::string> lines = Lines(result.err);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0],
              StartsWith("mediaquery: bad criteria, at character 10: an operator is missing here"));
  EXPECT_EQ(lines[1], "  dc:title equals \"sea\"");
  EXPECT_EQ(lines[2], "           ^");
}

TEST_F(Mediaquery, RefusesBadCriteria) {
  for (const char* criteria :
       {"dc:title = \"a\" )", "(dc:title = \"a\" and", "and dc:title = \"x\"", "dc:title exists",
        "", "dc:titel = \"x\"", "* dc:title"}) {
    const ProgramResult result = RunQuery({"--", dir.Path(), criteria});
    EXPECT_EQ(result.status, 2) << criteria;
    EXPECT_THAT(result.err, HasSubstr("bad criteria, at character ")) << criteria;
  }
}

TEST_F(Mediaquery, RefusesAMissingFolder) {
  const ProgramResult result = RunQuery({"--", dir.Path("nowhere")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "mediaquery: " + dir.Path("nowhere") + ": there is no such folder\n");
}

TEST_F(Mediaquery, RefusesAFileInThePlaceOfAFolder) {
  const ProgramResult result = RunQuery({"--", dir.Path("tone.wav")});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, HasSubstr("there is no such folder"));
}

TEST_F(Mediaquery, RefusesAnEmptyFolderName) {
  EXPECT_EQ(RunQuery({""}).status, 2);
}

TEST_F(Mediaquery, TakesARelativeFolderFromTheWorkingDirectory) {
  EXPECT_THAT(Values(RunQuery({"Holiday"}, dir.Path()), "dc:title"), ElementsAre("boat", "sea"));
  EXPECT_THAT(Values(RunQuery({"."}, dir.Path("Holiday")), "dc:title"), ElementsAre("boat", "sea"));
  EXPECT_THAT(Values(RunQuery({"../Holiday/"}, dir.Path("Holiday")), "@id"),
              ElementsAre("boat.GIF", "sea.png"));
}

TEST_F(Mediaquery, EndsAtTheLimit) {
  for (const auto& option :
       std::vector<std::vector<std::string>>{{"--limit", "2"}, {"--limit=2"}}) {
    std::vector<std::string> arguments = option;
    arguments.insert(arguments.end(), {"--", dir.Path()});
    const ProgramResult result = RunQuery(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Lines(result.out).size(), 2u);
    EXPECT_THAT(result.err, HasSubstr("2 hits"));
    EXPECT_THAT(result.err, HasSubstr("stopped at the limit"));
  }
}

TEST_F(Mediaquery, DoesNotSpeakOfALimitThatItDoesNotReach) {
  EXPECT_THAT(RunQuery({"--limit", "4", "--", dir.Path()}).err, Not(HasSubstr("limit")));
}

TEST_F(Mediaquery, PrintsForHumanReadersWhenAskedTo) {
  const ProgramResult result = RunQuery({"--human", "--", dir.Path(), "dc:title = \"tone\""});
  EXPECT_EQ(result.status, 0);
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "{");
  EXPECT_EQ(lines[1], "  \"@id\": \"tone.wav\",");
  EXPECT_EQ(lines[lines.size() - 2], "  \"res@bitsPerSample\": 16");
  EXPECT_EQ(lines.back(), "}");
}

TEST_F(Mediaquery, RefusesArgumentsThatItDoesNotUnderstand) {
  const std::vector<std::string> bad[] = {
      {},
      {"--limit"},
      {"--limit=0", "."},
      {"--what", "."},
      {".", "*", "*"},
      {"--store", dir.Path("c")},
      {"--from", dir.Path("c"), "--store", dir.Path("d")},
  };
  for (const auto& arguments : bad) {
    const ProgramResult result = RunQuery(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    const std::vector<std::string> lines = Lines(result.err);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_NE(lines[0], "");
    EXPECT_THAT(lines[1], StartsWith("Usage: mediaquery [/limit<num>] [/human] "));
  }
}

TEST_F(Mediaquery, SaysHowAPathIsWrittenThatReadsAsAnOption) {
  const ProgramResult result = RunQuery({"/usr/share", "dc:title = \"x\""});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              StartsWith("Unknown option 'usr'\n"
                         "mediaquery: a path that begins with \"/\" reads as an option, write "
                         "\"--\" ahead of it: -- /usr/share\nUsage: "));
}

TEST_F(Mediaquery, TakesOptionsInEachOfTheirForms) {
  for (const char* form : {"--limit=1", "-limit=1", "/limit=1", "--limit:1", "/limit:1"})
    EXPECT_EQ(Lines(RunQuery({form, "--", dir.Path()}).out).size(), 1u) << form;
}

TEST_F(Mediaquery, ExplainsItself) {
  for (const char* form : {"--help", "-help", "/help"}) {
    const ProgramResult result = RunQuery({form});
    EXPECT_EQ(result.status, 0) << form;
    EXPECT_THAT(result.out, StartsWith("Usage: mediaquery [/limit<num>] [/human] [/store<str>] "
                                       "[/from<str>] [/watch<num>] [/console<str>] [/set<str>] "
                                       "[/help] [FOLDER] [CRITERIA]\n"))
        << form;
    EXPECT_THAT(result.out, HasSubstr("mediaquery --limit 5 -- /usr/share")) << form;
    EXPECT_EQ(result.err, "") << form;
  }
}

TEST_F(Mediaquery, TakesWhatFollowsTwoDashesAsItStands) {
  dir.MakeDir("--human");
  dir.Write("--human/x.png", MakePNG(1, 1));
  EXPECT_THAT(Values(RunQuery({"--", "--human"}, dir.Path()), "@id"), ElementsAre("x.png"));
}

TEST_F(Mediaquery, LeavesHiddenFilesOut) {
  dir.MakeDir("Hidden/folder");
  MakeHidden(dir.Write("Hidden/a.png", MakePNG(1, 1)));
  dir.Write("Hidden/folder/b.png", MakePNG(1, 1));
  MakeHidden(dir.Path("Hidden/folder"));
  dir.Write("Hidden/c.png", MakePNG(1, 1));
  EXPECT_THAT(Values(RunQuery({"--", dir.Path("Hidden")}), "@id"), ElementsAre("c.png"));
}

TEST_F(Mediaquery, SearchesAnEmptyFolder) {
  dir.MakeDir("Empty");
  const ProgramResult result = RunQuery({"--", dir.Path("Empty")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, StartsWith("0 files seen, 0 media items, 0 hits, "));
}

TEST_F(Mediaquery, KeepsNamesThatNeedEscapes) {
  dir.Write("a 'b' \xC3\xA9 & #.png", MakePNG(1, 1));
  const ProgramResult result = RunQuery({"--", dir.Path(), "dc:title contains \"\xC3\xA9\""});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(Values(result, "dc:title"), ElementsAre("a 'b' \xC3\xA9 & #"));
  EXPECT_THAT(result.out, HasSubstr("/a%20'b'%20%C3%A9%20&%20%23.png\""));
}

TEST_F(Mediaquery, DescribesFilesWhoseHeadersAreCut) {
  dir.MakeDir("Cut");
  const std::string wav = MakeWAV(2, 8000, 16, 4);
  for (size_t length = 0; length < wav.size(); ++length)
    dir.Write("Cut/" + std::to_string(length) + ".wav", wav.substr(0, length));
  const std::string jpeg = MakeJPEG(64, 48);
  for (size_t length = 0; length < jpeg.size(); ++length)
    dir.Write("Cut/" + std::to_string(length) + ".jpg", jpeg.substr(0, length));
  const ProgramResult result = RunQuery({"--", dir.Path("Cut")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Lines(result.out).size(), wav.size() + jpeg.size());
}

TEST_F(Mediaquery, SearchesTenThousandFiles) {
  dir.MakeDir("Many");
  for (int folder = 0; folder < 100; ++folder) {
    const std::string name = "Many/" + std::to_string(folder);
    dir.MakeDir(name);
    for (int file = 0; file < 100; ++file)
      dir.Write(name + "/" + std::to_string(file) + ".png", MakePNG(640, 480));
  }
  const ProgramResult result =
      RunQuery({"--", dir.Path("Many"), "dc:title = \"7\" and res@resolution = \"640x480\""});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Lines(result.out).size(), 100u);
  EXPECT_THAT(result.err, StartsWith("10000 files seen, 10000 media items, 100 hits, "));
}

TEST_F(Mediaquery, SearchesACatalogueAsTheFolderItself) {
  dir.Write("a 'b' \xC3\xA9 100% #.png", MakePNG(1, 1));
  const std::string file = dir.MakeDir("Out") + "/media.cat";
  for (const char* criteria : {"*", "res@size > \"15000\"", "dc:date >= \"2020-01-01\"",
                               "dc:title like \"s*\" or res@resolution = \"32x16\"",
                               "dc:title contains \"100%\"", "upnp:album exists true"}) {
    const ProgramResult plain = RunQuery({"--", dir.Path(), criteria});
    const ProgramResult stored = RunQuery({"--store", file, "--", dir.Path(), criteria});
    const ProgramResult read = RunQuery({"--from=" + file, criteria});
    EXPECT_EQ(plain.status, 0) << criteria;
    EXPECT_EQ(stored.status, 0) << stored.err;
    EXPECT_EQ(stored.out, plain.out) << criteria;
    EXPECT_EQ(read.status, 0) << read.err;
    EXPECT_EQ(read.out, plain.out) << criteria;
    EXPECT_THAT(read.err, StartsWith("4 lines read, 4 media items, "));
  }
  EXPECT_FALSE(dir.Has("Out/media.cat.tmp"));
}

TEST_F(Mediaquery, SearchesACatalogueOfAFolderThatIsGone) {
  dir.MakeDir("Gone");
  dir.Write("Gone/x.png", MakePNG(1, 1));
  EXPECT_EQ(RunQuery({"--store", "c.cat", "Gone"}, dir.Path()).status, 0);
  std::filesystem::remove_all(TempDir::Native(dir.Path("Gone")));
  EXPECT_THAT(Values(RunQuery({"--from", "c.cat"}, dir.Path()), "@id"), ElementsAre("x.png"));
  EXPECT_EQ(RunQuery({"--from", "c.cat", "dc:title = \"y\""}, dir.Path()).status, 1);
}

TEST_F(Mediaquery, ReplacesACatalogueAndWhatAnInterruptedRunLeft) {
  dir.Write("c.cat", "old");
  dir.Write("c.cat.tmp", "half");
  EXPECT_EQ(RunQuery({"--store", dir.Path("c.cat"), "--", dir.Path()}).status, 0);
  EXPECT_EQ(Lines(dir.Read("c.cat")).size(), 3u);
  EXPECT_FALSE(dir.Has("c.cat.tmp"));
}

TEST_F(Mediaquery, KeepsTheOldCatalogueWhenTheFolderIsMissing) {
  dir.Write("c.cat", "old");
  EXPECT_EQ(RunQuery({"--store", dir.Path("c.cat"), "--", dir.Path("nowhere")}).status, 2);
  EXPECT_EQ(dir.Read("c.cat"), "old");
  EXPECT_FALSE(dir.Has("c.cat.tmp"));
}

TEST_F(Mediaquery, RefusesAPlaceThatTakesNoCatalogue) {
  dir.MakeDir("d.cat.tmp/in");
  for (const std::string& place :
       {dir.Path("Holiday"), dir.Path("nowhere/c.cat"), dir.Path("d.cat")}) {
    const ProgramResult result = RunQuery({"--store", place, "--", dir.Path()});
    EXPECT_EQ(result.status, 2) << place;
    EXPECT_EQ(result.out, "") << place;
    EXPECT_THAT(result.err, StartsWith("mediaquery: " + place)) << place;
  }
}

TEST_F(Mediaquery, RefusesACatalogueThatIsMissingOrAFolder) {
  for (const std::string& place : {dir.Path("nowhere.cat"), dir.Path("Holiday")}) {
    const ProgramResult result = RunQuery({"--from", place});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, StartsWith("mediaquery: " + place + ": this "));
  }
}

TEST_F(Mediaquery, ReportsMalformedLinesAndPassesThemOver) {
  ASSERT_EQ(RunQuery({"--store", dir.Path("c.cat"), "--", dir.Path("Holiday")}).status, 0);
  const std::string good = dir.Read("c.cat");
  const std::string file = dir.Write("bad.cat", "{\"id\":\n" + good + "\n{\"id\":\"x\"");
  const ProgramResult result = RunQuery({"--from", file});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, RunQuery({"--from", dir.Path("c.cat")}).out);
  const std::vector<std::string> lines = Lines(result.err);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_THAT(lines[0], StartsWith("mediaquery: " + file + ", line 1: "));
  EXPECT_THAT(lines[1], StartsWith("mediaquery: " + file + ", line 4: "));
  EXPECT_THAT(lines[2], StartsWith("mediaquery: " + file + ", line 5: the line has no end"));
  EXPECT_THAT(lines[3], StartsWith("5 lines read, 2 media items, 2 hits, "));
  EXPECT_THAT(lines[3], HasSubstr("; 3 lines malformed"));
}

TEST_F(Mediaquery, PassesOverALineOfAHundredMillionBytes) {
  ASSERT_EQ(RunQuery({"--store", dir.Path("c.cat"), "--", dir.Path("Holiday")}).status, 0);
  const std::string file =
      dir.Write("long.cat", std::string(100000000, '[') + "\n" + dir.Read("c.cat"));
  const ProgramResult result = RunQuery({"--from", file});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Lines(result.out).size(), 2u);
  EXPECT_THAT(result.err, HasSubstr(", line 1: the line is longer than 1048576 bytes"));
}

TEST_F(Mediaquery, FindsNothingInAnEmptyCatalogue) {
  const ProgramResult result = RunQuery({"--from", dir.Write("empty.cat")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, StartsWith("0 lines read, 0 media items, 0 hits, "));
}

TEST_F(Mediaquery, WatchesUntilTheLimit) {
  const ProgramResult result = RunQuery({"--watch", "1000", "--limit", "2", "Holiday"}, dir.Path());
  EXPECT_EQ(result.status, 0);
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 2u);
  for (const std::string& line : lines)
    EXPECT_THAT(line, StartsWith("{\"change\":\"added\",\"@id\":\""));
  EXPECT_THAT(result.err, StartsWith("1 look: "));
  EXPECT_THAT(result.err, HasSubstr("; stopped at the limit"));
}

TEST_F(Mediaquery, FailsWhenTheFirstLookOfAWatchFails) {
  EXPECT_EQ(RunQuery({"--watch", "1", "nowhere"}, dir.Path()).status, 2);
  EXPECT_EQ(RunQuery({"--watch", "1", "--store", "no/c.cat", "Holiday"}, dir.Path()).status, 2);
}

TEST_F(Mediaquery, ServesATelnetClient) {
  const unsigned short port = TestSocket::Bound(SOCK_STREAM).Port();
  ProgramResult result;
  std::thread program([&] {
    result = RunQuery({"--console", std::to_string(port), "Holiday"}, dir.Path());
  });
  std::unique_ptr<LoopbackClient> client;
  const bool connected = WaitFor([&] {
    client = std::make_unique<LoopbackClient>(port);
    return client->IsConnected();
  });
  EXPECT_TRUE(connected);
  EXPECT_TRUE(client->Send("dc:title = \"sea\"\r\nquit\r\n"));
  const std::string text = client->ReceiveAll();
  program.join();
  EXPECT_THAT(text, StartsWith("Greetings from qelConsole!\r\nmediaquery: type criteria"));
  EXPECT_THAT(text, HasSubstr("\r\n> {\"@id\":\"sea.png\","));
  EXPECT_THAT(text, HasSubstr("2 files seen, 2 media items, 1 hit, "));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("1 query run, 1 hit\n"));
}

TEST_F(Mediaquery, FailsWhereNoConsoleCanListen) {
  const ProgramResult result = RunQuery({"--console", "192.0.2.1:2323", "Holiday"}, dir.Path());
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err,
              HasSubstr("mediaquery: no telnet client can be served at 192.0.2.1:2323\n"));
}
