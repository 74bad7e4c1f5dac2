#include <qel/core/qelMem.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/core/qelBytes.h>

#include <tests/support/Fatal.h>

// An allocation that fails must come back to its caller under the sanitizers too.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

// More than any system has; not known to the compiler.
static volatile size_t g_tooMuch = SIZE_MAX / 2 + 5;

typedef std::basic_string<qelWChar> Wide;

// Allocation -------------------------------------------------------------------

TEST(MemAlloc, GivesMemoryForAnySize) {
  for (size_t size : {0, 1, 100, 1000000}) {
    void* block = qelMem_Alloc(size);
    ASSERT_NE(nullptr, block);
    memset(block, 0xA5, size);
    free(block);
  }
}

TEST(MemAlloc, ExhaustionIsFatal) {
  EXPECT_FATAL(free(qelMem_Alloc(g_tooMuch)), "memory:malloc");
  EXPECT_FATAL(free(qelMem_AllocZero(g_tooMuch)), "memory:malloc");
}

TEST(MemAllocZero, GivesZeroBytes) {
  for (size_t size : {0, 1, 100, 100000}) {
    void* dirty = qelMem_Alloc(size);
    memset(dirty, 0xA5, size);
    free(dirty);
    unsigned char* block = static_cast<unsigned char*>(qelMem_AllocZero(size));
    ASSERT_NE(nullptr, block);
    for (size_t i = 0; i < size; ++i)
      ASSERT_EQ(0, block[i]);
    free(block);
  }
}

TEST(MemRealloc, OfNothingToNothingGivesNull) {
  EXPECT_EQ(nullptr, qelMem_Realloc(nullptr, 0));
}

TEST(MemRealloc, OfALiveBlockToNothingReleasesIt) {
  EXPECT_EQ(nullptr, qelMem_Realloc(qelMem_Alloc(10), 0)); // a leak check sees the block
}

TEST(MemRealloc, OfNullAllocates) {
  char* block = static_cast<char*>(qelMem_Realloc(nullptr, 3));
  ASSERT_NE(nullptr, block);
  memcpy(block, "ab", 3);
  free(block);
}

TEST(MemRealloc, KeepsTheContent) {
  char* block = static_cast<char*>(qelMem_Alloc(4));
  memcpy(block, "abc", 4);
  block = static_cast<char*>(qelMem_Realloc(block, 100000));
  EXPECT_STREQ("abc", block);
  block = static_cast<char*>(qelMem_Realloc(block, 2));
  EXPECT_EQ('b', block[1]);
  free(block);
}

TEST(MemRealloc, ExhaustionIsFatal) {
  EXPECT_FATAL(free(qelMem_Realloc(nullptr, g_tooMuch)), "memory:realloc");
  EXPECT_FATAL(free(qelMem_Realloc(qelMem_Alloc(5), g_tooMuch)), "memory:realloc");
}

// Copies -----------------------------------------------------------------------

TEST(MemStrDup, CopiesAndPassesNull) {
  EXPECT_EQ(nullptr, qelMem_StrDup(nullptr));
  const char text[] = "abc";
  char* copy = qelMem_StrDup(text);
  EXPECT_NE(text, copy);
  EXPECT_STREQ("abc", copy);
  free(copy);
  copy = qelMem_StrDup("");
  EXPECT_STREQ("", copy);
  free(copy);
}

TEST(MemStrDupUpper, RaisesEachByte) {
  EXPECT_EQ(nullptr, qelMem_StrDupUpper(nullptr));
  char* copy = qelMem_StrDupUpper("aBc-1z{\xc3\xa9");
  EXPECT_STREQ("ABC-1Z{\xc3\xa9", copy);
  free(copy);
  copy = qelMem_StrDupUpper("");
  EXPECT_STREQ("", copy);
  free(copy);
}

TEST(MemStrNDup, CopiesExactlyThatManyBytes) {
  EXPECT_EQ(nullptr, qelMem_StrNDup(nullptr, 3));
  char* copy = qelMem_StrNDup("abcdef", 3);
  EXPECT_STREQ("abc", copy);
  free(copy);
  copy = qelMem_StrNDup("a\0bcd", 4); // a zero does not end it
  EXPECT_EQ(0, memcmp("a\0bc", copy, 5));
  free(copy);
}

TEST(MemStrNDup, OfNothingGivesATerminator) {
  char* copy = qelMem_StrNDup("abc", 0);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ('\0', *copy);
  free(copy);
}

TEST(MemWStrDup, CopiesAndPassesNull) {
  EXPECT_EQ(nullptr, qelMem_WStrDup(nullptr));
  const qelWChar text[] = {'a', 0xD83D, 0xDE00, 0};
  qelWChar* copy = qelMem_WStrDup(text);
  EXPECT_EQ(Wide(text), Wide(copy));
  free(copy);
  copy = qelMem_WStrDup(QEL_W(""));
  EXPECT_EQ(0, *copy);
  free(copy);
}

