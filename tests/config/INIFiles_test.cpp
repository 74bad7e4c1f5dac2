// Whole INI files: what is saved is read back, what others have written is read without loss, and
// large files are no trouble.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/config/qelINIFile.h>
#include <tests/config/INIHeld.h>
#include <tests/config/INIReader.h>
#include <tests/config/INITable.h>
#include <tests/support/TempDir.h>

namespace {

INIEntries LoadOfSave(const qelINIFile* table, const TempDir& dir) {
  const INITable loaded;
  EXPECT_EQ(qelINIFile_Save(dir.Path("x.ini").c_str(), table), 1);
  EXPECT_EQ(qelINIFile_LoadFile(dir.Path("x.ini").c_str(), loaded), 1);
  return loaded.Entries();
}

class RandomTexts {
public:
  explicit RandomTexts(unsigned seed) : m_random(seed) {}

  // Bytes of which many mean something in a file; without upper case.
  std::string Take(size_t longest, const std::string& others = "") {
    const std::string bytes = " \t\"'#;\\=[]/%abcxyz019._-\v\xC3\xA4\xFF" + others;
    std::string text(m_random() % (longest + 1), ' ');
    for (char& c : text)
      c = m_random() % 40 == 0 ? Any() : bytes[m_random() % bytes.size()];
    return text;
  }
  // A length that is mostly small, and at times near a limit.
  std::string TakeAnyLength() {
    static const size_t kLengths[] = {8, 8, 8, 30, 130, 600, 1100};
    return Take(kLengths[m_random() % 7]);
  }
  size_t Below(size_t n) { return m_random() % n; }

private:
  char Any() {
    const char c = static_cast<char>(1 + m_random() % 255);
    return c >= 'A' && c <= 'Z' ? 'a' : c;
  }
  std::mt19937 m_random;
};

} // namespace

TEST(INIRoundTrip, GivesRandomTablesBack) {
  const TempDir dir;
  size_t pairs = 0;
  for (unsigned seed = 0; seed != 150; ++seed) {
    RandomTexts random(seed);
    const INITable table("");
    std::string section;
    for (int i = 0; i != 60; ++i) {
      const std::string name = random.Take(12);
      if (random.Below(4) == 0 && IsHeldSection(name))
        section = name;
      const std::string key = random.Below(4) != 0 ? random.Take(9) : random.TakeAnyLength();
      const std::string value = random.TakeAnyLength();
      if (!IsHeldPair(key, value) || BeginsWithMark(key))
        continue;
      qelINIFile_SetValue(table, section.c_str(), key.c_str(), value.c_str());
      ++pairs;
    }
    ASSERT_EQ(LoadOfSave(table, dir), WrittenOrder(table)) << seed;
  }
  EXPECT_GT(pairs, 2000u);
}

TEST(INIRoundTrip, GivesASavedFileBackByteForByte) {
  const TempDir dir;
  for (unsigned seed = 0; seed != 100; ++seed) {
    RandomTexts random(seed);
    const INITable table("");
    for (int i = 0; i != 20; ++i) {
      const std::string key = random.Take(9);
      const std::string value = random.Take(9);
      if (IsHeldPair(key, value))
        qelINIFile_SetValue(table, i % 3 == 0 ? "a" : "b", key.c_str(), value.c_str());
    }
    qelINIFile_Save(dir.Path("x.ini").c_str(), table);
    const std::string text = dir.Read("x.ini");
    const INITable loaded(text);
    qelINIFile_Save(dir.Path("y.ini").c_str(), loaded);
    ASSERT_EQ(dir.Read("y.ini"), text) << seed;
  }
}

TEST(INIRoundTrip, LosesWhatTheFormatCannotHold) {
  const std::string longName(128, 'x');
  const struct {
    std::string section;
    std::string key;
    std::string value;
  } cases[] = {
      {"s", "k", "a\rb"}, {"s", "k", "a\nb"},
      {"s", "k", "\ta"},  {"s", "k", "a\v"},
      {"s", "", "v"},     {"s", "a=b", "v"},
      {"s", "a\nb", "v"}, {"s", "#a", "v"},
      {"s", ";a", "v"},   {"s", " a", "v"},
      {"s", "a\t", "v"},  {"s", longName, "v"},
      {"s", "[a", "v]"},  {"s", "[a]", "v"},
      {"a]b", "k", "v"},  {"a\nb", "k", "v"},
      {" a", "k", "v"},   {"a\t", "k", "v"},
      {"a/b", "k", "v"},  {"s", "k", std::string(1022, 'v')},
  };
  const TempDir dir;
  for (const auto& c : cases) {
    EXPECT_FALSE(IsHeldSection(c.section) && IsHeldPair(c.key, c.value));
    const INITable table("");
    qelINIFile_SetValue(table, c.section.c_str(), c.key.c_str(), c.value.c_str());
    EXPECT_NE(LoadOfSave(table, dir), table.Entries()) << c.section << "/" << c.key;
  }
  // Names that were given past the lower-casing, a section's own value, a byte order mark.
  const INITable raw("");
  qelINIFile_Store(raw, "Upper", nullptr);
  EXPECT_NE(LoadOfSave(raw, dir), raw.Entries());
  const INITable own("");
  qelINIFile_SetValue(own, "s", nullptr, "own");
  EXPECT_NE(LoadOfSave(own, dir), own.Entries());
  const INITable mark("");
  qelINIFile_SetValue(mark, nullptr, "\xEF\xBB\xBFk", "v");
  EXPECT_NE(LoadOfSave(mark, dir), mark.Entries());
  const INITable longSection("");
  qelINIFile_Store(longSection, longName.c_str(), nullptr);
  EXPECT_NE(LoadOfSave(longSection, dir), longSection.Entries());
}

