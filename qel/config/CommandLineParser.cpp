#define QEL_LOG_MODULE 47
#define QEL_LOG_FILE "..\\..\\CommandLineParser"

#include <qel/config/CommandLineParser.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

#include <qel/containers/qelPtrList.h>
#include <qel/core/Log.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelConsole.h>
#include <qel/multiplatform/qelPath.h>

// The grammar of one argument, once "--" has not been met:
//
//   parameter   shorter than two characters, or its first one is not in switchChars
//   "--"        the end of all options
//   "--" name   always a fault
//   c name rest c in switchChars, name as far as letters, digits, "_" and "?" go
//
// The option is the longest declared name that `name` begins with. A switch leaves what is left of
// `name`, with `rest`, as an argument of its own at the end of the command line; without such a
// left-over, `rest` is dropped. An option takes all that is left as its value.

namespace {

struct OptionRecord {
  int kind;                         // qelCommandLineSwitch or qelCommandLineOption
  qelCString name;                  // empty: it can't be given
  qelCString description;           // the help text
  qelCommandLineParameterType type; // of the value; not used for a switch
  int flags;                        // of the table
  bool found;                       // it was given
  qelLong number;                   // the value of a number option, 0 before it was given
  qelCString text;                  // the value of any other option
};

struct ParamRecord {
  qelCString name;                  // shown in the usage text and in faults
  qelCommandLineParameterType type; // of the table; not used
  int flags;                        // of the table
};

void FreeOption(void* item) {
  delete static_cast<OptionRecord*>(item);
}
void FreeParam(void* item) {
  delete static_cast<ParamRecord*>(item);
}

qelPtrList* NewList(qelPtrList_Free freeItem) {
  qelPtrList* const list = qelPtrList_New();
  qelPtrList_SetFreeFunction(list, freeItem);
  return list;
}

OptionRecord* OptionOf(const qelPtrListNode* node) {
  return static_cast<OptionRecord*>(qelPtrListNode_GetData(node));
}
ParamRecord* ParamOf(const qelPtrListNode* node) {
  return static_cast<ParamRecord*>(qelPtrListNode_GetData(node));
}
const char* TextOf(const qelPtrListNode* node) {
  return static_cast<const char*>(qelPtrListNode_GetData(node));
}

bool IsNameChar(char c) {
  return qelChar_IsAlnum(c) || c == '_' || c == '?';
}

// The name that text begins with.
qelCString ReadName(const char* text) {
  size_t n = 0;
  while (IsNameChar(text[n]))
    n++;
  return qelCString(text, n);
}

} // namespace

struct qelCommandLineState {
  qelCString switchChars; // the characters that options begin with
  qelPtrList* arguments;  // of char*: the command line; item 0 is the program
  qelPtrList* options;    // of OptionRecord*: switches and options
  qelPtrList* params;     // of ParamRecord*: declared parameters
  qelPtrList* found;      // of char*: parameters found, in their order

  qelCommandLineState()
      : switchChars("/-"), arguments(NewList(qelPtrList_FreeItem)), options(NewList(FreeOption)),
        params(NewList(FreeParam)), found(NewList(qelPtrList_FreeItem)) {}
  ~qelCommandLineState() {
    qelPtrList_Delete(arguments);
    qelPtrList_Delete(options);
    qelPtrList_Delete(params);
    qelPtrList_Delete(found);
  }
  qelCommandLineState(const qelCommandLineState&) = delete;
  qelCommandLineState& operator=(const qelCommandLineState&) = delete;

  OptionRecord* FindOption(const qelCString& name) const;
  OptionRecord* FindLongestPrefix(const qelCString& name) const;
};

OptionRecord* qelCommandLineState::FindOption(const qelCString& name) const {
  for (const qelPtrListNode* node = options->head; node != nullptr; node = node->next)
    if (OptionOf(node)->name == name)
      return OptionOf(node);
  return nullptr;
}

