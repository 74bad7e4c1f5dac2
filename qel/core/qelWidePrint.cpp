#include <qel/core/qelWidePrint.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <trio.h>

#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>

namespace {

// Where the units go. What has no room is only counted.
struct Sink {
  qelWChar* buffer;
  size_t room;  // units, without the terminator
  size_t count; // units of the whole text so far

  void Put(qelWChar unit) {
    if (count < room)
      buffer[count] = unit;
    ++count;
  }
  void Fill(size_t n, qelWChar unit) {
    for (; n != 0 && count < room; --n)
      Put(unit);
    count += n;
  }
};

// An argument list that can be handed on by address, whatever a va_list is.
struct Arguments {
  va_list list;
};

enum Size { kInt, kLong, kLongLong, kLongDouble };

struct Directive {
  char flags[8];   // each at most once, terminated
  int width;       // 0 for none
  int precision;   // -1 for none
  Size size;       // of a number
  bool wide;       // "l" was given
  char conversion; // 0 for one that is not ASCII
};

} // namespace

static const char kFlags[] = "-+ #0'";

// Reading a directive ----------------------------------------------------------

static bool HasFlag(const Directive& directive, char flag) {
  return strchr(directive.flags, flag) != nullptr;
}

static void AddFlag(Directive* directive, char flag) {
  if (HasFlag(*directive, flag))
    return;
  const size_t n = strlen(directive->flags);
  directive->flags[n] = flag;
  directive->flags[n + 1] = '\0';
}

// The flag at a unit, or 0.
static char FlagOf(qelWChar unit) {
  for (const char* flag = kFlags; *flag != '\0'; ++flag)
    if (unit == static_cast<unsigned char>(*flag))
      return *flag;
  return '\0';
}

// Digits or "*" at *at, which moves behind them. False for a number that no int can hold.
static bool ReadNumber(const qelWChar** at, Arguments* args, int* number) {
  if (**at == '*') {
    ++*at;
    *number = va_arg(args->list, int);
    return *number != INT_MIN;
  }
  int64_t value = 0;
  for (; qelChar_IsDigit(**at); ++*at) {
    value = value * 10 + (**at - '0');
    if (value > INT_MAX)
      return false;
  }
  *number = static_cast<int>(value);
  return true;
}

// Whether the ASCII text stands at *at, which then moves behind it.
static bool Take(const qelWChar** at, const char* text) {
  size_t n = 0;
  for (; text[n] != '\0'; ++n)
    if ((*at)[n] != static_cast<unsigned char>(text[n]))
      return false;
  *at += n;
  return true;
}

static void ReadModifier(const qelWChar** at, Directive* directive) {
  static const struct {
    const char* text;
    Size size;
  } kModifiers[] = {
      // longer ones ahead of their beginnings
      {"hh", kInt},     {"h", kInt},      {"ll", kLongLong}, {"l", kLong},       {"q", kLongLong},
      {"j", kLongLong}, {"z", kLongLong}, {"Z", kLongLong},  {"t", kLongLong},   {"L", kLongDouble},
      {"I8", kInt},     {"I16", kInt},    {"I32", kInt},     {"I64", kLongLong},
  };
  for (const auto& modifier : kModifiers)
    if (Take(at, modifier.text)) {
      directive->size = modifier.size;
      directive->wide = modifier.size == kLong;
      return;
    }
}

// Reads what stands behind a "%"; *at moves behind it. False for a width or precision out of range.
static bool ReadDirective(const qelWChar** at, Arguments* args, Directive* directive) {
  *directive = {{'\0'}, 0, -1, kInt, false, '\0'};
  for (char flag; (flag = FlagOf(**at)) != '\0'; ++*at)
    AddFlag(directive, flag);
  if (!ReadNumber(at, args, &directive->width))
    return false;
  if (directive->width < 0) {
    AddFlag(directive, '-');
    directive->width = -directive->width;
  }
  if (**at == '.') {
    ++*at;
    if (!ReadNumber(at, args, &directive->precision))
      return false;
    if (directive->precision < 0)
      directive->precision = -1;
  }
  ReadModifier(at, directive);
  directive->conversion = **at < 0x80 ? static_cast<char>(**at) : '\0';
  if (directive->conversion != '\0')
    ++*at;
  return true;
}

