#include <qel/containers/BitString.h>

#include <random>
#include <vector>

#include <gtest/gtest.h>

TEST(BitStringConstruction, BeginsWithNothingToRead) {
  qelBitString bits;
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
  EXPECT_EQ(bits.GetByteOffset(), 0u);
  EXPECT_EQ(bits.Get(0), 0u);
  EXPECT_EQ(bits.Get(1), 0u);
  EXPECT_EQ(bits.Peek(32), 0u);
  bits.Skip(1);
  bits.ByteAlign();
  bits.ToggleMarker(false);
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
}

TEST(BitStringGet, ReadsTheHighestBitFirst) {
  const unsigned char bytes[] = {0xA5, 0x0F};
  qelBitString bits(bytes, 2);
  EXPECT_EQ(bits.GetRemainingBitCount(), 16u);
  EXPECT_EQ(bits.Get(4), 0xAu);
  EXPECT_EQ(bits.Get(8), 0x50u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 4u);
  EXPECT_EQ(bits.Get(4), 0xFu);
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
}

TEST(BitStringGet, ReadsFourBytesAtABoundaryAndAcrossFive) {
  const unsigned char bytes[] = {0x12, 0x34, 0x56, 0x78, 0x9A};
  qelBitString bits(bytes, 5);
  EXPECT_EQ(bits.Get(32), 0x12345678u);
  EXPECT_EQ(bits.GetByteOffset(), 4u);
  bits.SetBuffer(bytes, 5);
  EXPECT_EQ(bits.Get(4), 0x1u);
  EXPECT_EQ(bits.Get(32), 0x23456789u);
  EXPECT_EQ(bits.GetByteOffset(), 5u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 4u);
}

TEST(BitStringGet, ReadsNoBits) {
  const unsigned char bytes[] = {0xFF};
  qelBitString bits(bytes, 1);
  EXPECT_EQ(bits.Get(0), 0u);
  EXPECT_EQ(bits.GetByteOffset(), 0u);
  bits.Get(3);
  EXPECT_EQ(bits.Get(0), 0u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 5u);
}

TEST(BitStringGet, GivesZeroAndReadsNothingAbove32Bits) {
  const std::vector<unsigned char> bytes(64, 0xFF);
  qelBitString bits(bytes.data(), bytes.size());
  bits.Get(3);
  for (unsigned n = 33; n < 256; ++n)
    ASSERT_EQ(bits.Get(static_cast<unsigned char>(n)), 0u) << n;
  EXPECT_EQ(bits.GetRemainingBitCount(), 64u * 8 - 3);
  bits.SetBuffer(bytes.data(), 4);
  EXPECT_EQ(bits.Get(33), 0u) << "past the end as well";
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
}

TEST(BitStringGet, KeepsTheBitsOfTheCurrentByteAtTheEnd) {
  const unsigned char bytes[] = {0xA5, 0x0F};
  qelBitString bits(bytes, 2);
  bits.Get(5);
  EXPECT_EQ(bits.Get(12), 0u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 3u);
  EXPECT_EQ(bits.GetByteOffset(), 2u);
  EXPECT_EQ(bits.Get(4), 0u);
  EXPECT_EQ(bits.Get(3), 5u) << "the low bits of 0xA5";
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
}

TEST(BitStringPeek, GivesWhatGetGives) {
  const unsigned char bytes[] = {0xA5, 0x0F, 0x33, 0xC7, 0x81, 0x42};
  for (unsigned char offset = 0; offset < 16; ++offset)
    for (unsigned char n = 0; n <= 32; ++n) {
      qelBitString bits(bytes, sizeof bytes);
      bits.Get(offset);
      const qelULong peeked = bits.Peek(n);
      ASSERT_EQ(bits.GetRemainingBitCount(), 48u - offset);
      ASSERT_EQ(bits.Get(n), peeked);
    }
}

TEST(BitStringPeek, PastTheEndChangesNothing) {
  const unsigned char bytes[] = {0xA5};
  qelBitString bits(bytes, 1);
  EXPECT_EQ(bits.Peek(9), 0u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 8u);
  EXPECT_EQ(bits.Get(8), 0xA5u);
}

TEST(BitStringPeek, WipesTheMarker) {
  const unsigned char bytes[] = {0x12, 0x34};
  qelBitString bits(bytes, 2);
  bits.ToggleMarker(true);
  bits.Get(4);
  bits.Peek(4);
  bits.Get(4);
  bits.ToggleMarker(false);
  EXPECT_EQ(bits.Get(4), 0x2u) << "back to where Peek was";
}

