#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE qelPlatform_LogFile

#include <qel/multiplatform/qelPlatform.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelPathBackend.h>
#include <qel/multiplatform/qelPlatformBackend.h>

// Environment ------------------------------------------------------------------

int qelSetEnvironmentVariable(const char* name, const char* value) {
  char* assignment = qelMem_Concat(name, "=");
  const qelOwnedText text(qelMem_AppendStr(&assignment, value));
  const int result = qelPlatform_PutEnvironment(text.get());
  if (result != 0)
    QEL_LOG(1, "qelPlatform: Unable to set environment variable '%s'. Error = %d\n", text.get(),
            result);
  return result;
}

// Launching --------------------------------------------------------------------

static char* CommandLine(const char* program, const char* arguments) {
  char* line = qelMem_Concat("\"", program);
  qelMem_AppendStr(&line, "\" ");
  return qelMem_AppendStr(&line, arguments);
}

int qelLaunchApplication(const char* path, const char* arguments) {
  const bool hasArguments = arguments != nullptr && arguments[0] != '\0';
  const qelOwnedText program(qelPath_ApplyForm(qelMem_StrDup(path), qelPathFlagNative));
  const qelOwnedText line(hasArguments ? CommandLine(program.get(), arguments) : nullptr);
  const char* command = hasArguments ? line.get() : program.get();
  const qelLaunch launch = qelPlatform_Launch(program.get(), hasArguments ? arguments : nullptr,
                                              line.get(), qelLaunchLimit);
  if (launch.startError != 0) {
    QEL_LOG(1, "Unable to launch '%s' (Error = %d)\n", command, launch.startError);
    return -1;
  }
  if (launch.waitResult != 0) {
    QEL_LOG(1,
            "The application '%s' has not started before the %d seconds timeout (Error = %d, "
            "%d)\n",
            command, qelLaunchLimit / 1000, launch.waitResult, launch.waitError);
    return -1;
  }
  return 0;
}
