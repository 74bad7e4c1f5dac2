// A command line's text taken apart: nothing is lost that is no blank, quote or backslash, and what is
// put in quotes comes out as it was.

#include <cstring>

#include <fuzz/FuzzInput.h>
#include <qel/posix/qelArguments.h>

static std::string Quote(const char* argument) {
  std::string quoted = "\"";
  size_t backslashes = 0;
  for (; *argument != '\0'; ++argument) {
    if (*argument == '"')
      quoted.append(backslashes + 1, '\\');
    backslashes = *argument == '\\' ? backslashes + 1 : 0;
    quoted += *argument;
  }
  quoted.append(backslashes, '\\');
  return quoted + "\"";
}

// How many bytes are never anything but themselves.
static size_t Plain(const char* text) {
  size_t count = 0;
  for (; *text != '\0'; ++text)
    count += strchr(" \t\"\\", *text) == nullptr ? 1 : 0;
  return count;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::vector<char> text = input.TakeText();
  size_t count = 0;
  char** arguments = qelArguments_Split(text.data(), /*reserved=*/1, &count);
  FUZZ_CHECK(arguments[0] == nullptr && arguments[count + 1] == nullptr);
  std::string again;
  size_t plain = 0;
  for (size_t i = 1; i <= count; ++i) {
    again += Quote(arguments[i]) + " ";
    plain += Plain(arguments[i]);
  }
  FUZZ_CHECK(plain == Plain(text.data()));
  size_t countAgain = 0;
  char** argumentsAgain = qelArguments_Split(again.c_str(), /*reserved=*/1, &countAgain);
  FUZZ_CHECK(countAgain == count);
  for (size_t i = 1; i <= count; ++i)
    FUZZ_CHECK(strcmp(arguments[i], argumentsAgain[i]) == 0);
  free(argumentsAgain);
  free(arguments);
  return 0;
}
