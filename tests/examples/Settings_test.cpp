#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/PathName.h>
#include <qel/multiplatform/qelPlatform.h>

#include <examples/mediaquery/MediaTypes.h>
#include <examples/mediaquery/Options.h>
#include <examples/mediaquery/Settings.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Two folders: "Read" with mediaquery.ini and "Write" with _mediaquery.ini.
class SettingsTest : public testing::Test {
protected:
  SettingsTest() : place{dir.MakeDir("Read"), dir.MakeDir("Write")} {}
  ~SettingsTest() override { ResetMediaTypes(); }

  Settings Load() {
    Settings settings;
    LoadSettings(place, &settings);
    return settings;
  }
  // What keeps a setting from being saved; empty: nothing did.
  std::string Save(const std::string& key, const std::string& value) {
    std::string file;
    std::string fault;
    const bool saved = SaveSetting(place, key, value, &file, &fault);
    EXPECT_EQ(saved, fault.empty());
    EXPECT_TRUE(!fault.empty() || file == dir.Path("Write/_mediaquery.ini")) << file;
    return fault;
  }

  TempDir dir;
  SettingsPlace place;
  LogCapture log;
};

} // namespace

TEST_F(SettingsTest, AreEmptyWithoutFiles) {
  const Settings settings = Load();
  EXPECT_THAT(settings.folders, IsEmpty());
  EXPECT_THAT(settings.extensions, IsEmpty());
  EXPECT_EQ(settings.limit, 0u);
  EXPECT_EQ(settings.consolePort, 0u);
  EXPECT_EQ(settings.consoleAddress + settings.pluginFolder, "");
  EXPECT_EQ(log.All(), "");
  EXPECT_FALSE(dir.Has("Write/_mediaquery.ini"));
}

TEST_F(SettingsTest, AreReadFromBothFiles) {
  dir.Write("Read/mediaquery.ini", "[Folders]\nMusic=<m>\nPhotos=<MyPictures>\n"
                                   "[Search]\nLimit=100\n[Console]\nPort=4000\nAddress=127.0.0.3\n"
                                   "[Plugins]\nFolder=<plugins>\n");
  dir.Write("Write/_mediaquery.ini", "[Folders]\nmore=<x y>\nMUSIC=<n>\n[search]\nlimit=7\n");
  const Settings settings = Load();
  EXPECT_THAT(settings.folders, ElementsAre("<n>", "<MyPictures>", "<x y>"));
  EXPECT_EQ(settings.limit, 7u);
  EXPECT_EQ(settings.consolePort, 4000u);
  EXPECT_EQ(settings.consoleAddress, "127.0.0.3");
  EXPECT_EQ(settings.pluginFolder, "<plugins>");
  EXPECT_EQ(log.All(), "");
}

TEST_F(SettingsTest, LeaveAFolderOutWhoseValueIsEmpty) {
  dir.Write("Read/mediaquery.ini", "[Folders]\nMusic=<m>\nFilms=<f>\n");
  dir.Write("Write/_mediaquery.ini", "[Folders]\nmusic=\n");
  EXPECT_THAT(Load().folders, ElementsAre("<f>"));
}

TEST_F(SettingsTest, TakeEnvironmentVariablesIntoValues) {
  ASSERT_EQ(qelSetEnvironmentVariable("MEDIAQUERY_TEST", "<me>"), 0);
  dir.Write("Read/mediaquery.ini", "[Folders]\na=%env.MEDIAQUERY_TEST%/Music\nb=<100%%>\n"
                                   "[Plugins]\nFolder=%env.MEDIAQUERY_TEST%\n[Console]\nPort=1\n"
                                   "Address=%env.MEDIAQUERY_TEST%\n");
  const Settings settings = Load();
  EXPECT_THAT(settings.folders, ElementsAre("<me>/Music", "<100%>"));
  EXPECT_EQ(settings.pluginFolder, "<me>");
  EXPECT_EQ(settings.consoleAddress, "<me>");
}

TEST_F(SettingsTest, KeepAnAbsoluteFolderAndTakeARelativeOneFromTheProgramsFolder) {
  dir.Write("Read/mediaquery.ini", "[Folders]\na=" + dir.Path("x") + "\nb=./x\n");
  const Settings settings = Load();
  const qelPathName expected = qelPathName::MakeDirPath("./x");
  EXPECT_THAT(settings.folders, ElementsAre(dir.Path("x"), expected.GetFullPath().c_str()));
  EXPECT_TRUE(qelPathName::IsAbsolute(settings.folders[1].c_str()));
}

TEST_F(SettingsTest, PassByNumbersThatAreNone) {
  for (const char* value : {"x", "12x", "-1", "4294967296", ""}) {
    dir.Write("Read/mediaquery.ini",
              std::string("[Search]\nLimit=") + value + "\n[Console]\nPort=" + value + "\n");
    EXPECT_EQ(Load().limit, 0u) << value;
    EXPECT_EQ(Load().consolePort, 0u) << value;
  }
  dir.Write("Read/mediaquery.ini", "[Console]\nPort=65536\n");
  EXPECT_EQ(Load().consolePort, 0u);
}

TEST_F(SettingsTest, SurviveAnyBytesInTheirFile) {
  std::string bytes;
  for (int i = 0; i < 5000; ++i)
    bytes += static_cast<char>(i * 37 % 256);
  dir.Write("Read/mediaquery.ini", bytes + "\n[Search]\nLimit=3\n");
  EXPECT_EQ(Load().limit, 3u);
}

