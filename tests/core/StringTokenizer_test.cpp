#include <qel/core/StringTokenizer.h>

#include <clocale>
#include <cwctype>

typedef qelStringTokenizer Tokenizer;
typedef qelString String;
typedef qelWChar Char;
#define SUITE(name) StringTokenizer##name

#include "TokenizerContract.h"

// In a locale that knows wide blanks, since the C locale of some systems has none beyond ASCII.
TEST(StringTokenizerModes, AskTheRuntimeLibraryForWhitespace) {
  setlocale(LC_CTYPE, "C.UTF-8"); // a system without it has wide blanks in every locale
  for (unsigned c = 1; c < 0x10000; ++c) {
    const bool space = iswspace(static_cast<wint_t>(c)) != 0;
    const qelStringTokenizer tokenizer(QEL_W("a"), qelString(static_cast<qelWChar>(c)),
                                       qelTokenDefault);
    EXPECT_EQ(tokenizer.GetMode(), space ? qelTokenStrtok : qelTokenReturnEmpty) << c;
  }
  EXPECT_NE(iswspace(0x2003), 0) << "the em space is no blank, so nothing above ASCII was tried";
  setlocale(LC_CTYPE, "C");
}

TEST(StringTokenizerEdges, CutsAtUnitsAboveAscii) {
  qelStringTokenizer tokenizer(QEL_W("a\u2028b\u00E9c"), QEL_W("\u2028\u00E9"),
                               qelTokenReturnEmpty);
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("a"));
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("b"));
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("c"));
  EXPECT_FALSE(tokenizer.HasMoreTokens());
}