// Files of others ----------------------------------------------------------------------

namespace {

std::map<std::string, std::string> Values(const qelINIFile* table) {
  const INIEntries entries = EntriesOf(table);
  return std::map<std::string, std::string>(entries.begin(), entries.end());
}

const char kUnit[] = "# A service, as its author ships it.\n"
                     "[Unit]\n"
                     "Description=Media server of the house\n"
                     "Documentation=man:house-media(8)\n"
                     "After=network-online.target local-fs.target\n"
                     "\n"
                     "[Service]\n"
                     "Type=notify\n"
                     "Environment=\"ROOT=/srv/media\" 'LANG=C'\n"
                     "ExecStart=/usr/sbin/house-media --root ${ROOT} \\\n"
                     "    --port 8200\n"
                     "Restart=on-failure\n"
                     "[Install]\n"
                     "WantedBy=multi-user.target\n";

const char kDesktop[] = "[Desktop Entry]\n"
                        "Type=Application\n"
                        "Name=Player\n"
                        "Name[de]=Abspielger\xC3\xA4t\n"
                        "Exec=player --new-window %U\n"
                        "MimeType=audio/flac;video/mp4;\n"
                        "Actions=new;\n"
                        "\n"
                        "[Desktop Action new]\n"
                        "Name=New Window\n";

const char kPhp[] = ";;;;;;;;;;;;;\n"
                    "; Settings  ;\n"
                    ";;;;;;;;;;;;;\n"
                    "[PHP]\r\n"
                    "engine = On\r\n"
                    "precision = 14 ; digits\r\n"
                    "disable_functions =\r\n"
                    "error_reporting = E_ALL & ~E_NOTICE\r\n"
                    "include_path = \".:/usr/share/php\"\r\n"
                    "[Date]\r\n"
                    ";date.timezone =\r\n"
                    "[mysqli]\r\n"
                    "mysqli.default_port = 3306\r\n";

const char kGit[] = "[core]\n"
                    "\trepositoryformatversion = 0\n"
                    "\tbare = false\n"
                    "[remote \"origin\"]\n"
                    "\turl = https://example.org/house.git\n"
                    "\tfetch = +refs/heads/*:refs/remotes/origin/*\n"
                    "[alias]\n"
                    "\tlg = \"log --format='%h;%s' --graph\"\n"
                    "[diff]\n"
                    "\tnoprefix\n";

const char kRegistry[] = "WINE REGISTRY Version 2\n"
                         ";; All keys relative to a root\n"
                         "\n"
                         "#arch=win64\n"
                         "\n"
                         "[Software\\\\House\\\\Media] 1700000000\n"
                         "#time=1da0000000000\n"
                         "@=\"Default\"\n"
                         "\"Port\"=dword:00002008\n"
                         "\"Root\"=\"C:\\\\Media\"\n";

} // namespace

TEST(INISamples, OfASystemdUnit) {
  const INITable table(kUnit);
  EXPECT_EQ(Values(table), INIReader(kUnit).values);
  EXPECT_EQ(table.At("unit/after"), "network-online.target local-fs.target");
  EXPECT_EQ(table.At("service/environment"), "ROOT=/srv/media");
  EXPECT_EQ(table.At("service/execstart"), "/usr/sbin/house-media --root ${ROOT} \\");
  EXPECT_EQ(table.At("service/--port 8200"), ""); // a continued line is a line
  EXPECT_EQ(table.At("install/wantedby"), "multi-user.target");
}

TEST(INISamples, OfADesktopEntry) {
  const INITable table(kDesktop);
  EXPECT_EQ(Values(table), INIReader(kDesktop).values);
  EXPECT_EQ(table.At("desktop entry/name[de]"), "Abspielger\xC3\xA4t");
  EXPECT_EQ(table.At("desktop entry/exec"), "player --new-window %U");
  EXPECT_EQ(table.At("desktop entry/mimetype"),
            "audio/flac"); // what stands behind ";" is a comment
  EXPECT_EQ(table.At("desktop action new/name"), "New Window");
}

TEST(INISamples, OfPhpSettings) {
  const INITable table(kPhp);
  EXPECT_EQ(Values(table), INIReader(kPhp).values);
  EXPECT_EQ(qelINIFile_GetInt32(table, "PHP", "precision", 0, nullptr), 14);
  EXPECT_EQ(table.At("php/disable_functions"), "");
  EXPECT_EQ(table.At("php/include_path"), ".:/usr/share/php");
  EXPECT_EQ(table.At("date"), "");
  EXPECT_EQ(qelINIFile_GetUInt32(table, "MySQLi", "mysqli.default_port", 0, nullptr), 3306u);
}