// An empty name is a prefix of everything and would leave the whole argument over for ever: it can't
// be given.
OptionRecord* qelCommandLineState::FindLongestPrefix(const qelCString& name) const {
  OptionRecord* best = nullptr;
  size_t bestLength = 0;
  for (const qelPtrListNode* node = options->head; node != nullptr; node = node->next) {
    OptionRecord* const option = OptionOf(node);
    const size_t length = option->name.length();
    if (length <= bestLength || length > name.length())
      continue;
    if (memcmp(option->name.c_str(), name.c_str(), length) != 0)
      continue;
    best = option;
    bestLength = length;
  }
  return best;
}

// One run of Parse --------------------------------------------------------------

namespace {

class ParseRun {
public:
  explicit ParseRun(const qelCommandLineState* state)
      : m_state(state), m_taken(state->arguments->head), m_param(state->params->head) {}

  void Run();
  bool AsksForHelp() const { return m_help; }
  const qelCString& Fault() const { return m_fault; }

private:
  const char* TakeArgument();
  void Read(const char* argument);
  void ReadParameter(const char* argument);
  void ReadOption(const char* argument);
  void ReadSwitch(OptionRecord* option, size_t left, const char* argument);
  void ReadValue(OptionRecord* option, const char* value);
  void StoreValue(OptionRecord* option, const char* value);
  void CheckOptions();
  void CheckParams();

