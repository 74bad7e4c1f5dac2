#ifndef QEL_CONFIG_COMMANDLINEPARSER_H
#define QEL_CONFIG_COMMANDLINEPARSER_H
//===----------------------------------------------------------------------===//
// Checks a command line against a table of switches, options and parameters,
// keeps what it found, prints a usage text and reports the first fault.
//
//   tool /v -n5 --  in.txt
//        |   |  |   parameter
//        |   |  nothing behind it is an option
//        |   option with its value: -n5  -n=5  -n:5  -n 5
//        switch
//
// Options begin with "/" or "-"; a name has letters, digits, "_" and "?". The
// longest declared name that the text behind the option character begins with is
// meant. Switches may stand in a group ("-ab"); the rest of a group is looked at
// last, behind all other arguments. There are no long "--name" forms.
// An argument such as "/home/x" reads as an option: users write "--" ahead of it.
//
// COST: a group of n switches is n arguments of up to n bytes each.
// ERRORS: Parse tells of a fault by its result, by one level-1 line of module 47
// and on the console (qelConsole_Printf). What was found ahead of it stays.
// OWNERSHIP: tables and command lines are copied. The object owns its state; a
// copy names the same state, and only one of the two may be destroyed.
// THREADS: one.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

struct qelCommandLineState;

// Kinds of rows.
constexpr int qelCommandLineSwitch = 0;
constexpr int qelCommandLineOption = 1;
constexpr int qelCommandLineParam = 2;

// What a value is; all other numbers mean a text too.
enum qelCommandLineParameterType : int {
  qelCommandLineParameterString = 0, // shown as "str"
  qelCommandLineParameterNumber = 1, // shown as "num": a whole number in base 10, 32 bits
};

// Flags of rows, a bit mask.
constexpr int qelCommandLineMandatory = 0x01;     // switch, option: it must be given
constexpr int qelCommandLineOptionalParam = 0x02; // parameter: it may be left out
constexpr int qelCommandLineMultipleParam = 0x04; // parameter: it takes all further ones
constexpr int qelCommandLineHelp = 0x08;          // switch: it asks for help and ends the parsing
constexpr int qelCommandLineNeedSeparator = 0x10; // option: ":", "=" or a space ahead of the value

// One row of a program's table, which a row of any other kind ends.
struct qelCommandLineDescription {
  int kind;                         // qelCommandLineSwitch, ...Option, ...Param; else: the end
  const char* name;                 // of a switch or option; not read for a parameter
  const char* description;          // help text of a switch or option; a parameter's name
  qelCommandLineParameterType type; // of an option or parameter
  int flags;                        // qelCommandLineMandatory and so on
};

class QEL_EXPORT qelCommandLineParser {
public:
  // Neither table nor command line.
  qelCommandLineParser();
  // The table, which may be null, and the command line.
  qelCommandLineParser(const qelCommandLineDescription* description, int argc, char** argv);
  qelCommandLineParser(const qelCommandLineDescription* description, const qelCString& line,
                       bool hasProgramName);
  ~qelCommandLineParser();
  qelCommandLineParser(const qelCommandLineParser&) = default;
  qelCommandLineParser& operator=(const qelCommandLineParser&) = default;

  // Returns 0 if all was good, 1 for a fault, -1 if help was asked for. A fault is reported, with the
  // usage text ahead of it if giveUsage; help is answered by the usage text if giveUsage.
  // INTENDED: a second call adds to the parameters of the first. Pinned by
  // CommandLineParserParse.AddsToTheParametersOfAnEarlierCall.
  int Parse(bool giveUsage);

  // Whether the switch or option was given. A name that the table does not have is logged, and false.
  bool Found(const qelCString& name) const;
  // The same, with the value of a number option; 0 if it was not given.
  bool Found(const qelCString& name, qelLong* value) const;
  // The same, with the value of a text option; empty if it was not given.
  bool Found(const qelCString& name, qelCString* value) const;

  // The parameters that were given, in their order; empty at or behind the count.
  size_t GetParameterCount() const;
  qelCString GetParameter(size_t index);

  // No switch or option counts as given any more; the parameters stay.
  void Reset();

  // Prints the usage text on the console.
  void Usage();

protected:
  // Replaces the command line; argument 0 is the program.
  void SetCommandLine(int argc, char** argv);
  // The same of a line that is split at blanks and tabs outside quotes. A quote behind a backslash
  // is kept, the backslash too. Without a program name in it, this program's file name is put first.
  void SetCommandLine(const qelCString& line, bool hasProgramName);
  // Adds the rows of a table; null adds none.
  void SetDescription(const qelCommandLineDescription* description);
  void AddSwitch(const qelCString& name, const qelCString& description, int flags);
  void AddOption(const qelCString& name, const qelCString& description,
                 qelCommandLineParameterType type, int flags);
  void AddParam(const qelCString& name, qelCommandLineParameterType type, int flags);
  // "str" or "num".
  const char* GetTypeName(qelCommandLineParameterType type);
  // One line with all that may be given, then one with the help text of each switch and option.
  qelCString GetUsageString();

private:
  qelCommandLineState* m_state; // tables, command line, what was found
};

#endif