TEST(BitStringSkip, PassesOverBits) {
  const unsigned char bytes[] = {0x12, 0x34, 0x56, 0x78, 0x9A};
  qelBitString bits(bytes, 5);
  bits.Skip(0);
  EXPECT_EQ(bits.GetByteOffset(), 0u);
  bits.Skip(4);
  EXPECT_EQ(bits.GetByteOffset(), 1u);
  bits.Skip(0);
  EXPECT_EQ(bits.GetRemainingBitCount(), 36u);
  EXPECT_EQ(bits.Get(4), 0x2u);
  bits.Skip(28);
  EXPECT_EQ(bits.Get(4), 0xAu);
}

TEST(BitStringSkip, LeavesNothingPastTheEnd) {
  const unsigned char bytes[] = {0xA5, 0x0F};
  qelBitString bits(bytes, 2);
  bits.Get(5);
  bits.Skip(12);
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
  EXPECT_EQ(bits.GetByteOffset(), 2u);
  EXPECT_EQ(bits.Get(1), 0u);
}

TEST(BitStringSkip, MovesAsGetDoes) {
  std::vector<unsigned char> bytes(12);
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<unsigned char>(37 * i + 11);
  for (unsigned char offset = 0; offset < 9; ++offset)
    for (unsigned char n = 0; n <= 32; ++n) {
      qelBitString a(bytes.data(), bytes.size());
      qelBitString b(bytes.data(), bytes.size());
      a.Get(offset);
      b.Skip(offset);
      a.Get(n);
      b.Skip(n);
      ASSERT_EQ(a.GetByteOffset(), b.GetByteOffset());
      ASSERT_EQ(a.GetRemainingBitCount(), b.GetRemainingBitCount());
      ASSERT_EQ(a.Get(32), b.Get(32));
    }
}

TEST(BitStringSkip, PassesOverMoreBitsThanGetReads) {
  std::vector<unsigned char> bytes(40, 0);
  bytes[31] = 0x01; // bit 255
  qelBitString bits(bytes.data(), bytes.size());
  bits.Skip(255);
  EXPECT_EQ(bits.GetRemainingBitCount(), 65u);
  EXPECT_EQ(bits.Get(1), 1u);
}

TEST(BitStringByteAlign, PassesOverTheRestOfAByte) {
  const unsigned char bytes[] = {0xA5, 0x0F, 0x33};
  qelBitString bits(bytes, 3);
  bits.ByteAlign();
  EXPECT_EQ(bits.GetRemainingBitCount(), 24u);
  bits.Get(1);
  bits.ByteAlign();
  EXPECT_EQ(bits.GetRemainingBitCount(), 16u);
  bits.ByteAlign();
  EXPECT_EQ(bits.Get(8), 0x0Fu);
  bits.ByteAlign();
  EXPECT_EQ(bits.GetRemainingBitCount(), 8u);
}

TEST(BitStringMarker, LeadsBackToItsPlace) {
  const unsigned char bytes[] = {0x12, 0x34, 0x56, 0x78, 0x9A};
  qelBitString bits(bytes, 5);
  bits.Get(4);
  bits.ToggleMarker(true);
  EXPECT_EQ(bits.Get(24), 0x234567u);
  EXPECT_EQ(bits.GetByteOffset(), 4u);
  bits.ToggleMarker(false);
  EXPECT_EQ(bits.GetByteOffset(), 1u);
  EXPECT_EQ(bits.GetRemainingBitCount(), 36u);
  EXPECT_EQ(bits.Get(8), 0x23u);
}

TEST(BitStringMarker, LeadsBackFromPastTheEnd) {
  const unsigned char bytes[] = {0x12, 0x34};
  qelBitString bits(bytes, 2);
  bits.ToggleMarker(true);
  bits.Skip(200);
  bits.ToggleMarker(false);
  EXPECT_EQ(bits.Get(16), 0x1234u);
}

TEST(BitStringSetBuffer, ForgetsTheOldBlockAndItsMarker) {
  const unsigned char first[] = {0x12, 0x34};
  const unsigned char second[] = {0x56};
  qelBitString bits(first, 2);
  bits.Get(4);
  bits.ToggleMarker(true);
  bits.SetBuffer(second, 1);
  EXPECT_EQ(bits.GetRemainingBitCount(), 8u);
  EXPECT_EQ(bits.GetByteOffset(), 0u);
  EXPECT_EQ(bits.Get(4), 5u);
  bits.ToggleMarker(false);
  EXPECT_EQ(bits.Get(4), 0u) << "never a byte of the first block";
  EXPECT_EQ(bits.GetRemainingBitCount(), 0u);
}

