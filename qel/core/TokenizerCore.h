#ifndef QEL_CORE_TOKENIZERCORE_H
#define QEL_CORE_TOKENIZERCORE_H
//===----------------------------------------------------------------------===//
// What both tokenizers do, written once over the string class. Private to the
// sources of the two classes, whose fields come in by reference.
//
// The text stays whole while it is walked, since erasing each token would copy
// the rest for each of them:
//
//   | consumed | what is left |
//              ^ position, never beyond the length
//===----------------------------------------------------------------------===//

#include <qel/core/CStringTokenizer.h>

template <class String>
struct qelTokenizerCore {
  // The mode that stands for qelTokenDefault with these delimiters.
  template <class Char>
  static qelCStringTokenizerMode DefaultMode(const Char* delimiters, bool (*isSpace)(Char)) {
    while (*delimiters != 0 && isSpace(*delimiters))
      ++delimiters;
    return *delimiters != 0 ? qelTokenReturnEmpty : qelTokenStrtok;
  }

  // INTENDED: qelTokenReturnEmpty gives one token of a text of delimiters only, and no empty one
  // behind a last delimiter, so the position decides. Pinned by
  // CStringTokenizerEdges.GivesOneTokenOfDelimitersOnly.
  static bool HasMore(const String& text, const String& delimiters, uint64_t position,
                      qelCStringTokenizerMode mode, bool lastEmpty) {
    if (lastEmpty &&
        (mode == qelTokenReturnEmptyAll || (mode == qelTokenReturnEmpty && position == 0)))
      return true; // whatever is left
    return text.FindFirstNotOf(delimiters.c_str(), position) != String::npos;
  }

  static String Next(const String& text, const String& delimiters, uint64_t& position,
                     qelCStringTokenizerMode mode, bool& lastEmpty) {
    size_t first = 0;
    size_t end = 0;
    if (!Take(text, delimiters, position, mode, lastEmpty, first, end))
      return String();
    return text.Mid(first, end - first);
  }

  // Takes all tokens of copies of the state, which stays as it is.
  static size_t Count(const String& text, const String& delimiters, uint64_t position,
                      qelCStringTokenizerMode mode, bool lastEmpty) {
    size_t count = 0;
    size_t first = 0;
    size_t end = 0;
    while (Take(text, delimiters, position, mode, lastEmpty, first, end))
      ++count;
    return count;
  }

private:
  // Moves the position behind the next token, which is text[first..end-1]. False, with nothing
  // changed, if there is none.
  static bool Take(const String& text, const String& delimiters, uint64_t& position,
                   qelCStringTokenizerMode mode, bool& lastEmpty, size_t& first, size_t& end) {
    if (!HasMore(text, delimiters, position, mode, lastEmpty))
      return false;
    first = mode == qelTokenStrtok ? text.FindFirstNotOf(delimiters.c_str(), position) : position;
    const size_t found = text.FindFirstOf(delimiters.c_str(), first);
    if (found != String::npos) {
      end = mode == qelTokenReturnDelimiters ? found + 1 : found;
      position = found + 1;
    } else {
      end = text.length();
      position = end;
      lastEmpty = false;
    }
    return true;
  }
};

#endif
