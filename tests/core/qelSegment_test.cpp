#include <qel/core/qelSegment.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

typedef std::vector<std::string> Texts;

// The segments' texts; checks the list's own fields and frees it.
static Texts Taken(qelSegmentList* list) {
  Texts texts;
  const qelSegment* last = nullptr;
  for (const qelSegment* segment = list->first; segment != nullptr; segment = segment->next) {
    texts.emplace_back(segment->start, segment->length);
    last = segment;
  }
  EXPECT_EQ(list->count, texts.size());
  EXPECT_EQ(list->last, last);
  qelSegmentList_Free(list);
  return texts;
}

static Texts Split(const std::string& text, const std::string& needle) {
  return Taken(qelSegmentList_Split(text.data(), 0, text.size(), needle.data(), needle.size()));
}

static Texts SplitEscaped(const std::string& text, const std::string& needle, char escape) {
  return Taken(qelSegmentList_SplitEscaped(text.data(), 0, text.size(), needle.data(),
                                           needle.size(), escape));
}

static Texts SplitQuoted(const std::string& text, const std::string& needle) {
  return Taken(
      qelSegmentList_SplitQuoted(text.data(), 0, text.size(), needle.data(), needle.size()));
}

static Texts SplitCommas(const std::string& text) {
  return Taken(qelSegmentList_SplitCommas(text.data(), 0, text.size()));
}

static std::string Owned(char* text) {
  const std::string copy(text);
  free(text);
  return copy;
}

static std::string Trimmed(std::string text) {
  qelSegment segment = {&text[0], text.size(), nullptr};
  qelSegment_Trim(&segment);
  return std::string(segment.start, segment.length);
}

static std::string Unquoted(std::string text) {
  qelSegment segment = {&text[0], text.size(), nullptr};
  qelSegment_Unquote(&segment);
  return std::string(segment.start, segment.length);
}

TEST(SegmentMatchAt, LooksWithinTheEnd) {
  const char text[] = "abcabc";
  EXPECT_EQ(qelSegment_MatchAt(text, 0, 6, "abc", 3), 1);
  EXPECT_EQ(qelSegment_MatchAt(text, 3, 6, "abc", 3), 1);
  EXPECT_EQ(qelSegment_MatchAt(text, 1, 6, "abc", 3), 0);
  EXPECT_EQ(qelSegment_MatchAt(text, 3, 5, "abc", 3), 0); // would run past the end
  EXPECT_EQ(qelSegment_MatchAt(text, 6, 6, "abc", 3), 0);
  EXPECT_EQ(qelSegment_MatchAt(text, 0, 6, "abc", SIZE_MAX), 0);
}

TEST(SegmentMatchAt, MatchesAnEmptyNeedle) {
  EXPECT_EQ(qelSegment_MatchAt("abc", 0, 3, "", 0), 1);
  EXPECT_EQ(qelSegment_MatchAt("abc", 3, 3, "", 0), 1);
  EXPECT_EQ(qelSegment_MatchAt("abc", 3, 3, nullptr, 0), 1);
}

TEST(SegmentListSplit, GivesAllSegmentsInOrder) {
  EXPECT_EQ(Split("a,b,c", ","), (Texts{"a", "b", "c"}));
  EXPECT_EQ(Split(",a,,b,", ","), (Texts{"", "a", "", "b", ""}));
  EXPECT_EQ(Split("a--b-c--", "--"), (Texts{"a", "b-c", ""}));
  EXPECT_EQ(Split("aaa", "aa"), (Texts{"", "a"}));
}

TEST(SegmentListSplit, GivesOneSegmentAtLeast) {
  EXPECT_EQ(Split("", ","), (Texts{""}));
  EXPECT_EQ(Split("abc", ","), (Texts{"abc"}));
  EXPECT_EQ(Split(",", ",,"), (Texts{","}));
}

TEST(SegmentListSplit, SplitsNothingAtAnEmptyNeedle) {
  EXPECT_EQ(Split("abc", ""), (Texts{"abc"}));
  EXPECT_EQ(SplitEscaped("abc", "", '\\'), (Texts{"abc"}));
  EXPECT_EQ(SplitQuoted("abc", ""), (Texts{"abc"}));
}