// Narrow text ------------------------------------------------------------------

// Reads one character of UTF-8 text, and not a byte behind it, into units; *at moves behind it.
// Gives the number of units, 0 at the end, -1 for malformed text.
static int DecodeOne(const char** at, qelWChar units[2]) {
  unsigned char lead = static_cast<unsigned char>(**at);
  if (lead < 0x80) {
    units[0] = lead;
    *at += lead != 0;
    return lead != 0;
  }
  char sequence[9] = {*(*at)++};
  for (size_t n = 1; (lead & 0x40) != 0 && (**at & 0xC0) == 0x80;
       lead = static_cast<unsigned char>(lead << 1))
    sequence[n++] = *(*at)++;
  return static_cast<int>(qelUTF8_Decode(units, sequence, 2));
}

// Counts the units of narrow text, at most `limit` of them, and writes them if a sink is given.
// Gives -1 for malformed text.
static int64_t PutNarrow(const char* text, size_t limit, Sink* sink) {
  size_t count = 0;
  qelWChar units[2];
  while (count < limit) {
    const int n = DecodeOne(&text, units);
    if (n < 0)
      return -1;
    if (n == 0)
      break;
    for (int i = 0; i < n && count < limit; ++i, ++count)
      if (sink != nullptr)
        sink->Put(units[i]);
  }
  return static_cast<int64_t>(count);
}

// Printing a directive: each gives false for one that ends the print ------------

// Writes the directive for the narrow printf.
static void Rebuild(const Directive& directive, char spec[64]) {
  static const char* const kSizes[] = {"", "l", "ll", "L"};
  char* at = spec + trio_snprintf(spec, 64, "%%%s", directive.flags);
  if (directive.width != 0)
    at += trio_snprintf(at, 16, "%d", directive.width);
  if (directive.precision >= 0)
    at += trio_snprintf(at, 16, ".%d", directive.precision);
  trio_snprintf(at, 8, "%s%c", kSizes[directive.size], directive.conversion);
}

template <class T>
static bool PutByTrio(Sink* sink, const Directive& directive, T value) {
  char spec[64];
  char local[512];
  Rebuild(directive, spec);
  const int savedError = errno;
  const int length = trio_snprintf(local, sizeof local, spec, value);
  if (length < 0)
    return false;
  const size_t size = static_cast<size_t>(length) + 1;
  if (size <= sizeof local)
    return PutNarrow(local, SIZE_MAX, sink) >= 0;
  char* block = static_cast<char*>(qelMem_Alloc(size));
  errno = savedError; // which the directive may show
  trio_snprintf(block, size, spec, value);
  const bool valid = PutNarrow(block, SIZE_MAX, sink) >= 0;
  free(block);
  return valid;
}

static bool PutInteger(Sink* sink, const Directive& directive, Arguments* args) {
  switch (directive.size) {
  case kInt:
    return PutByTrio(sink, directive, va_arg(args->list, int));
  case kLong:
    return PutByTrio(sink, directive, va_arg(args->list, long));
  case kLongLong:
    return PutByTrio(sink, directive, va_arg(args->list, long long));
  case kLongDouble:
    break;
  }
  return false;
}

static bool PutFloating(Sink* sink, const Directive& directive, Arguments* args) {
  if (directive.size == kLongDouble)
    return PutByTrio(sink, directive, va_arg(args->list, long double));
  return PutByTrio(sink, directive, va_arg(args->list, double));
}

// How many blanks go with a text of `length` units.
static size_t PaddingFor(const Directive& directive, size_t length) {
  const size_t width = static_cast<size_t>(directive.width);
  return width > length ? width - length : 0;
}

