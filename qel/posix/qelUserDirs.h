#ifndef QEL_POSIX_QELUSERDIRS_H
#define QEL_POSIX_QELUSERDIRS_H
//===----------------------------------------------------------------------===//
// Reader of user-dirs.dirs, the file in which a user's desktop keeps the places
// of the music, picture and video folders. Pure text work; private to this
// folder.
//
//   # comment
//   XDG_MUSIC_DIR="$HOME/Music"        below the home directory
//   XDG_VIDEOS_DIR="/data/\"films\""   absolute
//
// Within the quotes a backslash makes the next byte stand for itself. Blanks may
// stand ahead of the name and around "="; what follows the closing quote is not
// looked at. A line of any other form is passed over: no quotes, an open quote, a
// value that is neither absolute nor begins with "$HOME". The last line of a name
// holds.
//===----------------------------------------------------------------------===//

// The folder that text names under key, such as "XDG_MUSIC_DIR", without "/" at its end, or null.
// The result is new and the caller's, released with free.
char* qelUserDirs_Find(const char* text, const char* key, const char* home);

#endif