  const qelCommandLineState* m_state;
  const qelPtrListNode* m_taken; // the last argument taken, at first the program; null: none
  const qelPtrListNode* m_param; // the declared parameter whose turn it is; null: none
  bool m_optionsAllowed = true;  // "--" has not been met
  bool m_multipleGiven = false;  // a multiple parameter was given
  bool m_help = false;
  qelCString m_fault; // empty: none
};

void ParseRun::Run() {
  while (m_fault.IsEmpty() && !m_help) {
    const char* const argument = TakeArgument();
    if (argument == nullptr)
      break;
    Read(argument);
  }
  if (m_fault.IsEmpty() && !m_help)
    CheckOptions();
  if (m_fault.IsEmpty() && !m_help)
    CheckParams();
}

// The next argument, or null. The list may have grown since the last call.
const char* ParseRun::TakeArgument() {
  if (m_taken == nullptr || m_taken->next == nullptr)
    return nullptr;
  m_taken = m_taken->next;
  return TextOf(m_taken);
}

void ParseRun::Read(const char* argument) {
  if (m_optionsAllowed && strcmp(argument, "--") == 0) {
    m_optionsAllowed = false;
    return;
  }
  const bool isShort = argument[0] == '\0' || argument[1] == '\0';
  if (!m_optionsAllowed || isShort || m_state->switchChars.First(argument[0]) < 0)
    ReadParameter(argument);
  else if (strncmp(argument, "--", 2) == 0)
    m_fault.Printf("Unknown option '--%s'\n", ReadName(argument + 2).c_str());
  else
    ReadOption(argument);
}

void ParseRun::ReadParameter(const char* argument) {
  if (m_param == nullptr) {
    m_fault.Printf("Unexpected parameter '%s'\n", argument);
    return;
  }
  qelPtrList_Append(m_state->found, qelMem_StrDup(argument));
  if (ParamOf(m_param)->flags & qelCommandLineMultipleParam)
    m_multipleGiven = true;
  else
    m_param = m_param->next;
}

void ParseRun::ReadOption(const char* argument) {
  const qelCString name = ReadName(argument + 1);
  OptionRecord* const option = m_state->FindLongestPrefix(name);
  if (option == nullptr) {
    m_fault.Printf("Unknown option '%s'\n", name.c_str());
    return;
  }
  const size_t length = option->name.length();
  if (option->kind == qelCommandLineSwitch)
    ReadSwitch(option, name.length() - length, argument);
  else
    ReadValue(option, argument + 1 + length);
}

// INTENDED: the rest of a group goes behind all other arguments, not next in line, so that it may
// become a value, or a parameter behind "--". Pinned by
// CommandLineParserParse.LooksAtTheRestOfAGroupLast.
// INTENDED: what follows a switch's whole name ("=5") is dropped. Pinned by
// CommandLineParserParse.DropsWhatStandsBehindASwitch.
void ParseRun::ReadSwitch(OptionRecord* option, size_t left, const char* argument) {
  if (left > 0) {
    const char* const rest = argument + 1 + option->name.length();
    const qelCString group = qelCString::Format("%c%s", argument[0], rest);
    qelPtrList_Append(m_state->arguments, qelMem_StrDup(group));
  }
  option->found = true;
  m_help = (option->flags & qelCommandLineHelp) != 0;
}

void ParseRun::ReadValue(OptionRecord* option, const char* value) {
  if (*value == '\0') {
    const char* const next = TakeArgument();
    if (next == nullptr)
      m_fault.Printf("Option '%s' requires a value\n", option->name.c_str());
    else
      StoreValue(option, next);
  } else if (*value == ':' || *value == '=') {
    StoreValue(option, value + 1);
  } else if (option->flags & qelCommandLineNeedSeparator) {
    m_fault.Printf("Separator expected after the option '%s'\n", option->name.c_str());
  } else {
    StoreValue(option, value);
  }
}

void ParseRun::StoreValue(OptionRecord* option, const char* value) {
  if (option->type == qelCommandLineParameterNumber) {
    qelLong number = 0;
    if (!qelCString(value).ToInt32(&number)) {
      m_fault.Printf("'%s' is not a correct numeric value for option '%s'\n", value,
                     option->name.c_str());
      return;
    }
    option->number = number;
  } else {
    option->text = value;
  }
  option->found = true;
}

void ParseRun::CheckOptions() {
  for (const qelPtrListNode* node = m_state->options->head; node != nullptr; node = node->next) {
    const OptionRecord* const option = OptionOf(node);
    if (!(option->flags & qelCommandLineMandatory) || option->found)
      continue;
    m_fault.Printf("The value for the option '%s' must be specified\n", option->name.c_str());
    return;
  }
}

void ParseRun::CheckParams() {
  for (const qelPtrListNode* node = m_param; node != nullptr; node = node->next) {
    const ParamRecord* const param = ParamOf(node);
    const bool isLast = node->next == nullptr;
    if (isLast && (param->flags & qelCommandLineMultipleParam) && m_multipleGiven)
      continue;
    if (param->flags & qelCommandLineOptionalParam)
      continue;
    m_fault.Printf("The required parameter '%s' was not specified\n", param->name.c_str());
    return;
  }
}

} // namespace

// The class ----------------------------------------------------------------------

qelCommandLineParser::qelCommandLineParser() : m_state(new qelCommandLineState) {}

qelCommandLineParser::qelCommandLineParser(const qelCommandLineDescription* description, int argc,
                                           char** argv)
    : qelCommandLineParser() {
  SetCommandLine(argc, argv);
  SetDescription(description);
}

qelCommandLineParser::qelCommandLineParser(const qelCommandLineDescription* description,
                                           const qelCString& line, bool hasProgramName)
    : qelCommandLineParser() {
  SetCommandLine(line, hasProgramName);
  SetDescription(description);
}

qelCommandLineParser::~qelCommandLineParser() {
  delete m_state;
}

int qelCommandLineParser::Parse(bool giveUsage) {
  Reset();
  ParseRun run(m_state);
  run.Run();
  const bool isFault = !run.Fault().IsEmpty();
  if (isFault || (run.AsksForHelp() && giveUsage)) {
    const qelCString usage = giveUsage ? GetUsageString() : qelCString();
    QEL_LOG(1, "%s%s", usage.c_str(), run.Fault().c_str());
    qelConsole_Printf("%s%s", usage.c_str(), run.Fault().c_str());
  }
  if (isFault)
    return 1;
  return run.AsksForHelp() ? -1 : 0;
}

