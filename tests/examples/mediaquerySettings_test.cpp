// The running program with settings and plug-ins beside it: each test has a copy of the program in a
// folder of its own.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelPlatform.h>
#include <qel/multiplatform/qelPlugin.h>

#include <tests/support/MediaFiles.h>
#include <tests/support/RunProgram.h>
#include <tests/support/TempDir.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class MediaquerySettings : public testing::Test {
protected:
  void SetUp() override {
    const std::filesystem::path program = std::filesystem::absolute(MEDIAQUERY_PROGRAM);
    Copy(program, program.filename());
    // On Windows the libraries are looked for beside the program.
    for (const auto& entry : std::filesystem::directory_iterator(program.parent_path()))
      if (entry.path().extension() == ".dll")
        Copy(entry.path(), entry.path().filename());
    m_program = dir.Path(program.filename().u8string());
    dir.MakeDir("Media");
    dir.Write("Media/sea.png", MakePNG(640, 480));
    dir.Write("Media/boat.gif", MakeGIF(32, 16));
    dir.Write("Media/tone.aiff", MakeAIFF(2, 8000, 16, 20000));
    dir.Write("Media/old.xpm", "");
  }

  void Copy(const std::filesystem::path& from, const std::filesystem::path& name) {
    std::filesystem::copy_file(from, TempDir::Native(dir.Path()) / name);
  }
  // A module with the system's ending.
  static std::string ModuleName(const std::string& name) {
    return name + qelPlugin_GetFileExtension();
  }

  // ConfigPath.ini, and mediaquery.ini with this content.
  void Configure(const std::string& settings) {
    dir.Write("ConfigPath.ini", "ReadPath=./Installed\nWritePath=./Changed\n");
    dir.MakeDir("Installed");
    dir.Write("Installed/mediaquery.ini", settings);
  }

  ProgramResult Run(const std::vector<std::string>& arguments) {
    return RunProgram(m_program, arguments, dir.Path());
  }
  static size_t CountHits(const ProgramResult& result) {
    return static_cast<size_t>(std::count(result.out.begin(), result.out.end(), '\n'));
  }

  TempDir dir;

private:
  std::string m_program;
};

} // namespace

TEST_F(MediaquerySettings, MayBeMissing) {
  const ProgramResult result = Run({"Media"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(CountHits(result), 3u);
  EXPECT_THAT(result.err, StartsWith("4 files seen, 3 media items, 3 hits, "));
  EXPECT_THAT(Run({}).err, StartsWith("mediaquery: no folder is given\nUsage: mediaquery "));
  EXPECT_EQ(Run({}).status, 2);
  EXPECT_FALSE(dir.Has("mediaquery.ini"));
  EXPECT_FALSE(dir.Has("_mediaquery.ini"));
}

TEST_F(MediaquerySettings, MayBeMissingBesideABootstrapFile) {
  dir.Write("ConfigPath.ini", "ReadPath=./Installed\nWritePath=./Changed\n");
  const ProgramResult result = Run({"Media"});
  EXPECT_EQ(CountHits(result), 3u);
  EXPECT_THAT(result.err, StartsWith("4 files seen"));
}

TEST_F(MediaquerySettings, NameTheFoldersWithEnvironmentVariables) {
  ASSERT_EQ(qelSetEnvironmentVariable("MEDIAQUERY_TEST", dir.Path().c_str()), 0);
  Configure("[Folders]\nMedia=%env.MEDIAQUERY_TEST%/Media\n");
  EXPECT_EQ(CountHits(Run({})), 3u);
  EXPECT_EQ(CountHits(Run({"", "dc:title = \"sea\""})), 1u);
  dir.MakeDir("Other");
  EXPECT_EQ(Run({"Other"}).status, 1) << "the command line's folder alone is searched";
}

TEST_F(MediaquerySettings, TakeARelativeFolderFromTheProgramsFolder) {
  Configure("[Folders]\nMedia=./Media\n");
  EXPECT_THAT(Run({}).err, StartsWith("4 files seen, 3 media items"));
}

TEST_F(MediaquerySettings, NameSeveralFoldersThatAreSearchedAsOne) {
  Configure("[Folders]\nMedia=./Media\nOther=./Other\n");
  dir.MakeDir("Other");
  dir.Write("Other/sea.png", MakePNG(1, 1));
  const ProgramResult result = Run({});
  EXPECT_EQ(CountHits(result), 4u);
  EXPECT_THAT(result.err, HasSubstr("5 files seen, 4 media items, 4 hits, "));
  EXPECT_EQ(CountHits(Run({"--limit", "3"})), 3u);
  EXPECT_EQ(Run({"--store", "c.cat"}).status, 0);
  EXPECT_EQ(Run({"--from", "c.cat"}).out, result.out);
}

TEST_F(MediaquerySettings, ChangeWhatCountsAsMedia) {
  Configure("[Pictures]\nxpm=image/x-xpixmap\ngif=none\n");
  const ProgramResult result = Run({"Media"});
  EXPECT_THAT(result.out, HasSubstr("image/x-xpixmap"));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("boat")));
}

