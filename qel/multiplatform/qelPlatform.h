#ifndef QEL_MULTIPLATFORM_QELPLATFORM_H
#define QEL_MULTIPLATFORM_QELPLATFORM_H
//===----------------------------------------------------------------------===//
// What the core needs of a system besides memory: its environment, its debugger
// and a hook in the fatal path.
//
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

// Called once by the fatal path, ahead of the callback; the argument is always 0.
// Windows: does nothing.
// POSIX: flushes standard output, which would otherwise lose its text in a pipe.
void qelFatalError_PlatformHook(int reserved);

// Shows at most 254 bytes of text, and a line feed, on the debugger's output channel, and stops if a
// debugger is there.
// POSIX: the channel is standard error.
void qelDebug_Break(const char* text);

#endif