bool qelCommandLineParser::Found(const qelCString& name) const {
  const OptionRecord* const option = m_state->FindOption(name);
  if (option == nullptr)
    QEL_LOG(1, "Testing presence of an unknown option '%s'\n", name.c_str());
  return option != nullptr && option->found;
}

bool qelCommandLineParser::Found(const qelCString& name, qelLong* value) const {
  *value = 0;
  const OptionRecord* const option = m_state->FindOption(name);
  if (option == nullptr)
    QEL_LOG(1, "Getting value of an unknown number option '%s'\n", name.c_str());
  if (option == nullptr || !option->found)
    return false;
  *value = option->number;
  return true;
}

bool qelCommandLineParser::Found(const qelCString& name, qelCString* value) const {
  value->Empty();
  const OptionRecord* const option = m_state->FindOption(name);
  if (option == nullptr)
    QEL_LOG(1, "Getting value of an unknown string option '%s'\n", name.c_str());
  if (option == nullptr || !option->found)
    return false;
  *value = option->text;
  return true;
}

size_t qelCommandLineParser::GetParameterCount() const {
  return qelPtrList_GetCount(m_state->found);
}

qelCString qelCommandLineParser::GetParameter(size_t index) {
  const qelPtrListNode* const node = qelPtrList_GetAt(m_state->found, index);
  return node != nullptr ? qelCString(TextOf(node)) : qelCString();
}

void qelCommandLineParser::Reset() {
  for (const qelPtrListNode* node = m_state->options->head; node != nullptr; node = node->next)
    OptionOf(node)->found = false;
}

void qelCommandLineParser::Usage() {
  qelConsole_Printf("%s", GetUsageString().c_str());
}

void qelCommandLineParser::SetCommandLine(int argc, char** argv) {
  qelPtrList_Clear(m_state->arguments);
  for (int i = 0; i < argc; i++) {
    assert(argv[i] != nullptr);
    qelPtrList_Append(m_state->arguments, qelMem_StrDup(argv[i]));
  }
}

// Copies the token that text begins with to token[0..n] and returns what is behind it. The room of the
// text is enough.
static const char* ReadToken(const char* text, char* token) {
  const char* at = text;
  bool isQuoted = false;
  for (; *at != '\0' && (isQuoted || (*at != ' ' && *at != '\t')); at++) {
    const bool isEscaped = at != text && at[-1] == '\\';
    if (*at == '"' && !isEscaped)
      isQuoted = !isQuoted;
    else
      *token++ = *at;
  }
  *token = '\0';
  return at;
}

// INTENDED: a line of 1024 bytes or more, with the program name ahead of it, loses its last byte, as
// every text does that qelCString::Format makes; so do long faults and groups. Pinned by
// CommandLineParserSplit.LosesTheLastByteOfALongLineWithoutProgramName.
static qelCString WithProgramName(const qelCString& line) {
  char* const program = qelPath_GetApplicationFileName();
  const char* const shown = program != nullptr ? program : "unknown";
  const qelCString text = qelCString::Format("\"%s\" %s", shown, line.c_str());
  free(program);
  return text;
}

void qelCommandLineParser::SetCommandLine(const qelCString& line, bool hasProgramName) {
  qelPtrList_Clear(m_state->arguments);
  const qelCString text = hasProgramName ? line : WithProgramName(line);
  char* const token = static_cast<char*>(qelMem_Alloc(text.length() + 1));
  const char* at = text.c_str();
  for (;;) {
    while (*at == ' ' || *at == '\t')
      at++;
    if (*at == '\0')
      break;
    at = ReadToken(at, token);
    qelPtrList_Append(m_state->arguments, qelMem_StrDup(token));
  }
  free(token);
}