TEST(SegmentListSplit, StaysWithinItsOffsets) {
  const char text[] = "a,b,c,d";
  EXPECT_EQ(Taken(qelSegmentList_Split(text, 2, 5, ",", 1)), (Texts{"b", "c"}));
  EXPECT_EQ(Taken(qelSegmentList_Split(text, 2, 4, ",", 1)), (Texts{"b", ""}));
  EXPECT_EQ(Taken(qelSegmentList_Split(text, 3, 3, ",", 1)), (Texts{""}));
}

TEST(SegmentListSplit, PointsIntoTheText) {
  const char text[] = "a,b";
  qelSegmentList* list = qelSegmentList_Split(text, 0, 3, ",", 1);
  EXPECT_EQ(list->first->start, text);
  EXPECT_EQ(list->last->start, text + 2);
  qelSegmentList_Free(list);
}

TEST(SegmentListSplitEscaped, KeepsAnEscapedNeedleInItsSegment) {
  EXPECT_EQ(SplitEscaped("a\\,b,c", ",", '\\'), (Texts{"a\\,b", "c"}));
  EXPECT_EQ(SplitEscaped("\\,", ",", '\\'), (Texts{"\\,"}));
  EXPECT_EQ(SplitEscaped("a\\\\,b", ",", '\\'), (Texts{"a\\\\,b"})); // only the byte ahead counts
  EXPECT_EQ(SplitEscaped("a,\\,,b", ",", '\\'), (Texts{"a", "\\,", "b"}));
  EXPECT_EQ(SplitEscaped("\\aaa", "aa", '\\'), (Texts{"\\aaa"})); // skipped whole
}

TEST(SegmentListSplitEscaped, HasNoEscapeWithZero) {
  EXPECT_EQ(SplitEscaped("a\\,b", ",", '\0'), (Texts{"a\\", "b"}));
  EXPECT_EQ(SplitEscaped(std::string("a\0,b", 4), ",", '\0'), (Texts{std::string("a\0", 2), "b"}));
}

TEST(SegmentListSplitEscaped, DoesNotLookBeforeTheStart) {
  EXPECT_EQ(Taken(qelSegmentList_SplitEscaped("\\,a", 1, 3, ",", 1, '\\')), (Texts{"", "a"}));
}

TEST(SegmentListSplitQuoted, DoesNotSplitInsideQuotes) {
  EXPECT_EQ(SplitQuoted("a,\"b,c\",d", ","), (Texts{"a", "\"b,c\"", "d"}));
  EXPECT_EQ(SplitQuoted("a,'b,c',d", ","), (Texts{"a", "'b,c'", "d"}));
  EXPECT_EQ(SplitQuoted("\"a,b", ","), (Texts{"\"a,b"})); // never closed
  EXPECT_EQ(SplitQuoted("'a,b", ","), (Texts{"'a,b"}));
  EXPECT_EQ(SplitQuoted("a\"b,c\"d,e", ","), (Texts{"a\"b,c\"d", "e"}));
}

TEST(SegmentListSplitQuoted, LetsTheFirstQuoteDecideForTheWholeText) {
  EXPECT_EQ(SplitQuoted("\"a\",'b,c'", ","), (Texts{"\"a\"", "'b", "c'"}));
  EXPECT_EQ(SplitQuoted("'a',\"b,c\"", ","), (Texts{"'a'", "\"b", "c\""}));
  EXPECT_EQ(SplitQuoted("it's \"a,b\",c", ","), (Texts{"it's \"a,b\",c"}));
}

TEST(SegmentListSplitQuoted, EndsQuotingAtTheSecondQuote) {
  EXPECT_EQ(SplitQuoted("'',a", ","), (Texts{"''", "a"}));
  EXPECT_EQ(SplitQuoted("\"\",a", ","), (Texts{"\"\"", "a"}));
  EXPECT_EQ(SplitQuoted("'a'b,'c,d'", ","), (Texts{"'a'b", "'c,d'"}));
}

