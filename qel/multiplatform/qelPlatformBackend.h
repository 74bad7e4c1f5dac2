#ifndef QEL_MULTIPLATFORM_QELPLATFORMBACKEND_H
#define QEL_MULTIPLATFORM_QELPLATFORMBACKEND_H
//===----------------------------------------------------------------------===//
// What the portable half of qelPlatform needs of its back-end, besides the
// functions of qelPlatform.h. Private to the two halves.
//===----------------------------------------------------------------------===//

// The file literal of the back-end's log lines. The portable half logs under it, so that one module
// has one name in the log.
extern const char* const qelPlatform_LogFile;

// How a launch went.
struct qelLaunch {
  int startError; // the system's error; 0: the program was started
  int waitResult; // 0: it has settled. Windows: the result of the wait. POSIX: 258, as on Windows, for
                  // a wait that timed out; -1 for a program that has ended
  int waitError; // the system's error behind waitResult
};

// Hands "name=value" to the runtime library, with the rules of qelSetEnvironmentVariable. Returns 0, or
// what the library gave.
int qelPlatform_PutEnvironment(const char* text);

// Starts a program, whose separators are the system's, and waits up to limit milliseconds for it to
// settle. Without arguments, they and commandLine are null; otherwise commandLine has the program in
// quotes, a blank and the arguments.
qelLaunch qelPlatform_Launch(const char* program, const char* arguments, const char* commandLine,
                             int limit);

#endif