TEST(MemWStrNDup, CopiesExactlyThatManyUnits) {
  EXPECT_EQ(nullptr, qelMem_WStrNDup(nullptr, 3));
  qelWChar* copy = qelMem_WStrNDup(QEL_W("a\0bcd"), 4);
  EXPECT_EQ(Wide(QEL_W("a\0bc"), 5), Wide(copy, 5));
  free(copy);
  copy = qelMem_WStrNDup(QEL_W("abc"), 0);
  EXPECT_EQ(0, *copy);
  free(copy);
}

// Slots ------------------------------------------------------------------------

TEST(MemSetStr, ReplacesTheSlotsText) {
  char* slot = nullptr;
  EXPECT_EQ(slot, qelMem_SetStr(&slot, nullptr));
  EXPECT_EQ(nullptr, slot);
  char* stored = qelMem_SetStr(&slot, "abc");
  EXPECT_EQ(stored, slot);
  EXPECT_STREQ("abc", slot);
  qelMem_SetStr(&slot, "d");
  EXPECT_STREQ("d", slot);
  EXPECT_EQ(nullptr, qelMem_SetStr(&slot, nullptr));
  EXPECT_EQ(nullptr, slot);
}

TEST(MemSetStr, TakesTheSlotsOwnText) {
  char* slot = qelMem_StrDup("abcdef");
  qelMem_SetStr(&slot, slot);
  EXPECT_STREQ("abcdef", slot);
  qelMem_SetStr(&slot, slot + 2);
  EXPECT_STREQ("cdef", slot);
  qelMem_SetStrN(&slot, slot + 1, 2);
  EXPECT_STREQ("de", slot);
  free(slot);
}

TEST(MemSetStrN, ReplacesTheSlotsTextByALength) {
  char* slot = qelMem_StrDup("old");
  EXPECT_EQ(slot, qelMem_SetStrN(&slot, "abc", 2));
  EXPECT_STREQ("ab", slot);
  qelMem_SetStrN(&slot, "a\0b", 3);
  EXPECT_EQ(0, memcmp("a\0b", slot, 4));
  qelMem_SetStrN(&slot, "abc", 0);
  EXPECT_STREQ("", slot);
  EXPECT_EQ(nullptr, qelMem_SetStrN(&slot, nullptr, 3));
  EXPECT_EQ(nullptr, slot);
}

TEST(MemAppendStr, OnAnEmptySlotStoresACopy) {
  char* slot = nullptr;
  EXPECT_EQ(nullptr, qelMem_AppendStr(&slot, nullptr));
  EXPECT_EQ(nullptr, slot);
  EXPECT_EQ(slot, qelMem_AppendStr(&slot, "abc"));
  EXPECT_STREQ("abc", slot);
  free(slot);
}

TEST(MemAppendStr, AddsToTheSlotsText) {
  char* slot = qelMem_StrDup("abc");
  const char* result = qelMem_AppendStr(&slot, "def");
  EXPECT_EQ(slot, result);
  EXPECT_STREQ("abcdef", slot);
  qelMem_AppendStr(&slot, nullptr);
  EXPECT_STREQ("abcdef", slot);
  qelMem_AppendStr(&slot, "");
  EXPECT_STREQ("abcdef", slot);
  qelMem_AppendStr(&slot, slot);
  EXPECT_STREQ("abcdefabcdef", slot);
  free(slot);
}

TEST(MemConcat, JoinsTwoTexts) {
  static const struct {
    const char *a, *b, *joined;
  } kRows[] = {{"ab", "cd", "abcd"}, {"", "cd", "cd"}, {"ab", "", "ab"}, {"", "", ""}};
  for (const auto& row : kRows) {
    char* joined = qelMem_Concat(row.a, row.b);
    EXPECT_STREQ(row.joined, joined);
    free(joined);
  }
}

// Byte order -------------------------------------------------------------------

TEST(Bytes, SwapReversesTheBytes) {
  EXPECT_EQ(0x78563412u, qelBytes_Swap32(0x12345678u));
  EXPECT_EQ(0xFF000000u, qelBytes_Swap32(0x000000FFu));
  EXPECT_EQ(0x3412u, qelBytes_Swap16(0x1234));
  EXPECT_EQ(0xFF00u, qelBytes_Swap16(0x00FF));
  for (uint32_t value : {0u, 1u, 0xDEADBEEFu, UINT32_MAX})
    EXPECT_EQ(value, qelBytes_Swap32(qelBytes_Swap32(value)));
}
