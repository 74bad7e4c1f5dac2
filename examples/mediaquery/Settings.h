#ifndef EXAMPLES_MEDIAQUERY_SETTINGS_H
#define EXAMPLES_MEDIAQUERY_SETTINGS_H
//===----------------------------------------------------------------------===//
// The program's settings, by qelConfig: "mediaquery.ini" with what was installed and
// "_mediaquery.ini" with what --set saved, in the folders that "ConfigPath.ini"
// beside the program names (qelConfigConfig). All of them may be missing.
//
//   [Folders]                       [Search]        [Console]           [Plugins]
//   Music=%env.HOME%/Music          Limit=100       Port=4000           Folder=./Readers
//   Photos=<MyPictures>                             Address=127.0.0.1
//
//   [Pictures] [Sounds] [Films]     one key for each extension
//   heic=image/heic                 files of it are media, of this MIME type
//   svg=none                        they are not
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <string>
#include <vector>

namespace mediaquery {

struct Options;

// Where the settings are kept; as ConfigPath.ini has it, relative names count from the program's folder.
struct SettingsPlace {
  std::string readFolder;  // of mediaquery.ini
  std::string writeFolder; // of _mediaquery.ini; empty: there is none
};

struct ExtensionSetting {
  std::string extension;
  std::string className; // of the section that it stands in
  std::string mime;      // empty: files of this extension are no media
};

struct Settings {
  std::vector<std::string> folders; // to search when the command line names none
  uint32_t limit = 0;               // 0: none
  std::string consoleAddress;       // means nothing without a port
  uint16_t consolePort = 0;         // 0: no console
  std::string pluginFolder;         // empty: the library's default
  std::vector<ExtensionSetting> extensions;
};

// Reads ConfigPath.ini; the folders that it names are made if they are missing. False: there is no such
// file beside the program, and *place is untouched.
bool FindSettings(SettingsPlace* place);

// Reads the settings. What is missing, and a number that is none, stays as it is.
void LoadSettings(const SettingsPlace& place, Settings* settings);

// What the command line does not tell comes from the settings.
void ApplySettings(const Settings& settings, Options* options);

// Changes the table of media types.
void ApplyExtensions(const Settings& settings);

// Saves the value of "section/key"; *file is the path of the file. False: *fault says why not.
bool SaveSetting(const SettingsPlace& place, const std::string& key, const std::string& value,
                 std::string* file, std::string* fault);

} // namespace mediaquery

#endif
