#include <qel/core/CStringTokenizer.h>

typedef qelCStringTokenizer Tokenizer;
typedef qelCString String;
typedef char Char;
#define SUITE(name) CStringTokenizer##name

#include "TokenizerContract.h"

TEST(CStringTokenizerModes, TakeBytesAboveAsciiForNoWhitespace) {
  for (int c = 1; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    const bool space = c == 32 || (c >= 9 && c <= 13);
    const qelCStringTokenizer tokenizer("a", qelCString(byte), qelTokenDefault);
    EXPECT_EQ(tokenizer.GetMode(), space ? qelTokenStrtok : qelTokenReturnEmpty) << c;
  }
}

TEST(CStringTokenizerEdges, CutsAtBytesAboveAscii) {
  qelCStringTokenizer tokenizer("a\xE9"
                                "b",
                                "\xE9", qelTokenReturnEmpty);
  EXPECT_EQ(tokenizer.GetNextToken(), "a");
  EXPECT_EQ(tokenizer.GetNextToken(), "b");
}
