// Saves and loads of layered configuration that end or fail at each of their file operations.
//
// Most scenes are played in memory, where the end of a process is that nothing has an effect any
// more; so each pair of an end or failure and a further end can be tried. The same scene is then
// played on the disk by child processes that really end, one for each operation, and leaves the same
// files.

#include <qel/config/qelConfigFile.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <qel/config/qelINIFile.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <tests/config/INITable.h>
#include <tests/config/InjectedFiles.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RunProgram.h>
#include <tests/support/TempDir.h>

// The linker's names, but for those that hold the type of a size: they come from CMakeLists.txt.
#define WRAPPED_OPEN __wrap__Z12qelFile_OpenPKciiPPv
#define WRAPPED_CLOSE __wrap__Z13qelFile_ClosePv
#define WRAPPED_EXISTS __wrap__Z14qelFile_ExistsPKc
#define WRAPPED_REMOVE __wrap__Z14qelFile_RemovePKc
#define WRAPPED_RENAME __wrap__Z14qelFile_RenamePKcS0_
#define REAL_OPEN __real__Z12qelFile_OpenPKciiPPv
#define REAL_CLOSE __real__Z13qelFile_ClosePv
#define REAL_EXISTS __real__Z14qelFile_ExistsPKc
#define REAL_REMOVE __real__Z14qelFile_RemovePKc
#define REAL_RENAME __real__Z14qelFile_RenamePKcS0_

static InjectedFiles g_files;

extern "C" {
int REAL_OPEN(const char*, int, int, void**);
int WRAPPED_OPEN(const char* name, int mode, int permissions, void** fd) {
  const std::string text = name != nullptr ? name : "";
  if ((mode & qelFileModeRead) != 0 && text.size() > 4 && text.substr(text.size() - 4) == ".tmp")
    g_files.hasReadUnfinished = true;
  return g_files.Do(FileOperation::Open, text, -1, [=] {
    return g_files.isInMemory ? g_files.Open(text, mode, fd)
                              : REAL_OPEN(name, mode, permissions, fd);
  });
}
int REAL_CLOSE(void*);
int WRAPPED_CLOSE(void* fd) {
  return g_files.Do(FileOperation::Close, "", -1,
                    [=] { return g_files.isInMemory ? 0 : REAL_CLOSE(fd); });
}
int QEL_REAL_READ(void*, void*, size_t);
int QEL_WRAPPED_READ(void* fd, void* buffer, size_t count) {
  return g_files.Do(FileOperation::Read, "", -1, [=] {
    return g_files.isInMemory ? g_files.Read(fd, buffer, count) : QEL_REAL_READ(fd, buffer, count);
  });
}
int QEL_REAL_WRITE(void*, const void*, size_t);
int QEL_WRAPPED_WRITE(void* fd, const void* buffer, size_t count) {
  return g_files.DoWrite(count, [=](size_t part) {
    return g_files.isInMemory ? g_files.Write(fd, buffer, part) : QEL_REAL_WRITE(fd, buffer, part);
  });
}
int REAL_EXISTS(const char*);
int WRAPPED_EXISTS(const char* name) {
  return g_files.Do(FileOperation::Exists, name, 0, [=] {
    return g_files.isInMemory ? static_cast<int>(g_files.files.count(name)) : REAL_EXISTS(name);
  });
}
int REAL_REMOVE(const char*);
int WRAPPED_REMOVE(const char* name) {
  return g_files.Do(FileOperation::Remove, name, -1,
                    [=] { return g_files.isInMemory ? g_files.Remove(name) : REAL_REMOVE(name); });
}
int REAL_RENAME(const char*, const char*);
int WRAPPED_RENAME(const char* from, const char* to) {
  return g_files.Do(FileOperation::Rename, from + std::string(" ") + to, -1, [=] {
    return g_files.isInMemory ? g_files.Rename(from, to) : REAL_RENAME(from, to);
  });
}
}