TEST(INISamples, OfGitSettings) {
  const INITable table(kGit);
  EXPECT_EQ(Values(table), INIReader(kGit).values);
  EXPECT_EQ(table.At("remote \"origin\"/url"), "https://example.org/house.git");
  EXPECT_EQ(table.At("alias/lg"), "log --format='%h;%s' --graph");
  EXPECT_EQ(table.At("diff/noprefix"), "");
  EXPECT_EQ(qelINIFile_GetBool(table, "core", "bare", 1, nullptr), 0);
}

TEST(INISamples, OfARegistry) {
  const INITable table(kRegistry);
  EXPECT_EQ(Values(table), INIReader(kRegistry).values);
  EXPECT_EQ(table.At("default/wine registry version 2"), "");
  EXPECT_EQ(table.At("software\\\\house\\\\media/@"), "Default");
  EXPECT_EQ(table.At("software\\\\house\\\\media/\"root\""), "C:\\Media");
}

namespace {

// Files of the system in a form of this kind. Those that can't be listed are left out.
std::vector<std::filesystem::path> SystemFiles() {
  static const std::set<std::string> kEndings = {
      ".service", ".socket", ".timer", ".target", ".mount", ".path",    ".slice", ".desktop",
      ".ini",     ".conf",   ".cfg",   ".reg",    ".theme", ".network", ".link"};
  const char* home = getenv("HOME");
  const std::string user = home != nullptr ? home : "";
  std::vector<std::filesystem::path> files = {"/etc/gitconfig", user + "/.gitconfig"};
  for (const std::string& root :
       {std::string("/usr/lib/systemd/system"), std::string("/usr/share/applications"),
        std::string("/usr/lib/php"), std::string("/etc"), user + "/.wine"}) {
    std::error_code error;
    const auto options = std::filesystem::directory_options::skip_permission_denied;
    std::filesystem::recursive_directory_iterator at(root, options, error);
    for (; !error && at != std::filesystem::recursive_directory_iterator(); at.increment(error)) {
      if (at.depth() > 2)
        at.disable_recursion_pending();
      if (kEndings.count(at->path().extension().string()) != 0 && files.size() < 2000)
        files.push_back(at->path());
    }
  }
  return files;
}

} // namespace

// On a machine without any such file this shows nothing; the samples above are always there.
TEST(INISystemFiles, LoseNoKeyThatTheFormatDescribes) {
  constexpr size_t kMost = 64 * 1024; // bytes of one file: the look-up is linear
  const TempDir dir;
  size_t files = 0;
  size_t keys = 0;
  for (const std::filesystem::path& path : SystemFiles()) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
      continue;
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    text.resize(std::min(text.size(), kMost));
    const INITable table(text);
    ASSERT_EQ(Values(table), INIReader(text).values) << path;
    const INITable loaded;
    ASSERT_EQ(qelINIFile_LoadFile(dir.Write("copy", text).c_str(), loaded), 1) << path;
    ASSERT_EQ(loaded.Entries(), table.Entries()) << path;
    ++files;
    keys += qelINIFile_Count(table);
  }
  printf("%lu files of this system with %lu entries\n", static_cast<unsigned long>(files),
         static_cast<unsigned long>(keys));
}

TEST(INIReader, AgreesOnRandomTexts) {
  for (unsigned seed = 0; seed != 3000; ++seed) {
    RandomTexts random(seed);
    const std::string text = random.Take(seed % 50 == 0 ? 4000 : 200, "\r\n\n");
    const INITable table(text);
    ASSERT_EQ(Values(table), INIReader(text).values) << text;
  }
}

// Large files --------------------------------------------------------------------------

TEST(INILargeFile, Of20000KeysLoadsAnswersAndSaves) {
  std::string text;
  for (int i = 0; i != 20000; ++i) {
    if (i % 100 == 0)
      text += (i != 0 ? "\r\n" : "") + std::string("[section") + std::to_string(i / 100) + "]\r\n";
    text += "key" + std::to_string(i) + "=value" + std::to_string(i) + "\r\n";
  }
  const TempDir dir;
  const INITable table;
  ASSERT_EQ(qelINIFile_LoadFile(dir.Write("x.ini", text).c_str(), table), 1);
  EXPECT_EQ(qelINIFile_Count(table), 20201u);
  EXPECT_EQ(qelINIFile_GetSectionCount(table), 201u);
  for (int i = 0; i < 20000; i += 37) {
    const std::string section = "SECTION" + std::to_string(i / 100);
    const std::string key = "Key" + std::to_string(i);
    int found = 0;
    ASSERT_EQ(qelINIFile_GetValue(table, section.c_str(), key.c_str(), "", &found),
              "value" + std::to_string(i));
  }
  EXPECT_EQ(qelINIFile_Save(dir.Path("y.ini").c_str(), table), 1);
  EXPECT_EQ(dir.Read("y.ini"), text);
}