TEST_F(SettingsTest, AddRemoveAndMoveExtensions) {
  dir.Write("Read/mediaquery.ini", "[Pictures]\nHEIC=image/heic\nsvg=none\npng=image/x-png\n"
                                   "[Sounds]\nmod=audio/x-mod\n[Films]\ngif=video/x-gif\n");
  dir.Write("Write/_mediaquery.ini", "[Sounds]\nmod=none\nmid=audio/midi\n");
  ApplyExtensions(Load());
  EXPECT_EQ(FindMediaType("heic")->className, kPhotoClass);
  EXPECT_EQ(FindMediaType("heic")->mime, "image/heic");
  EXPECT_FALSE(FindMediaType("heic")->readHeader);
  EXPECT_EQ(FindMediaType("svg"), nullptr);
  EXPECT_EQ(FindMediaType("png")->mime, "image/x-png");
  EXPECT_TRUE(FindMediaType("png")->readHeader) << "its header is still read";
  EXPECT_EQ(FindMediaType("mod"), nullptr);
  EXPECT_EQ(FindMediaType("mid")->className, kTrackClass);
  EXPECT_EQ(FindMediaType("gif")->className, kMovieClass);
}

TEST_F(SettingsTest, GiveWayToTheCommandLine) {
  Settings settings;
  settings.folders = {"a", "b"};
  settings.limit = 5;
  settings.consolePort = 4000;
  Options fromSettings;
  ApplySettings(settings, &fromSettings);
  EXPECT_THAT(fromSettings.folders, ElementsAre("a", "b"));
  EXPECT_EQ(fromSettings.limit, 5u);
  EXPECT_EQ(fromSettings.consolePort, 4000u);
  EXPECT_EQ(fromSettings.consoleAddress, "127.0.0.1");
  Options given;
  given.folders = {"c"};
  given.limit = 9;
  given.consoleGiven = true;
  ApplySettings(settings, &given);
  EXPECT_THAT(given.folders, ElementsAre("c"));
  EXPECT_EQ(given.limit, 9u);
  EXPECT_EQ(given.consolePort, 0u);
}

TEST_F(SettingsTest, DoNotMeddleWithCatalogues) {
  Settings settings;
  settings.folders = {"a"};
  settings.limit = 5;
  Options store;
  store.store = "c.cat";
  ApplySettings(settings, &store);
  EXPECT_EQ(store.limit, 0u) << "a catalogue is of the whole walk";
  Options from;
  from.from = "c.cat";
  ApplySettings(settings, &from);
  EXPECT_THAT(from.folders, IsEmpty());
}

TEST_F(SettingsTest, AreSavedAndReadAgain) {
  dir.Write("Read/mediaquery.ini", "[Search]\nLimit=1\n");
  EXPECT_EQ(Save("Search/Limit", "12"), "");
  EXPECT_EQ(Save("folders/My_music-2", "<a \"b\" 'c'; #d \\e = %env.X%"), "");
  EXPECT_EQ(Save("Films/gif", "none"), "");
  EXPECT_EQ(Load().limit, 12u);
  EXPECT_THAT(Load().folders, ElementsAre("<a \"b\" 'c'; #d \\e = "));
  EXPECT_EQ(Load().extensions.size(), 1u);
  EXPECT_EQ(Save("Search/Limit", "0"), "");
  EXPECT_EQ(Load().limit, 0u);
  EXPECT_EQ(dir.Read("Read/mediaquery.ini"), "[Search]\nLimit=1\n");
}

TEST_F(SettingsTest, AreSavedWithoutAnInstalledFileAndWithoutALogLine) {
  EXPECT_EQ(Save("Search/Limit", "12"), "");
  EXPECT_EQ(Load().limit, 12u);
  EXPECT_EQ(log.All(), "");
}

TEST_F(SettingsTest, RefuseToSaveWhatNobodyReads) {
  const char* const kUnknown = "there is no setting of this name";
  for (const char* key : {"Search", "Search/", "/Limit", "Search/Limits", "What/Limit", "Limit", "",
                          "Folders/", "Folders/a/b", "Folders/a b", "Folders/a=b", "Folders/#a",
                          "Pictures/h\xC3\xA9", "Console/Ports"})
    EXPECT_EQ(Save(key, "1"), kUnknown) << key;
  EXPECT_EQ(Save("Folders/" + std::string(65, 'x'), "1"), kUnknown);
  EXPECT_EQ(Save("Search/Limit", "x"), "the value must be a number from 0 to 4294967295");
  EXPECT_EQ(Save("Search/Limit", ""), "the value must be a number from 0 to 4294967295");
  EXPECT_EQ(Save("Console/Port", "65536"), "the value must be a number from 0 to 65535");
  EXPECT_EQ(Save("Folders/a", "b\nc"), "the value has a control character");
  EXPECT_FALSE(dir.Has("Write/_mediaquery.ini"));
}

TEST_F(SettingsTest, RefuseToSaveWithoutAFolderToWriteTo) {
  place.writeFolder.clear();
  EXPECT_EQ(Save("Search/Limit", "1"), "ConfigPath.ini names no folder to write to");
}

TEST_F(SettingsTest, TellWhenTheFileCanNotBeWritten) {
  place.writeFolder = dir.Path("nowhere");
  EXPECT_EQ(Save("Search/Limit", "1"),
            dir.Path("nowhere/_mediaquery.ini") + " could not be written");
  EXPECT_NE(log.All(), "");
}

TEST_F(SettingsTest, TellWhenALineOfTheFileCanNotHoldTheValue) {
  EXPECT_EQ(Save("Folders/a", std::string(2000, 'x')),
            dir.Path("Write/_mediaquery.ini") + " could not be written");
}