TEST(SegmentListSplitQuoted, AddsTheLastSegmentAlways) {
  EXPECT_EQ(SplitQuoted("", ","), (Texts{""}));
  EXPECT_EQ(SplitQuoted("a,", ","), (Texts{"a", ""}));
  EXPECT_EQ(SplitQuoted("a<>'b<>c'<>", "<>"), (Texts{"a", "'b<>c'", ""}));
}

TEST(SegmentListSplitCommas, TrimsAndUnquotesEachSegment) {
  EXPECT_EQ(SplitCommas(" a , \"b,c\" ,d"), (Texts{"a", "b,c", "d"}));
  EXPECT_EQ(SplitCommas("\" a \""), (Texts{" a "}));
  EXPECT_EQ(SplitCommas(""), (Texts{""}));
}

TEST(SegmentListFree, AllowsNull) {
  qelSegmentList_Free(nullptr);
}

TEST(SegmentTrim, LeavesAboutHalfOfALongRunOfBlanksOnTheLeft) {
  EXPECT_EQ(Trimmed("    a"), " a");
  EXPECT_EQ(Trimmed("  a"), "a");
  EXPECT_EQ(Trimmed("   a"), " a");
  EXPECT_EQ(Trimmed(std::string(10, ' ') + "ab"), std::string(4, ' ') + "ab");
}

TEST(SegmentTrim, TakesAllWhitespaceOnTheRight) {
  EXPECT_EQ(Trimmed("  ab  "), "ab");
  EXPECT_EQ(Trimmed("a" + std::string(100, ' ')), "a");
  EXPECT_EQ(Trimmed("a\t\n\v\f\r "), "a");
  EXPECT_EQ(Trimmed("a\xA0"), "a\xA0");
}

TEST(SegmentTrim, EndsEmptyForBlanksAlone) {
  for (size_t n = 0; n < 20; ++n)
    EXPECT_EQ(Trimmed(std::string(n, ' ')), "");
}

TEST(SegmentUnquote, DropsOnePairOfEqualQuotes) {
  EXPECT_EQ(Unquoted("\"a\""), "a");
  EXPECT_EQ(Unquoted("'a'"), "a");
  EXPECT_EQ(Unquoted("''"), "");
  EXPECT_EQ(Unquoted("''a''"), "'a'");
}

TEST(SegmentUnquote, LeavesOtherTextsAlone) {
  for (const char* text : {"", "'", "\"", "'a\"", "a", "'a", "a'", "xax"})
    EXPECT_EQ(Unquoted(text), text);
}

TEST(SegmentListHasToken, FindsOnlyAWholeToken) {
  EXPECT_EQ(qelSegmentList_HasToken("a,b,c", ",", "b"), 1);
  EXPECT_EQ(qelSegmentList_HasToken(" a , 'b' ,c", ",", "b"), 1);
  EXPECT_EQ(qelSegmentList_HasToken("ab,c", ",", "a"), 0);
  EXPECT_EQ(qelSegmentList_HasToken("a", ",", "ab"), 0);
  EXPECT_EQ(qelSegmentList_HasToken("A", ",", "a"), 0);
  EXPECT_EQ(qelSegmentList_HasToken("'a,b',c", ",", "a,b"), 1);
  EXPECT_EQ(qelSegmentList_HasToken("a;;b", ";;", "b"), 1);
}

TEST(SegmentListHasToken, FindsTheEmptyTokenInAnEmptySegment) {
  EXPECT_EQ(qelSegmentList_HasToken("", ",", ""), 1);
  EXPECT_EQ(qelSegmentList_HasToken("a,,b", ",", ""), 1);
  EXPECT_EQ(qelSegmentList_HasToken("a,b", ",", ""), 0);
}

TEST(StrDupTrimmed, TrimsTheSidesThatAreAskedFor) {
  EXPECT_EQ(Owned(qelStr_DupTrimmed("  ab  ", 6, 0, 0)), "  ab  ");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("  ab  ", 6, 1, 0)), "ab  ");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("  ab  ", 6, 0, 1)), "  ab");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("      ab  ", 10, 1, 1)), "ab");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("    ", 4, 1, 1)), "");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("ab cd", 3, 1, 1)), "ab");
  EXPECT_EQ(Owned(qelStr_DupTrimmed("", 0, 1, 1)), "");
}

