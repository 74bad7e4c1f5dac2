#ifndef QEL_MULTIPLATFORM_QELPATH_H
#define QEL_MULTIPLATFORM_QELPATH_H
//===----------------------------------------------------------------------===//
// Path text: absolute or relative, named special folders, the program's own
// name, separators. Every operation of the library that takes the name of a
// file or directory passes it through qelPath_Normalize, so a relative name is
// anchored on the directory of the running program, never on the current one.
//
// All text is UTF-8. Text that a system gives comes out with "/" between its
// parts.
// POSIX: text is bytes; what is not UTF-8 passes through unchanged.
//
// OWNERSHIP: every text result is new and the caller's, released with free.
// ERRORS: null, with a level-1 log line where the function says so.
// THREADS: any; there is no shared state.
//===----------------------------------------------------------------------===//

#include <cstddef>

// Flags of qelPath_Normalize.
// POSIX: neither changes anything.
constexpr int qelPathFlagNative = 1;   // the result has the system's separators
constexpr int qelPathFlagLongPath = 2; // the result carries the prefix for long paths

// The folders that qelPath_GetSpecialFolder knows on every system; their numbers are the reference
// platform's.
constexpr int qelPathFolderAppData = 0x1A;          // the user's application data
constexpr int qelPathFolderMusic = 0x0D;            // the user's music
constexpr int qelPathFolderPictures = 0x27;         // the user's pictures
constexpr int qelPathFolderVideos = 0x0E;           // the user's videos
constexpr int qelPathFolderAllUsersMusic = 0x35;    // shared music
constexpr int qelPathFolderAllUsersPictures = 0x36; // shared pictures
constexpr int qelPathFolderAllUsersVideos = 0x37;   // shared videos

// Results of qelPath_GetDriveKind.
constexpr int qelPathDriveUnknown = 0;
constexpr int qelPathDriveRemote = 1;
constexpr int qelPathDriveFixed = 2;
constexpr int qelPathDriveRemovable = 3;

// 1 if the text is absolute, otherwise 0. Null is not; the empty text is.
// Windows: a text that begins with "." is not; one whose second character is ":" or that begins
// with two backslashes is; nothing else is, "/x" and "//x" included.
// POSIX: a text that begins with "/" or "\" is; nothing else is.
int qelPath_IsAbsolute(const char* text);

// The text in the form that its user wants: special folders expanded, a relative text joined to its
// anchor by plain concatenation, all separators alike, and, if stripTrailing is not 0, without
// separators at its end ("/" and "C:/" stay).
//   flags   qelPathFlagNative, qelPathFlagLongPath
//   anchor  a text that ends in a separator; null: the program's directory
// Null if the text is null, if a special folder can't be expanded, or, after a log line, if there
// is no anchor. ".." and inner "." are left as they are.
char* qelPath_Normalize(const char* text, int stripTrailing, int flags, const char* anchor);

// The text with each "<Name>" replaced by the folder of that name. A shortened name means the first
// of MyAppData, MyMusic, MyPictures, MyVideos, AllUsersMusic, AllUsersPictures, AllUsersVideos that
// begins with it. Null for null, and, without a log line, for "<" without ">" behind it, for "<>",
// for an unknown name and for a folder that the system does not have. What a folder inserts is not
// expanded again.
char* qelPath_ExpandSpecialFolders(const char* text);

// The full file name of the running program. Null after a log line.
char* qelPath_GetApplicationFileName();

// That name up to and including its last "/"; null if there is none.
char* qelPath_GetApplicationDirectory();

// The program's name alone, or null. With cutExtension not 0 an ".exe" at its end, in any case, is
// cut.
char* qelPath_GetApplicationName(int cutExtension);

// Always "./", which is anchored on the program's directory like any relative text.
char* qelPath_GetCurrentDirectoryText();

// The user's folder for application data, created when it is missing. Null after a log line.
// POSIX: $XDG_DATA_HOME, else ~/.local/share.
char* qelPath_GetApplicationDataDirectory();

// The file name of the loaded module that holds an address; null if none does. No reference is
// taken on the module.
char* qelPath_GetModuleFileName(const void* address);

// The system's folder of fonts, or null.
char* qelPath_GetFontsDirectory();

// A folder by its number, or null. It need not exist.
// Windows: any number that the system knows; the folder exists.
// POSIX: the numbers above. Music, pictures and videos stand in the user's user-dirs.dirs, else
// they are ~/Music and so on; the shared ones stand under /srv/media.
char* qelPath_GetSpecialFolder(int folder);

// A new text of prefix[0..prefixLength-1], middle and suffix. Frees prefix.
char* qelPath_ReplaceRange(char* prefix, size_t prefixLength, const char* middle,
                           const char* suffix);

// What kind of drive a path lies on: 0 unknown, 1 remote, 2 fixed, 3 removable (also optical and in
// memory).
// Windows: the drive of the first letter; one without a medium is unknown.
// POSIX: what the mount table says of the place; the path need not exist.
int qelPath_GetDriveKind(const char* text);

#endif