static bool PutUnits(Sink* sink, const Directive& directive, const qelWChar* text, size_t length) {
  const size_t padding = PaddingFor(directive, length);
  const bool left = HasFlag(directive, '-');
  sink->Fill(left ? 0 : padding, ' ');
  for (size_t i = 0; i < length; ++i)
    sink->Put(text[i]);
  sink->Fill(left ? padding : 0, ' ');
  return true;
}

static bool PutCharacter(Sink* sink, const Directive& directive, Arguments* args) {
  const int value = va_arg(args->list, int);
  const bool wide = directive.wide || directive.conversion == 'C';
  const qelWChar unit = wide ? static_cast<qelWChar>(value) : static_cast<unsigned char>(value);
  if (!wide && unit >= 0x80) // no character of UTF-8 on its own
    return false;
  return PutUnits(sink, directive, &unit, 1);
}

static bool PutNull(Sink* sink, Directive directive) {
  directive.size = kInt;
  directive.conversion = 's';
  return PutByTrio(sink, directive, static_cast<const char*>(nullptr));
}

static bool PutWideText(Sink* sink, const Directive& directive, Arguments* args) {
  const qelWChar* text = va_arg(args->list, const qelWChar*);
  if (text == nullptr)
    return PutNull(sink, directive);
  const size_t limit = static_cast<size_t>(directive.precision); // -1 is no limit
  size_t length = 0;
  while (length < limit && text[length] != 0)
    ++length;
  return PutUnits(sink, directive, text, length);
}

static bool PutNarrowText(Sink* sink, const Directive& directive, Arguments* args) {
  const char* text = va_arg(args->list, const char*);
  if (text == nullptr)
    return PutNull(sink, directive);
  const size_t limit = static_cast<size_t>(directive.precision);
  const int64_t length = PutNarrow(text, limit, nullptr);
  if (length < 0)
    return false;
  const size_t padding = PaddingFor(directive, static_cast<size_t>(length));
  const bool left = HasFlag(directive, '-');
  sink->Fill(left ? 0 : padding, ' ');
  PutNarrow(text, limit, sink);
  sink->Fill(left ? padding : 0, ' ');
  return true;
}

static bool PutDirective(Sink* sink, const Directive& directive, Arguments* args) {
  switch (directive.conversion) {
  case 'd':
  case 'i':
  case 'o':
  case 'u':
  case 'x':
  case 'X':
  case 'b':
  case 'B':
    return PutInteger(sink, directive, args);
  case 'e':
  case 'E':
  case 'f':
  case 'F':
  case 'g':
  case 'G':
  case 'a':
  case 'A':
    return PutFloating(sink, directive, args);
  case 'p':
    return PutByTrio(sink, directive, va_arg(args->list, void*));
  case 'm':
    return PutByTrio(sink, directive, 0);
  case 'c':
  case 'C':
    return PutCharacter(sink, directive, args);
  case 'S':
    return PutWideText(sink, directive, args);
  case 's':
    return directive.wide ? PutWideText(sink, directive, args)
                          : PutNarrowText(sink, directive, args);
  default:
    return false;
  }
}

int qelWidePrint_VSNPrintf(qelWChar* buffer, size_t size, const qelWChar* format, va_list args) {
  Sink sink = {buffer, size != 0 ? size - 1 : 0, 0};
  Arguments arguments;
  va_copy(arguments.list, args);
  bool valid = true;
  while (valid && *format != 0) {
    if (*format != '%') {
      sink.Put(*format++);
    } else if (format[1] == '%') {
      sink.Put(*format);
      format += 2;
    } else {
      Directive directive;
      ++format;
      valid = ReadDirective(&format, &arguments, &directive) &&
              PutDirective(&sink, directive, &arguments) && sink.count <= INT_MAX;
    }
  }
  va_end(arguments.list);
  if (size != 0)
    buffer[sink.count < sink.room ? sink.count : sink.room] = 0;
  return valid && sink.count <= INT_MAX ? static_cast<int>(sink.count) : -1;
}
