#include <qel/core/StringTokenizer.h>

#include <cwctype>

typedef qelStringTokenizer Tokenizer;
typedef qelString String;
typedef qelWChar Char;
#define SUITE(name) StringTokenizer##name

#include "TokenizerContract.h"

TEST(StringTokenizerModes, AskTheRuntimeLibraryForWhitespace) {
  for (unsigned c = 1; c < 0x10000; ++c) {
    const bool space = iswspace(static_cast<wint_t>(c)) != 0;
    const qelStringTokenizer tokenizer(QEL_W("a"), qelString(static_cast<qelWChar>(c)),
                                       qelTokenDefault);
    ASSERT_EQ(tokenizer.GetMode(), space ? qelTokenStrtok : qelTokenReturnEmpty) << c;
  }
}

TEST(StringTokenizerEdges, CutsAtUnitsAboveAscii) {
  qelStringTokenizer tokenizer(QEL_W("a\u2028b\u00E9c"), QEL_W("\u2028\u00E9"),
                               qelTokenReturnEmpty);
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("a"));
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("b"));
  EXPECT_EQ(tokenizer.GetNextToken(), QEL_W("c"));
  EXPECT_FALSE(tokenizer.HasMoreTokens());
}
