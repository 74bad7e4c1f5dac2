#include <tests/support/RunProgram.h>

#include <windows.h>

#include <tests/support/TempDir.h>

// Quotes an argument by the rules by which programs take their command line apart.
static std::wstring Quote(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"')
      quoted.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L"\"";
}

// The runtime library writes line ends of its own to what it takes for text.
static std::string WithPlainLineEnds(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i)
    if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n')
      plain += text[i];
  return plain;
}

static HANDLE CreateOutput(const std::string& path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return ::CreateFileW(TempDir::Native(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder) {
  const TempDir files;
  std::wstring line = Quote(TempDir::Native(program).make_preferred().wstring());
  for (const std::string& argument : arguments)
    line += L" " + Quote(TempDir::Native(argument).wstring());
  const std::wstring directory = TempDir::Native(folder).wstring();
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = CreateOutput(files.Path("out"));
  startup.hStdError = CreateOutput(files.Path("err"));
  PROCESS_INFORMATION process = {};
  ProgramResult result;
  if (::CreateProcessW(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr,
                       directory.empty() ? nullptr : directory.c_str(), &startup, &process) != 0) {
    DWORD status = 0;
    if (::WaitForSingleObject(process.hProcess, INFINITE) == WAIT_OBJECT_0 &&
        ::GetExitCodeProcess(process.hProcess, &status) != 0)
      result.status = static_cast<int>(status);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
  }
  ::CloseHandle(startup.hStdOutput);
  ::CloseHandle(startup.hStdError);
  result.out = files.Read("out");
  result.err = WithPlainLineEnds(files.Read("err"));
  return result;
}