void qelCommandLineParser::SetDescription(const qelCommandLineDescription* description) {
  if (description == nullptr)
    return;
  for (const qelCommandLineDescription* row = description;; row++) {
    switch (row->kind) {
    case qelCommandLineSwitch:
      AddSwitch(row->name, row->description, row->flags);
      break;
    case qelCommandLineOption:
      AddOption(row->name, row->description, row->type, row->flags);
      break;
    case qelCommandLineParam:
      AddParam(row->description, row->type, row->flags);
      break;
    default:
      return;
    }
  }
}

static void AddOptionRecord(qelCommandLineState* state, int kind, const qelCString& name,
                            const qelCString& description, qelCommandLineParameterType type,
                            int flags) {
  qelPtrList_Append(state->options, new OptionRecord{kind, name, description, type, flags,
                                                     /*found=*/false, /*number=*/0, qelCString()});
}

void qelCommandLineParser::AddSwitch(const qelCString& name, const qelCString& description,
                                     int flags) {
  // A switch has no value: its type is one that no value has.
  AddOptionRecord(m_state, qelCommandLineSwitch, name, description,
                  static_cast<qelCommandLineParameterType>(2), flags);
}

void qelCommandLineParser::AddOption(const qelCString& name, const qelCString& description,
                                     qelCommandLineParameterType type, int flags) {
  AddOptionRecord(m_state, qelCommandLineOption, name, description, type, flags);
}

void qelCommandLineParser::AddParam(const qelCString& name, qelCommandLineParameterType type,
                                    int flags) {
  qelPtrList_Append(m_state->params, new ParamRecord{name, type, flags});
}

const char* qelCommandLineParser::GetTypeName(qelCommandLineParameterType type) {
  return type == qelCommandLineParameterNumber ? "num" : "str";
}

// Usage text ----------------------------------------------------------------------

// What the first line shows between brackets, or without them.
static qelCString Bracketed(const qelCString& text, bool isOptional) {
  return isOptional ? "[" + text + "]" : text;
}

// An option in the first line: "/n<num>"; a nameless one shows its type alone.
static qelCString ShownOption(const OptionRecord* option, const char* typeName) {
  qelCString shown;
  if (!option->name.IsEmpty())
    shown += "/" + option->name;
  if (option->kind == qelCommandLineOption)
    shown += qelCString::Format("<%s>", typeName);
  return Bracketed(shown, !(option->flags & qelCommandLineMandatory));
}

// An option at the start of its own line: "  /n <num>".
static qelCString DetailOf(const OptionRecord* option, const char* typeName) {
  qelCString detail = "  /" + option->name;
  if (option->kind == qelCommandLineOption)
    detail += qelCString::Format(" <%s>", typeName);
  return detail;
}

static qelCString ShownParam(const ParamRecord* param) {
  const bool isMultiple = (param->flags & qelCommandLineMultipleParam) != 0;
  return Bracketed(param->name + (isMultiple ? "..." : ""),
                   (param->flags & qelCommandLineOptionalParam) != 0);
}

qelCString qelCommandLineParser::GetUsageString() {
  const qelPtrList* const options = m_state->options;
  char* const program = qelPath_GetApplicationName(/*cutExtension=*/1);
  qelCString usage = qelCString::Format("Usage: %s", program != nullptr ? program : "");
  free(program);

  size_t longest = 0;
  for (const qelPtrListNode* node = options->head; node != nullptr; node = node->next) {
    const char* const typeName = GetTypeName(OptionOf(node)->type);
    usage += " " + ShownOption(OptionOf(node), typeName);
    longest = std::max(longest, DetailOf(OptionOf(node), typeName).length());
  }
  for (const qelPtrListNode* node = m_state->params->head; node != nullptr; node = node->next)
    usage += " " + ShownParam(ParamOf(node));
  usage += '\n';

  for (const qelPtrListNode* node = options->head; node != nullptr; node = node->next) {
    qelCString detail = DetailOf(OptionOf(node), GetTypeName(OptionOf(node)->type));
    detail.Pad(longest - detail.length());
    usage += detail + '\t' + OptionOf(node)->description + '\n';
  }
  return usage;
}
