#include <qel/core/qelMatch.h>

static const int kMatch = 1;
static const int kNoMatch = 0;
static const int kExhausted = -1;

static const char* SkipStars(const char* pattern) {
  while (*pattern == '*')
    ++pattern;
  return pattern;
}

// Matches one byte with the class at *pattern, which is its "[", and steps behind its "]".
static bool MatchClass(unsigned char byte, const char** pattern) {
  const unsigned char* at = reinterpret_cast<const unsigned char*>(*pattern) + 1;
  const bool negated = *at == '^';
  if (negated)
    ++at;
  bool member = false;
  unsigned char last = '\0'; // start of a range
  bool first = true;         // a "]" or "-" is a member here
  for (; *at != '\0' && (first || *at != ']'); ++at) {
    const bool range = !first && *at == '-' && at[1] != ']' && at[1] != '\0';
    if (range)
      ++at;
    member |= range ? byte >= last && byte <= *at : byte == *at;
    last = *at;
    first = false;
  }
  if (*at == '\0') // not closed
    return false;
  *pattern = reinterpret_cast<const char*>(at) + 1;
  return member != negated;
}

// Matches one byte with one pattern element other than "*", and steps behind the element if it
// does.
//
// INTENDED: there is no folding here. A literal that passes a folded comparison has to pass the
// exact one as well, so only the exact one can decide. Pinned by
// MatchFoldCase.NeverMakesAMatchSucceed.
static bool MatchElement(unsigned char byte, const char** pattern) {
  if (**pattern == '[')
    return MatchClass(byte, pattern);
  if (**pattern == '?') {
    ++*pattern;
    return true;
  }
  const char* literal = **pattern == '\\' ? *pattern + 1 : *pattern;
  if (byte != static_cast<unsigned char>(*literal)) // a "\" at the end stands ahead of a terminator
    return false;
  *pattern = literal + 1;
  return true;
}

// Matches up to the next "*" or the end of the pattern, and steps behind what matched.
static int MatchRun(const char** text, const char** pattern, char separator) {
  for (; **pattern != '\0' && **pattern != '*'; ++*text) {
    if (**text == '\0' || **text == separator)
      return kExhausted;
    if (!MatchElement(static_cast<unsigned char>(**text), pattern))
      return kNoMatch;
  }
  if (**pattern == '*')
    return kMatch;
  return **text == '\0' || **text == separator ? kMatch : kNoMatch;
}

// INTENDED: the first byte of the pattern is compared as it stands, so a class or an escape ahead
// matches only a text that begins with "[" or "\". Pinned by
// MatchWildcard.ComparesAnyFirstPatternByteButStarAndQuestionMarkAsItStands.
int qelMatch_Wildcard(const char* pattern, const char* text, int foldCase, char separator) {
  if (pattern[0] == '*' && pattern[1] == '\0')
    return kMatch;
  if (*pattern != '*' && *pattern != '?' && *pattern != *text)
    return kNoMatch;
  return qelMatch_Core(text, pattern, foldCase, separator) == kMatch ? 1 : 0;
}

int qelMatch_WildcardSimple(const char* pattern, const char* text) {
  return qelMatch_Wildcard(pattern, text, /*foldCase=*/1, /*separator=*/'\0');
}

// Each "*" tries the rest of the pattern at one text position after the other. What follows a
// further "*" never comes back with "no match": it ends with a match, or with the text. So only the
// last "*" that was reached can have to try again, and one place to start again from is enough.
int qelMatch_Core(const char* text, const char* pattern, int /*foldCase*/, char separator) {
  const char* restart = nullptr; // where the rest behind the last "*" is tried next
  const char* rest = nullptr;    // pattern behind the last "*"
  for (;;) {
    const int result = MatchRun(&text, &pattern, separator);
    if (result == kMatch && *pattern == '*') {
      rest = SkipStars(pattern);
      if (*rest == '\0')
        return kMatch;
      restart = text;
    } else if (result == kNoMatch && restart != nullptr) {
      ++restart;
    } else {
      return result;
    }
    if (*restart == '\0')
      return kExhausted;
    text = restart;
    pattern = rest;
  }
}