TEST(StrIsDelimited, WantsBothEnds) {
  EXPECT_EQ(qelStr_IsDelimited("(a)", 3, '(', ')', 1), 1);
  EXPECT_EQ(qelStr_IsDelimited("()", 2, '(', ')', 0), 1);
  EXPECT_EQ(qelStr_IsDelimited("(a", 2, '(', ')', 1), 0);
  EXPECT_EQ(qelStr_IsDelimited("a)", 2, '(', ')', 1), 0);
  EXPECT_EQ(qelStr_IsDelimited("(", 1, '(', '(', 1), 0);
  EXPECT_EQ(qelStr_IsDelimited("", 0, '(', ')', 1), 0);
  EXPECT_EQ(qelStr_IsDelimited(nullptr, 3, '(', ')', 1), 0);
}

TEST(StrIsDelimited, RefusesAnInnerOpenByteUnlessAllowed) {
  EXPECT_EQ(qelStr_IsDelimited("(a(b)", 5, '(', ')', 1), 1);
  EXPECT_EQ(qelStr_IsDelimited("(a(b)", 5, '(', ')', 0), 0);
  EXPECT_EQ(qelStr_IsDelimited("(a)b)", 5, '(', ')', 0), 1);
  EXPECT_EQ(qelStr_IsDelimited("'a'", 3, '\'', '\'', 0), 1);
  EXPECT_EQ(qelStr_IsDelimited("'a'b'", 5, '\'', '\'', 0), 0);
}

TEST(StrHasAnyOf, LooksAtTheSpanAlone) {
  EXPECT_EQ(qelStr_HasAnyOf("abc", 3, "xc"), 1);
  EXPECT_EQ(qelStr_HasAnyOf("abc", 2, "xc"), 0);
  EXPECT_EQ(qelStr_HasAnyOf("abc", 3, ""), 0);
  EXPECT_EQ(qelStr_HasAnyOf("", 0, "abc"), 0);
  EXPECT_EQ(qelStr_HasAnyOf("a\0b", 3, "x"), 0); // the set's terminator is no member
}

TEST(StrQuote, PutsABackslashAheadOfEachMemberOfTheSet) {
  EXPECT_EQ(Owned(qelStr_Quote("a\"b", 3, "\"\\", 0, '"', '"')), "\"a\\\"b\"");
  EXPECT_EQ(Owned(qelStr_Quote("a\\", 2, "\"\\", 0, '"', '"')), "\"a\\\\\"");
  EXPECT_EQ(Owned(qelStr_Quote("ab", 2, "", 0, '<', '>')), "<ab>");
  EXPECT_EQ(Owned(qelStr_Quote("", 0, "x", 0, '<', '>')), "<>");
  EXPECT_EQ(Owned(qelStr_Quote("xxxx", 4, "x", 0, 'x', 'x')), "x\\x\\x\\x\\xx");
}

TEST(StrQuote, IgnoresItsFourthArgument) {
  EXPECT_EQ(Owned(qelStr_Quote("a\"", 2, "\"", 1, '<', '>')), "<a\\\">");
  EXPECT_EQ(Owned(qelStr_Quote("a\"", 2, "\"", -1, '<', '>')), "<a\\\">");
}

TEST(SegmentListSplit, JoinsBackToTheText) {
  std::mt19937 random(50);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (size_t n = random() % 20; n != 0; --n)
      text += "ab,\"'\\ "[random() % 7];
    const std::string needle = random() % 2 != 0 ? "," : "ab";
    for (const Texts& texts :
         {Split(text, needle), SplitEscaped(text, needle, '\\'), SplitQuoted(text, needle)}) {
      std::string joined = texts[0];
      for (size_t i = 1; i < texts.size(); ++i)
        joined += needle + texts[i];
      ASSERT_EQ(joined, text);
    }
  }
}
