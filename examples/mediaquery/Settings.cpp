#include "Settings.h"

#include <algorithm>
#include <memory>

#include <qel/config/Config.h>
#include <qel/config/ConfigConfig.h>
#include <qel/files/File.h>
#include <qel/files/PathName.h>

#include "MediaTypes.h"
#include "Options.h"
#include "QuietLog.h"

namespace mediaquery {

static const char kBootstrap[] = "ConfigPath.ini";
static const char kFileName[] = "mediaquery.ini";
static const char kNoMedia[] = "none";

// The sections with extensions, and the classes that these get.
static const struct {
  const char* section;
  const char* className;
} kClasses[] = {
    {"Pictures", kPhotoClass},
    {"Sounds", kTrackClass},
    {"Films", kMovieClass},
};

// What --set takes.
static const struct {
  const char* section;
  const char* key;  // null: any name
  uint32_t highest; // of a number from 0 on; 0: the value is a text
} kKnown[] = {
    {"Folders", nullptr, 0},   {"Search", "Limit", 0xFFFFFFFF}, {"Console", "Port", 65535},
    {"Console", "Address", 0}, {"Plugins", "Folder", 0},        {"Pictures", nullptr, 0},
    {"Sounds", nullptr, 0},    {"Films", nullptr, 0},
};

static bool IsSame(const std::string& a, const char* b) {
  return qelCString(a.c_str()).CompareNoCase(b) == 0;
}

static bool HasFile(const std::string& folder, const char* prefix) {
  return qelFile::Exists(qelConfig::GetValidPath(folder.c_str(), kFileName, prefix).c_str());
}

// Both files, as far as they are there. One that is missing is no reason for a log line.
static std::unique_ptr<qelConfig> OpenConfig(const SettingsPlace& place) {
  const bool hasBoth = HasFile(place.readFolder, "") && HasFile(place.writeFolder, "_");
  const std::unique_ptr<QuietLog> quiet(hasBoth ? nullptr : new QuietLog);
  return std::make_unique<qelConfig>(place.readFolder.c_str(), place.writeFolder.c_str(),
                                     kFileName);
}

bool FindSettings(SettingsPlace* place) {
  if (!qelFile::Exists(qelConfig::GetValidPath("", kBootstrap, "").c_str()))
    return false;
  qelCString readFolder;
  qelCString writeFolder;
  // A folder that can't be made has its line in the log. It may be the one to write to, which no search
  // needs.
  qelConfigConfig::GetConfigPaths(readFolder, writeFolder, kBootstrap);
  place->readFolder = readFolder.c_str();
  place->writeFolder = writeFolder.c_str();
  return true;
}

static std::string GetText(qelConfig* config, const char* section, const std::string& key) {
  return config->GetCStringWithSubstitution(section, key.c_str(), "", nullptr).c_str();
}

// The names of a section's keys, those of the installed file first.
static std::vector<std::string> GetKeys(qelConfig* config, const char* section) {
  std::vector<std::string> keys;
  for (const bool readOnly : {true, false})
    for (size_t i = 0; i < config->GetKeyCount(section, readOnly); ++i) {
      const std::string key = config->GetKeyNameCString(section, i, readOnly).c_str();
      if (std::find(keys.begin(), keys.end(), key) == keys.end())
        keys.push_back(key);
    }
  return keys;
}

// A relative folder counts from the program's, as all paths of the library do.
static std::string FromProgramFolder(const std::string& folder) {
  if (folder.empty() || folder[0] == '<' || qelPathName::IsAbsolute(folder.c_str()))
    return folder;
  return qelPathName::MakeDirPath(folder.c_str()).GetFullPath().c_str();
}

void LoadSettings(const SettingsPlace& place, Settings* settings) {
  const std::unique_ptr<qelConfig> config = OpenConfig(place);
  for (const std::string& key : GetKeys(config.get(), "Folders")) {
    const std::string folder = FromProgramFolder(GetText(config.get(), "Folders", key));
    if (!folder.empty())
      settings->folders.push_back(folder);
  }
  settings->limit = config->GetUInt32("Search", "Limit", settings->limit);
  settings->consolePort = config->GetUInt16("Console", "Port", settings->consolePort);
  settings->consoleAddress = GetText(config.get(), "Console", "Address");
  settings->pluginFolder = FromProgramFolder(GetText(config.get(), "Plugins", "Folder"));
  for (const auto& row : kClasses)
    for (const std::string& key : GetKeys(config.get(), row.section)) {
      const std::string mime = GetText(config.get(), row.section, key);
      if (!mime.empty())
        settings->extensions.push_back({key, row.className, mime == kNoMedia ? "" : mime});
    }
}

void ApplySettings(const Settings& settings, Options* options) {
  if (options->from.empty() && options->folders.empty())
    options->folders = settings.folders;
  // A catalogue needs the whole walk.
  if (options->limit == 0 && options->store.empty())
    options->limit = settings.limit;
  if (options->consoleGiven || settings.consolePort == 0)
    return;
  options->consolePort = settings.consolePort;
  options->consoleAddress =
      settings.consoleAddress.empty() ? kLoopbackAddress : settings.consoleAddress;
}

void ApplyExtensions(const Settings& settings) {
  for (const ExtensionSetting& setting : settings.extensions) {
    const MediaType* old = FindMediaType(setting.extension.c_str());
    const HeaderReader reader = old != nullptr ? old->readHeader : HeaderReader();
    if (setting.mime.empty())
      RemoveMediaType(setting.extension);
    else
      SetMediaType(setting.extension, {setting.className, setting.mime, reader});
  }
}

// False: the value is not one that the key takes.
static bool CheckNumber(const std::string& value, uint32_t highest, std::string* fault) {
  qelULong number = 0;
  if (qelCString(value.c_str()).ToUInt32(&number, 10) && number <= highest)
    return true;
  *fault = "the value must be a number from 0 to " + std::to_string(highest);
  return false;
}

// A name of letters, digits, "_" and "-" means the same to the file as here.
static bool IsPlainName(const std::string& name) {
  const auto isPlain = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '-';
  };
  return !name.empty() && name.size() <= 64 && std::all_of(name.begin(), name.end(), isPlain);
}

