#ifndef QEL_MULTIPLATFORM_QELPLATFORM_H
#define QEL_MULTIPLATFORM_QELPLATFORM_H
//===----------------------------------------------------------------------===//
// The process and its surroundings: environment, launching of programs, and what
// the core needs of a system besides memory (its debugger, a hook in the fatal
// path).
//
// ERRORS: functions without "Platform" in their name write a level-1 line of
// module 7 when they fail.
// OWNERSHIP: text results are new and the caller's, released with free.
// THREADS: any; the environment's own rules hold (no change while another
// thread reads it).
//===----------------------------------------------------------------------===//

#include <cstddef>

// Reads an environment variable of the process into buffer[0..size-1], terminated.
// Returns its length, or 0 if it is missing, empty or does not fit.
// POSIX: a program that runs with another user's rights reads nothing.
size_t qelPlatform_GetEnvironment(const char* name, char* buffer, size_t size);

// Sets an environment variable for every module of the process. Returns 0, or 1 on failure.
int qelPlatform_SetEnvironment(const char* name, const char* value);

// A new copy of the value of an environment variable, or null if it is not set. Nothing is logged.
// Windows: text is UTF-8 and crosses in UTF-16. The runtime library's variables are meant, which
// begin as a copy of the process's.
char* qelGetEnvironmentVariable(const char* name);

// Sets an environment variable; an empty value takes it away. Returns 0, or the runtime library's
// result after a log line: -1 for an empty name.
// What stands in front of the first "=" of name and value together is the name.
// Windows: text is UTF-8; malformed text gives -1.
int qelSetEnvironmentVariable(const char* name, const char* value);

// How long a launched program may take to settle, in milliseconds.
constexpr int qelLaunchLimit = 5000;

// Starts a program and waits until it has settled, for qelLaunchLimit at most. Returns 0; or -1 after
// a log line, if it could not be started or has not settled, in which case it is left alone. Null or
// empty arguments are none. Each "/" of path, and on POSIX each "\", becomes the system's separator. The
// program gets this one's environment and current directory, and is nobody's child to wait for.
// Windows: settled means waiting for input in its message loop, which a program without windows never
// does. Malformed UTF-8 can't be started.
// POSIX: settled means that the program was loaded and did not end at once, whatever its status.
// Arguments are split by the rules of qelArguments_Split, with no shell. With arguments a path without
// "/" is looked for in $PATH. Descriptors above 2 and the address of the callback for fatal errors are
// kept from the program; signals are as by default. Where orphans are this program's to wait for, as
// those of process 1 are, the launched one is such an orphan.
int qelLaunchApplication(const char* path, const char* arguments);

// Called once by the fatal path, ahead of the callback; the argument is always 0.
// Windows: does nothing.
// POSIX: flushes standard output, which would otherwise lose its text in a pipe.
void qelFatalError_PlatformHook(int reserved);

// Shows at most 254 bytes of text, and a line feed, on the debugger's output channel, and stops if a
// debugger is there.
// POSIX: the channel is standard error.
void qelDebug_Break(const char* text);

#endif
