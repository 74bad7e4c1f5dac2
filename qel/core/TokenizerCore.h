#ifndef QEL_CORE_TOKENIZERCORE_H
#define QEL_CORE_TOKENIZERCORE_H
//===----------------------------------------------------------------------===//
// What both tokenizers do, written once over the string class. Private to the
// sources of the two classes, whose fields come in by reference.
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
    if (text.FindFirstNotOf(delimiters.c_str()) != String::npos)
      return true;
    if (mode == qelTokenReturnEmptyAll)
      return lastEmpty;
    return mode == qelTokenReturnEmpty && lastEmpty && position == 0;
  }

  static String Next(String& text, const String& delimiters, uint64_t& position,
                     qelCStringTokenizerMode mode, bool& lastEmpty) {
    String token;
    while (HasMore(text, delimiters, position, mode, lastEmpty)) {
      const size_t found = text.FindFirstOf(delimiters.c_str());
      if (found != String::npos) {
        token = text.Left(mode == qelTokenReturnDelimiters ? found + 1 : found);
        text.Erase(0, found + 1);
        position += found + 1;
      } else {
        token = text;
        position += text.length();
        text.clear();
        lastEmpty = false;
      }
      if (mode != qelTokenStrtok || !token.IsEmpty())
        break;
    }
    return token;
  }

  // Takes all tokens of copies: the fields stay as they are.
  static size_t Count(String text, const String& delimiters, uint64_t position,
                      qelCStringTokenizerMode mode, bool lastEmpty) {
    size_t count = 0;
    for (; HasMore(text, delimiters, position, mode, lastEmpty); ++count)
      Next(text, delimiters, position, mode, lastEmpty);
    return count;
  }
};

#endif