namespace {

// The whole files that there may be, by the value of "who".
std::string TextOf(const std::string& who) {
  return "[s]\r\nwho=" + who + "\r\n\r\n[t]\r\nfill=" + std::string(80, who[0]) + "\r\n";
}

// What the three names hold at the start of a scene.
struct Start {
  bool isValidThere;      // P with "a"
  bool isUnfinishedThere; // P.tmp with the beginning of another file
  bool isCompleteThere;   // P.ok with "b"

  // What a load makes of it; "" is the empty table of a first start.
  std::string Content() const { return isCompleteThere ? "b" : isValidThere ? "a" : ""; }
};

std::vector<Start> AllStarts() {
  std::vector<Start> starts;
  for (int bits = 0; bits != 8; ++bits)
    starts.push_back({(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0});
  return starts;
}

std::string UnfinishedText() {
  return TextOf("tmp").substr(0, 20);
}

// "a", "b" or "new" for exactly that content, "" for an empty table, else what is wrong.
std::string ContentOf(const qelINIFile* table) {
  static const std::pair<std::string, INIEntries> kWhole[] = {
      {"", {}},
      {"a", INITable(TextOf("a")).Entries()},
      {"b", INITable(TextOf("b")).Entries()},
      {"new", INITable(TextOf("new")).Entries()},
  };
  const INIEntries entries = EntriesOf(table);
  for (const auto& whole : kWhole)
    if (entries == whole.second)
      return whole.first;
  std::string text = "broken:";
  for (const auto& entry : entries)
    text += " " + entry.first + "=" + entry.second;
  return text;
}

// Changes all values and saves.
int ChangeAndSave(qelConfigFile* config) {
  qelConfigFile_SetValue(config, "s", "who", "new");
  qelConfigFile_SetValue(config, "t", "fill", std::string(80, 'n').c_str());
  return qelConfigFile_Save(config);
}

// The life of a program; `saves` times. Gives the result of the last save.
int LoadChangeSave(const std::string& path, int saves = 1) {
  qelConfigFile* config = qelConfigFile_New(nullptr, path.c_str());
  int result = 0;
  for (int i = 0; i != saves; ++i)
    result = ChangeAndSave(config);
  qelConfigFile_Delete(config);
  return result;
}

class ConfigCrash : public testing::Test {
protected:
  ConfigCrash() {
    char* path = qelPath_Normalize("crash.ini", 0, 0, nullptr);
    m_path = path;
    free(path);
    g_files = InjectedFiles();
  }
  ~ConfigCrash() override { g_files = InjectedFiles(); }

  // A new process on a disk as it is at the start.
  void Begin(const Start& start) {
    g_files.Restart();
    g_files.files.clear();
    if (start.isValidThere)
      g_files.files[m_path] = TextOf("a");
    if (start.isUnfinishedThere)
      g_files.files[m_path + ".tmp"] = UnfinishedText();
    if (start.isCompleteThere)
      g_files.files[m_path + ".ok"] = TextOf("b");
  }

  // The operations of a program's life without an injection.
  std::vector<FileOperation> Operations(const Start& start, int saves = 1) {
    Begin(start);
    LoadChangeSave(m_path, saves);
    return g_files.trace;
  }

  // What a new process without an injection loads.
  std::string Load() {
    g_files.Restart();
    qelConfigFile* config = qelConfigFile_New(nullptr, m_path.c_str());
    const std::string content = ContentOf(config->readWriteTable);
    qelConfigFile_Delete(config);
    EXPECT_FALSE(g_files.hasReadUnfinished); // nor has any process ahead of this one
    return content;
  }
  // The same; afterwards only P is there, and a further load gives the same.
  std::string LoadTwice() {
    const std::string content = Load();
    EXPECT_EQ(g_files.files.size(), content.empty() ? 0u : 1u);
    EXPECT_EQ(g_files.files.count(m_path), content.empty() ? 0u : 1u);
    EXPECT_EQ(Load(), content);
    return content;
  }

  std::string m_path;
  LogCapture m_log; // failures are no news here
};

// The ends of a process at each operation, each write cut in all ways or in one, and after the last.
std::vector<Injection> AllDeaths(const std::vector<FileOperation>& operations, size_t from = 0,
                                 int parts = kWriteParts) {
  std::vector<Injection> deaths;
  for (size_t at = from; at != operations.size(); ++at)
    for (int part = 0; part != (operations[at] == FileOperation::Write ? parts : 1); ++part)
      deaths.push_back({at, Injection::kDies, part});
  deaths.push_back({operations.size(), Injection::kDies});
  return deaths;
}

// The failures of each operation, with each of these statuses.
std::vector<Injection> AllFailures(const std::vector<FileOperation>& operations,
                                   const std::vector<int>& statuses) {
  std::vector<Injection> failures;
  for (size_t at = 0; at != operations.size(); ++at) {
    const FileOperation operation = operations[at];
    for (int part = 0; operation == FileOperation::Write && part != kWriteParts - 1; ++part)
      failures.push_back({at, Injection::kIsShort, part});
    for (const int status : statuses) {
      for (int part = 0; part != (operation == FileOperation::Write ? kWriteParts : 1); ++part)
        failures.push_back({at, Injection::kFails, part, status});
      if (operation == FileOperation::Remove || operation == FileOperation::Rename ||
          operation == FileOperation::Close)
        failures.push_back({at, Injection::kFails, 0, status, /*isDone=*/true});
    }
  }
  return failures;
}

// The number of the rename from P.tmp to P.ok: it alone makes the new content count. It is the last
// rename but one.
size_t DecisiveRename(const std::vector<FileOperation>& operations) {
  std::vector<size_t> renames;
  for (size_t at = 0; at != operations.size(); ++at)
    if (operations[at] == FileOperation::Rename)
      renames.push_back(at);
  return renames.at(renames.size() - 2);
}

std::string Describe(const Start& start, const Injection& injection) {
  return std::string(start.isValidThere ? "P " : "") + (start.isUnfinishedThere ? "tmp " : "") +
         (start.isCompleteThere ? "ok " : "") + "operation " + std::to_string(injection.at) +
         " effect " + std::to_string(injection.effect) + " part " + std::to_string(injection.part) +
         (injection.isDone ? " done" : "");
}

void Report(const char* what, size_t count) {
  printf("%s: %lu\n", what, static_cast<unsigned long>(count));
  testing::Test::RecordProperty("points", static_cast<int>(count));
}

} // namespace

// What the scenes below end and fail: nothing that a save or a recovery does goes past them.
TEST_F(ConfigCrash, SeesEachOperationOfALoadAndASave) {
  static const char* const kKinds[] = {"open",   "close",  "read",  "write",
                                       "exists", "remove", "rename"};
  const auto replaced = [](std::string text, const std::string& from) {
    for (size_t at; (at = text.find(from)) != std::string::npos;)
      text.replace(at, from.size(), "P");
    return text;
  };
  const auto lines = [&](const Start& start) {
    const std::vector<FileOperation> operations = Operations(start);
    std::string text;
    for (size_t at = 0; at != operations.size(); ++at)
      text += kKinds[static_cast<int>(operations[at])] +
              replaced(g_files.names[at].empty() ? "" : " " + g_files.names[at], m_path) + "\n";
    return text;
  };
  const std::string looks = "exists P\nexists P.tmp\nexists P.ok\n";
  const std::string write = "open P.tmp\nwrite\nwrite\nwrite\nwrite\nwrite\nclose\n";
  const std::string commit = "remove P.ok\nrename P.tmp P.ok\nremove P\nrename P.ok P\n";
  EXPECT_EQ(lines({true, true, true}),
            looks + "remove P.tmp\nremove P\nrename P.ok P\nopen P\nread\nread\nclose\n" +
                "exists P.ok\n" + write + commit);
  EXPECT_EQ(lines({false, false, false}), looks + "open P\nexists P.ok\n" + write + commit);
}

TEST_F(ConfigCrash, LeavesTheOldContentAheadOfTheDecisiveRenameAndTheNewBehind) {
  size_t count = 0;
  for (const Start& start : AllStarts()) {
    const std::vector<FileOperation> operations = Operations(start);
    EXPECT_EQ(LoadTwice(), "new");
    const size_t decisive = DecisiveRename(operations);
    for (const Injection& death : AllDeaths(operations)) {
      SCOPED_TRACE(Describe(start, death));
      Begin(start);
      g_files.injections = {death};
      LoadChangeSave(m_path);
      EXPECT_EQ(LoadTwice(), death.at <= decisive ? start.Content() : "new");
      ++count;
    }
  }
  Report("ends of a process in a load and a save", count);
  EXPECT_GT(count, 300u);
}

TEST_F(ConfigCrash, SurvivesASecondEndInsideTheRecovery) {
  size_t count = 0;
  for (const Start& start : AllStarts()) {
    const std::vector<FileOperation> operations = Operations(start);
    const size_t decisive = DecisiveRename(operations);
    for (const Injection& death : AllDeaths(operations)) {
      Begin(start);
      g_files.injections = {death};
      LoadChangeSave(m_path);
      const auto left = g_files.files;
      Load();
      for (const Injection& second : AllDeaths(g_files.trace)) {
        g_files.Restart();
        g_files.files = left;
        g_files.injections = {second};
        qelConfigFile_Delete(qelConfigFile_New(nullptr, m_path.c_str()));
        ASSERT_EQ(LoadTwice(), death.at <= decisive ? start.Content() : "new")
            << Describe(start, death) << ", then " << second.at;
        ++count;
      }
    }
  }
  Report("second ends inside the recovery", count);
  EXPECT_GT(count, 2000u);
}

TEST_F(ConfigCrash, KeepsAWholeFileWhenAnOperationFails) {
  size_t count = 0;
  for (const Start& start : AllStarts()) {
    const std::vector<FileOperation> operations = Operations(start);
    // The first one stands for each error without a status of its own, a permission that is missing
    // or a broken disk.
    for (const Injection& failure :
         AllFailures(operations, {qelFileErrorGeneric, qelFileErrorWriteProtected,
                                  qelFileErrorDiskFull, qelFileErrorNotFound})) {
      SCOPED_TRACE(Describe(start, failure));
      Begin(start);
      g_files.injections = {failure};
      const int saved = LoadChangeSave(m_path);
      const std::string content = LoadTwice();
      EXPECT_TRUE(content == "new" || (saved == 0 && content == start.Content())) << content;
      ++count;
    }
  }
  Report("single failures", count);
  EXPECT_GT(count, 1000u);
}

TEST_F(ConfigCrash, KeepsAWholeFileWhenTheProcessEndsAfterAFailure) {
  size_t count = 0;
  for (const Start& start : AllStarts()) {
    if (start.isUnfinishedThere && !(start.isValidThere && start.isCompleteThere))
      continue; // what is removed at the start adds nothing but time
    for (const Injection& failure : AllFailures(Operations(start), {qelFileErrorGeneric})) {
      Begin(start);
      g_files.injections = {failure};
      LoadChangeSave(m_path, /*saves=*/2); // the second one repeats a save that failed
      // A program that could not complete the recovery goes on with what it has read.
      const std::set<std::string> old = {start.Content(),
                                         start.isValidThere ? "a" : start.Content()};
      for (const Injection& death : AllDeaths(g_files.trace, failure.at + 1, /*parts=*/1)) {
        Begin(start);
        g_files.injections = {failure, death};
        LoadChangeSave(m_path, /*saves=*/2);
        const std::string content = Load();
        ASSERT_TRUE(content == "new" || old.count(content) != 0)
            << content << " after " << Describe(start, failure) << ", then "
            << Describe(start, death);
        ++count;
      }
    }
  }
  Report("failures with an end behind them", count);
  EXPECT_GT(count, 5000u);
}

// What is said -------------------------------------------------------------------------

namespace {

// The lines of a program's life in which one operation of a kind, counted from 0, fails.
class ConfigFailure : public ConfigCrash {
protected:
  size_t Number(FileOperation operation, int which) {
    const std::vector<FileOperation>& trace = g_files.trace;
    for (size_t at = 0; at != trace.size(); ++at)
      if (trace[at] == operation && which-- == 0)
        return at;
    ADD_FAILURE() << "no such operation";
    return 0;
  }
  Injection Failing(FileOperation operation, int which, bool isDone = false) {
    return {Number(operation, which), Injection::kFails, 0, -1, isDone};
  }
  std::string Lines(const Start& start, const std::vector<Injection>& failures) {
    Begin(start);
    g_files.injections = failures;
    m_log.Clear();
    qelConfigFile* config = qelConfigFile_New(nullptr, m_path.c_str());
    if (m_isSaving) {
      EXPECT_EQ(ChangeAndSave(config), 0);
    }
    qelConfigFile_Delete(config);
    for (const CapturedLine& line : m_log.Lines()) {
      EXPECT_EQ(line.level, 1u);
      EXPECT_EQ(line.module, 26u);
    }
    return m_log.All();
  }
  bool m_isSaving = false;
};

const Start kAll = {true, true, true};
const Start kValid = {true, false, false};

} // namespace

TEST_F(ConfigFailure, OfARecoveryIsLogged) {
  Operations(kAll);
  EXPECT_EQ(Lines(kAll, {Failing(FileOperation::Remove, 0)}),
            "Cannot remove temporary file '" + m_path + ".tmp'\n");
  EXPECT_EQ(g_files.files[m_path], TextOf("b")); // it went on
  Operations(kAll);
  EXPECT_EQ(Lines(kAll, {Failing(FileOperation::Remove, 1)}),
            "Cannot remove previous valid file '" + m_path + "', aborting commit\n");
  EXPECT_EQ(g_files.files[m_path], TextOf("a"));
  EXPECT_EQ(g_files.files[m_path + ".ok"], TextOf("b"));
  Operations(kAll);
  EXPECT_EQ(Lines(kAll, {Failing(FileOperation::Rename, 0)}),
            "Cannot commit file '" + m_path + ".ok'\n");
  EXPECT_EQ(g_files.files[m_path + ".ok"], TextOf("b"));
}

TEST_F(ConfigFailure, OfASaveIsLogged) {
  m_isSaving = true;
  const struct {
    FileOperation operation;
    int which;
    std::string lines;
  } cases[] = {
      {FileOperation::Open, 1, "Cannot save file '" + m_path + ".tmp'\n"},
      {FileOperation::Write, 2, "Cannot save file '" + m_path + ".tmp'\n"},
      {FileOperation::Close, 1, "Cannot save file '" + m_path + ".tmp'\n"},
      {FileOperation::Rename, 0,
       "Cannot save file: cannot rename temporary file '" + m_path + ".tmp'\n"},
      {FileOperation::Rename, 1, "Cannot save file: cannot commit file '" + m_path + ".ok'\n"},
      {FileOperation::Remove, 1, "Cannot save file: cannot commit file '" + m_path + ".ok'\n"},
  };
  for (const auto& c : cases) {
    Operations(kValid);
    EXPECT_EQ(Lines(kValid, {Failing(c.operation, c.which)}), c.lines);
  }
}

TEST_F(ConfigFailure, OfASaveNamesTheFileThatStayedInTheWay) {
  // The recovery stops at P, so that the save meets a ".ok".
  m_isSaving = true;
  Operations(kAll);
  const Injection stopped = Failing(FileOperation::Remove, 1);
  const std::string recovery =
      "Cannot remove previous valid file '" + m_path + "', aborting commit\n";
  const auto trace = [&](const std::vector<Injection>& failures) {
    Begin(kAll);
    g_files.injections = failures;
    LoadChangeSave(m_path);
  };
  trace({stopped});
  const Injection stays = Failing(FileOperation::Remove, 2);
  EXPECT_EQ(Lines(kAll, {stopped, stays}),
            recovery + "Cannot save file: cannot rename temporary file '" + m_path + ".tmp'\n" +
                "Cannot save file: Was not able to remove previous valid file '" + m_path +
                ".ok'\n");
  trace({stopped});
  const Injection told = Failing(FileOperation::Remove, 2, /*isDone=*/true);
  trace({stopped, told});
  EXPECT_EQ(Lines(kAll, {stopped, told, Failing(FileOperation::Rename, 1)}),
            recovery + "Cannot save file: cannot commit file '" + m_path + ".ok'\n" +
                "Cannot save file: Was not able to remove previous valid file '" + m_path + "'\n");
}

TEST_F(ConfigFailure, ToBringTheOnlyWholeFileToItsPlaceStopsASave) {
  m_isSaving = true;
  const Start complete = {false, false, true};
  Operations(complete);
  const Injection first = Failing(FileOperation::Rename, 0);
  Begin(complete);
  g_files.injections = {first};
  LoadChangeSave(m_path);
  EXPECT_EQ(Lines(complete, {first, Failing(FileOperation::Rename, 1)}),
            "Cannot commit file '" + m_path + ".ok'\nCannot save file: cannot commit file '" +
                m_path + ".ok'\n");
  EXPECT_EQ(g_files.files[m_path + ".ok"], TextOf("b"));
}

TEST_F(ConfigFailure, OfAReadLeavesTheTableEmpty) {
  Operations(kValid);
  const Injection second = Failing(FileOperation::Read, 1);
  Begin(kValid);
  g_files.injections = {second};
  qelConfigFile* config = qelConfigFile_New(nullptr, m_path.c_str());
  EXPECT_EQ(qelINIFile_Count(config->readWriteTable), 0u);
  EXPECT_EQ(g_files.trace.back(), FileOperation::Close);
  qelConfigFile_Delete(config);
}

TEST(qelINIFileLoadFile, ReadsPiecesOf100BytesUntilOneIsShort) {
  g_files = InjectedFiles();
  for (const size_t length : {0u, 99u, 100u, 250u}) {
    char* path = qelPath_Normalize("x.ini", 0, 0, nullptr);
    g_files.Restart();
    g_files.files[path] = std::string(length, '\n');
    const INITable table;
    EXPECT_EQ(qelINIFile_LoadFile(path, table), 1);
    EXPECT_EQ(g_files.trace.size(), 2 + length / 100 + 1);
    free(path);
  }
  g_files = InjectedFiles();
}

TEST(qelINIFileSave, DoesNotTellAFailedWrite) {
  for (const Injection& failure : {Injection{1, Injection::kFails, 0, qelFileErrorDiskFull},
                                   Injection{1, Injection::kIsShort, 1},
                                   Injection{2, Injection::kFails, 0, qelFileErrorGeneric}}) {
    g_files = InjectedFiles();
    const INITable table("a=1");
    g_files.injections = {failure};
    EXPECT_EQ(qelINIFile_Save("x.ini", table), 1);
    g_files.Restart();
    g_files.injections = {failure};
    EXPECT_EQ(qelINIFile_SaveWhole("x.ini", table), 0);
    g_files.Restart();
    EXPECT_EQ(qelINIFile_SaveWhole("x.ini", table), 1);
  }
  g_files = InjectedFiles();
}

// Real processes -----------------------------------------------------------------------

// The child's part: reads from "plan" in its directory where it is to fail and to end.
TEST(ConfigCrashChild, DISABLED_EndsWhereItsPlanSays) {
  std::ifstream plan("plan", std::ios::binary);
  std::string path;
  ASSERT_TRUE(std::getline(plan, path));
  g_files = InjectedFiles();
  g_files.isInMemory = false;
  int effect = 0;
  Injection injection = {0, Injection::kDies};
  while (plan >> injection.at >> effect >> injection.part) {
    injection.effect = static_cast<Injection::Effect>(effect);
    g_files.injections.push_back(injection);
  }
  EXPECT_FALSE(g_files.injections.empty());
  LoadChangeSave(path);
  EXPECT_FALSE(g_files.hasReadUnfinished);
  g_files = InjectedFiles();
}

namespace {

class ConfigCrashProcess : public ConfigCrash {
protected:
  // Plays these injections in a child on the disk and in memory; both leave the same files.
  void ExpectTheSameFiles(const Start& start, const std::vector<Injection>& injections,
                          int expectedStatus) {
    const std::string names[] = {"", ".tmp", ".ok"};
    const TempDir dir;
    std::string plan = dir.Path("crash.ini") + "\n";
    for (const Injection& injection : injections)
      plan += std::to_string(injection.at) + " " + std::to_string(injection.effect) + " " +
              std::to_string(injection.part) + "\n";
    dir.Write("plan", plan);
    Begin(start);
    for (const std::string& name : names)
      if (g_files.files.count(m_path + name) != 0)
        dir.Write("crash.ini" + name, g_files.files[m_path + name]);
    const qelOwnedText program(qelPath_GetApplicationFileName());
    const ProgramResult result = RunProgram(
        program.get(), {"--gtest_also_run_disabled_tests", "--gtest_filter=ConfigCrashChild.*"},
        dir.Path());
    EXPECT_EQ(result.status, expectedStatus) << result.out;

    g_files.injections = injections;
    LoadChangeSave(m_path);
    for (const std::string& name : names) {
      const auto file = g_files.files.find(m_path + name);
      EXPECT_EQ(dir.Read("crash.ini" + name),
                file != g_files.files.end() ? file->second : "(missing)");
    }
  }
};

} // namespace

TEST_F(ConfigCrashProcess, LeavesTheSameFilesWhenItReallyEnds) {
  const Start start = {true, true, true};
  const std::vector<FileOperation> operations = Operations(start);
  size_t count = 0;
  for (const Injection& death : AllDeaths(operations)) {
    SCOPED_TRACE(Describe(start, death));
    ExpectTheSameFiles(start, {death}, death.at < operations.size() ? kKilledStatus : 0);
    ++count;
  }
  Report("processes that really ended", count);
  EXPECT_GT(count, 40u);
}

// A save then meets P.ok alone.
TEST_F(ConfigCrashProcess, LeavesTheSameFilesWhenItReallyEndsBehindAFailedRecovery) {
  const Start start = {false, true, true};
  const std::vector<FileOperation> operations = Operations(start);
  const size_t rename = static_cast<size_t>(
      std::find(operations.begin(), operations.end(), FileOperation::Rename) - operations.begin());
  const Injection failure = {rename, Injection::kFails};
  Begin(start);
  g_files.injections = {failure};
  LoadChangeSave(m_path);
  const std::vector<FileOperation> others = g_files.trace;
  size_t count = 0;
  for (const Injection& death : AllDeaths(others, rename + 1, /*parts=*/1)) {
    SCOPED_TRACE(Describe(start, death));
    ExpectTheSameFiles(start, {failure, death}, death.at < others.size() ? kKilledStatus : 0);
    ++count;
  }
  Report("processes that really ended behind a failed recovery", count);
  EXPECT_GT(count, 10u);
}