TEST_F(MediaquerySettings, LimitTheHitsUnlessTheCommandLineDoes) {
  Configure("[Search]\nLimit=1\n");
  EXPECT_EQ(CountHits(Run({"Media"})), 1u);
  EXPECT_EQ(CountHits(Run({"--limit", "2", "Media"})), 2u);
  EXPECT_EQ(CountHits(Run({"--store", "c.cat", "Media"})), 3u);
}

TEST_F(MediaquerySettings, AreSavedAndTold) {
  Configure("[Search]\nLimit=1\n");
  const ProgramResult result = Run({"--set", "Search/Limit", "2"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, StartsWith("Search/Limit is saved in "));
  EXPECT_THAT(result.out, EndsWith("/Changed/_mediaquery.ini\n"));
  EXPECT_THAT(dir.Read("Changed/_mediaquery.ini"), HasSubstr("[search]\r\nlimit=2\r\n"));
  EXPECT_EQ(CountHits(Run({"Media"})), 2u);
  EXPECT_EQ(Run({"/set:Search/Limit", "0"}).status, 0);
  EXPECT_EQ(CountHits(Run({"Media"})), 3u);
}

TEST_F(MediaquerySettings, AreNotSavedWithoutABootstrapFile) {
  const ProgramResult result = Run({"--set", "Search/Limit", "2"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "mediaquery: there is no ConfigPath.ini beside the program, which tells where "
            "settings are kept\n");
}

TEST_F(MediaquerySettings, AreNotSavedUnderAnUnknownName) {
  Configure("");
  const ProgramResult result = Run({"--set", "Search/Limits", "2"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "mediaquery: Search/Limits: there is no setting of this name\n");
}

TEST_F(MediaquerySettings, TellWhenTheyCanNotBeSaved) {
  Configure("[Search]\nLimit=1\n");
  dir.Write("Changed", "a file in the folder's place");
  const ProgramResult result = Run({"--set", "Search/Limit", "2"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("mediaquery: Search/Limit: "));
  EXPECT_THAT(result.err, HasSubstr("/Changed/_mediaquery.ini could not be written\n"));
  EXPECT_EQ(CountHits(Run({"Media"})), 1u) << "what is installed counts all the same";
}

TEST_F(MediaquerySettings, AreNotNeededForAReaderInPluginsBesideTheProgram) {
  EXPECT_THAT(Run({"Media", "dc:title = \"tone\""}).out, testing::Not(HasSubstr("res@duration")));
  dir.MakeDir("Plugins");
  Copy(AIFF_READER, "Plugins/" + ModuleName("aiff"));
  EXPECT_THAT(Run({"Media", "dc:title = \"tone\""}).out,
              HasSubstr("\"res@duration\":\"0:00:02.500\",\"res@protocolInfo\":\"http-get:*:audio/"
                        "aiff:*\",\"res@nrAudioChannels\":2,\"res@sampleFrequency\":8000,"
                        "\"res@bitsPerSample\":16}"));
}

TEST_F(MediaquerySettings, NameTheFolderOfPlugins) {
  Configure("[Plugins]\nFolder=./Readers\n");
  ProgramResult result = Run({"Media"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.err, HasSubstr("/Readers/: there is no such folder of plug-ins\n"));
  dir.MakeDir("Readers");
  Copy(AIFF_READER, "Readers/" + ModuleName("aiff"));
  dir.Write("Readers/" + ModuleName("broken"), "this is no module");
  result = Run({"Media", "res@duration exists true"});
  EXPECT_EQ(CountHits(result), 1u);
  EXPECT_THAT(result.err, HasSubstr("Failed to load '"));
  EXPECT_THAT(result.err, HasSubstr("/Readers/" + ModuleName("broken")));
}

TEST_F(MediaquerySettings, DropTheKindsOfFilesThatAPluginAdds) {
  Configure("[Sounds]\naiff=none\n");
  dir.MakeDir("Plugins");
  Copy(AIFF_READER, "Plugins/" + ModuleName("aiff"));
  EXPECT_EQ(CountHits(Run({"Media"})), 2u);
}