static bool CheckSetting(const std::string& section, const std::string& key,
                         const std::string& value, std::string* fault) {
  for (const char c : value)
    if (static_cast<unsigned char>(c) < ' ') {
      *fault = "the value has a control character";
      return false;
    }
  for (const auto& row : kKnown)
    if (IsSame(section, row.section) && (row.key == nullptr || IsSame(key, row.key)) &&
        IsPlainName(key))
      return row.highest == 0 || CheckNumber(value, row.highest, fault);
  *fault = "there is no setting of this name";
  return false;
}

bool SaveSetting(const SettingsPlace& place, const std::string& key, const std::string& value,
                 std::string* file, std::string* fault) {
  const size_t slash = std::min(key.find('/'), key.size());
  const std::string section = key.substr(0, slash);
  const std::string name = slash < key.size() ? key.substr(slash + 1) : "";
  if (!CheckSetting(section, name, value, fault))
    return false;
  const qelCString path = qelConfig::GetValidPath(place.writeFolder.c_str(), kFileName, "_");
  *file = qelPathName::MakeFilePath(path.c_str()).GetFullPath().c_str();
  // What can't be read would be lost: a save writes all that was read and the new value.
  if (qelFile::Exists(file->c_str()) && !qelFile::Access(file->c_str(), qelFileModeRead)) {
    *fault = *file + " can't be read";
    return false;
  }
  const std::unique_ptr<qelConfig> config = OpenConfig(place);
  if (!config->SetString(section.c_str(), name.c_str(), qelCString(value.c_str()))) {
    *fault = "ConfigPath.ini names no folder to write to";
    return false;
  }
  const qelCString wanted(value.c_str());
  // A line of the file has its limits, so the file is read again.
  if (!config->Save() ||
      OpenConfig(place)->GetCString(section.c_str(), name.c_str(), qelCString()) != wanted) {
    *fault = *file + " could not be written";
    return false;
  }
  return true;
}

} // namespace mediaquery