TEST(BitStringCopy, ReadsOnByItself) {
  const unsigned char bytes[] = {0x12, 0x34, 0x56};
  qelBitString bits(bytes, 3);
  bits.Get(4);
  bits.ToggleMarker(true);
  bits.Get(4);
  qelBitString copy;
  copy = bits;
  EXPECT_EQ(copy.Get(8), 0x34u);
  EXPECT_EQ(bits.Get(4), 0x3u);
  copy.ToggleMarker(false);
  EXPECT_EQ(copy.Get(8), 0x23u);
}

TEST(BitStringModel, ReadsWhatTheBitsSay) {
  std::mt19937 random(8);
  for (int round = 0; round < 500; ++round) {
    std::vector<unsigned char> bytes(random() % 40);
    std::vector<bool> model;
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(random());
      for (int bit = 7; bit >= 0; --bit)
        model.push_back((byte >> bit & 1) != 0);
    }
    qelBitString bits(bytes.data(), bytes.size());
    size_t at = 0;
    while (true) {
      const unsigned char n = static_cast<unsigned char>(random() % 33);
      if (at + n > model.size())
        break;
      qelULong expected = 0;
      for (size_t i = at; i < at + n; ++i)
        expected = expected << 1 | (model[i] ? 1u : 0u);
      ASSERT_EQ(bits.Peek(n), expected);
      if (random() % 4 == 0)
        bits.Skip(n);
      else
        ASSERT_EQ(bits.Get(n), expected);
      at += n;
      ASSERT_EQ(bits.GetRemainingBitCount(), model.size() - at);
      ASSERT_EQ(bits.GetByteOffset(), (at + 7) / 8);
    }
  }
}

// One byte ahead, so that the integers are not aligned.
static const unsigned char kBytes[] = {0x00, 0xF1, 0x23, 0x45, 0x86, 0x11, 0x22, 0x33, 0x99};
static const unsigned char* const kAt = kBytes + 1;

TEST(BitStringIntegers, AreReadInBothByteOrders) {
  EXPECT_EQ(qelBitString::Get1(kAt), 0xF1);
  EXPECT_EQ(qelBitString::Get2(kAt), 0xF123);
  EXPECT_EQ(qelBitString::Get3(kAt), 0xF12345u);
  EXPECT_EQ(qelBitString::Get4(kAt), 0xF1234586u);
  EXPECT_EQ(qelBitString::BigEndianTouint16(kAt), 0xF123);
  EXPECT_EQ(qelBitString::BigEndianTouint32(kAt), 0xF1234586u);
  EXPECT_EQ(qelBitString::LittleEndianTouint16(kAt), 0x23F1);
  EXPECT_EQ(qelBitString::LittleEndianTouint32(kAt), 0x864523F1u);
  EXPECT_EQ(qelBitString::LittleEndianTouint64(kAt), qeluint64(0x99332211864523F1ull));
}

TEST(BitStringIntegers, AreReadFromPlainCharacters) {
  const char* at = reinterpret_cast<const char*>(kAt);
  EXPECT_EQ(qelBitString::Get1(at), 0xF1);
  EXPECT_EQ(qelBitString::Get2(at), 0xF123);
  EXPECT_EQ(qelBitString::Get3(at), 0xF12345u);
  EXPECT_EQ(qelBitString::Get4(at), 0xF1234586u);
}

TEST(BitStringIntegers, TakeTheSignFromTheHighestByte) {
  EXPECT_EQ(qelBitString::BigEndianToint16(kAt), 0xF123 - 0x10000);
  EXPECT_EQ(qelBitString::BigEndianToint16(kAt + 1), 0x2345);
  EXPECT_EQ(qelBitString::BigEndianToint32(kAt), -0x0EDCBA7A);
  EXPECT_EQ(qelBitString::BigEndianToint32(kAt + 1), 0x23458611);
  EXPECT_EQ(qelBitString::LittleEndianToint16(kAt), 0x23F1);
  EXPECT_EQ(qelBitString::LittleEndianToint16(kAt + 2), 0x8645 - 0x10000);
  EXPECT_EQ(qelBitString::LittleEndianToint32(kAt), -0x79BADC0F);
  EXPECT_EQ(qelBitString::LittleEndianToint32(kAt + 1), 0x11864523);
}

TEST(BitStringIntegers, AreWrittenLowestByteFirst) {
  const uint16_t v16 = qelBitString::uint16ToLittleEndian(0x1234);
  const uint32_t v32 = qelBitString::uint32ToLittleEndian(0x12345678u);
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&v16)[0], 0x34);
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&v32)[0], 0x78);
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&v32)[3], 0x12);
  EXPECT_EQ(v16 == 0x3412, qelBitString::IsBigEndianPlatform());
}
