#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "image/flash/FlashRecord.h"

namespace orq {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using Bytes = std::vector<std::uint8_t>;

/// The record of `source`, as long as it says.
Bytes Record(RecordKind kind, const Bytes& source) {
  Bytes record(RecordRoom(kind, source.size()));
  const std::uint32_t length = MakeRecord(kind, source, record);
  EXPECT_LE(length, record.size());
  record.resize(length);
  return record;
}

/// What a bitmap's record must be, told by the rule alone: the whole body first, then the cut. Every source byte
/// adds its bytes while, before it, more than four bytes are left to the source's size.
Bytes ExpectedBitmapRecord(const Bytes& source) {
  std::vector<Bytes> additions;
  for (std::size_t i = 0; i < source.size(); ++i) {
    Bytes addition;
    const auto position = static_cast<unsigned>(i % 256);
    if (source[i] != 0) addition = {static_cast<std::uint8_t>(position % 16 * 16 + position / 16), source[i]};
    if (position == 255 && i != source.size() - 1) addition.insert(addition.end(), {0, 0});
    additions.push_back(addition);
  }
  Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 0};
  for (const Bytes& addition : additions) {
    if (record.size() + 4 >= source.size()) break;
    record.insert(record.end(), addition.begin(), addition.end());
  }
  record[6] = static_cast<std::uint8_t>(record.size() / 256 % 256);
  record[7] = static_cast<std::uint8_t>(record.size() % 256);
  record[5] = static_cast<std::uint8_t>(record.size() / 65536);
  return record;
}

Bytes RandomSource(std::mt19937& random, std::size_t size, unsigned oneIn) {
  Bytes source(size);
  for (auto& byte : source)
    if (random() % oneIn == 0) byte = static_cast<std::uint8_t>(random() % 255 + 1);
  return source;
}

Bytes Expanded(const Bytes& record, std::size_t size) {
  Bytes bitmap(size, 0xEE);
  EXPECT_FALSE(ExpandBitmap(record, bitmap));
  return bitmap;
}

TEST(BitmapRecord, OfTwelveBytesOrFewerIsAHeaderWhateverTheyHold) {
  for (std::size_t size = 0; size <= 12; ++size) {
    EXPECT_THAT(Record(RecordKind::Bitmap, Bytes(size, 0xFF)), ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 8))
        << size;
  }
}

TEST(BitmapRecord, OfThirteenBytesHasRoomForOneEntry) {
  EXPECT_THAT(Record(RecordKind::Bitmap, Bytes(13, 0xFF)),
              ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 10, 0x00, 0xFF));
  Bytes source(13);
  source[11] = 7;
  source[12] = 9;
  EXPECT_THAT(Record(RecordKind::Bitmap, source), ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 10, 0xB0, 7));
}

TEST(BitmapRecord, OfZerosHoldsTheBlockEndsButTheLast) {
  EXPECT_THAT(Record(RecordKind::Bitmap, Bytes(1024)),
              ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 14, 0, 0, 0, 0, 0, 0));
}

TEST(BitmapRecord, StoresAByteWithTheNibblesOfItsPositionSwapped) {
  Bytes source(1024);
  source[0x1A3] = 0x80;
  EXPECT_THAT(Record(RecordKind::Bitmap, source),
              ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0x3A, 0x80, 0, 0, 0, 0));
}

TEST(BitmapRecord, EndsABlockBehindTheEntryOfItsLastByte) {
  Bytes source(600);
  source[255] = 1;
  source[256] = 2;
  EXPECT_THAT(Record(RecordKind::Bitmap, source),
              ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 16, 0xFF, 1, 0, 0, 0x00, 2, 0, 0));
}

TEST(BitmapRecord, IsCutSilentlyWhereTheEntriesMightNotFit) {
  std::mt19937 random(4);
  for (const unsigned oneIn : {1U, 2U, 3U, 40U}) {
    for (std::size_t size = 0; size < 1100; ++size) {
      const Bytes source = RandomSource(random, size, oneIn);
      const Bytes expected = ExpectedBitmapRecord(source);
      ASSERT_EQ(Record(RecordKind::Bitmap, source), expected) << size << " bytes, one in " << oneIn;
      ASSERT_LE(expected.size(), std::max<std::size_t>(size, 8));
    }
  }
}

TEST(BitmapRecord, GivesASparseSourceBack) {
  std::mt19937 random(7);
  for (const std::size_t size : {512U, 1000U, 65536U, 265012U}) {
    const Bytes source = RandomSource(random, size, 40);
    const Bytes record = Record(RecordKind::Bitmap, source);
    EXPECT_EQ(record, ExpectedBitmapRecord(source));
    EXPECT_EQ(Expanded(record, size), source) << size;
  }
}

TEST(BitmapRecord, GivesACutSourceBackUpToTheCut) {
  const Bytes source(4096, 0x5A);
  // 2 bytes an entry and 2 a block end: after 7 blocks 8 + 7 * 514 = 3606 bytes, then entries up to 4094
  // exclusive.
  const Bytes record = Record(RecordKind::Bitmap, source);
  ASSERT_EQ(record.size(), 4092U);
  const std::size_t kept = 7 * 256 + (4092 - 3606) / 2;
  const Bytes expanded = Expanded(record, source.size());
  EXPECT_THAT(Bytes(expanded.begin(), expanded.begin() + kept), Each(0x5A));
  EXPECT_THAT(Bytes(expanded.begin() + kept, expanded.end()), Each(0));
}

TEST(BitmapRecord, ShorterThanOneEntryExpandsToZeros) {
  const Bytes whole = Record(RecordKind::Bitmap, Bytes(100, 1));
  for (std::size_t length = 0; length <= 9; ++length) {
    EXPECT_THAT(Expanded(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), 64), Each(0))
        << length;
  }
}

TEST(BitmapRecord, HalfAnEntryAtItsEndIsIgnored) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 11, 0x10, 5, 0xFF};
  EXPECT_THAT(Expanded(record, 3), ElementsAre(0, 5, 0));
}

TEST(BitmapRecord, AnEntryOfPositionZeroIsNoBlockEnd) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 14, 0, 9, 0, 0, 0, 8};
  Bytes expected(300);
  expected[0] = 9;
  expected[256] = 8;
  EXPECT_EQ(Expanded(record, 300), expected);
}

TEST(BitmapRecord, AnEntryOfValueZeroStandsForItsPosition) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 12, 0x20, 6, 0x20, 0};
  EXPECT_THAT(Expanded(record, 4), ElementsAre(0, 0, 0, 0));
}

TEST(BitmapRecord, AnEntryOutsideTheBitmapIsReported) {
  Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 12, 0, 0, 0x3A, 0x80};  // source byte 256 + 163
  Bytes bitmap(420);
  EXPECT_FALSE(ExpandBitmap(record, bitmap));
  EXPECT_EQ(bitmap[419], 0x80);
  bitmap.resize(419);
  const auto outside = ExpandBitmap(record, bitmap);
  ASSERT_TRUE(outside);
  EXPECT_EQ(outside->block, 256);
  EXPECT_EQ(outside->x, 3);
  EXPECT_EQ(outside->y, 10);
  record[11] = 0;  // also one of value 0
  EXPECT_TRUE(ExpandBitmap(record, bitmap));
  EXPECT_TRUE(ExpandBitmap(record, {}));
}

TEST(BitmapRecord, BlockEndsBehindTheBitmapAreHarmless) {
  Bytes record(8 + 2 * 1000);
  Bytes bitmap(16, 0xEE);
  EXPECT_FALSE(ExpandBitmap(record, bitmap));
  EXPECT_THAT(bitmap, Each(0));
}

TEST(PlainRecord, IsTheSourceBehindAHeader) {
  EXPECT_THAT(Record(RecordKind::Plain, {0, 1, 2, 0}), ElementsAre('O', 'R', 'Q', 'G', 0, 0, 0, 12, 0, 1, 2, 0));
  EXPECT_THAT(Record(RecordKind::Plain, {}), ElementsAre('O', 'R', 'Q', 'G', 0, 0, 0, 8));
  const Bytes large = Record(RecordKind::Plain, Bytes(0x12345));
  EXPECT_THAT(Bytes(large.begin(), large.begin() + 8), ElementsAre('O', 'R', 'Q', 'G', 0, 0x01, 0x23, 0x4D));
}

TEST(PlainRecord, ExpandsToItsBodyAndZerosBehindIt) {
  const Bytes record = Record(RecordKind::Plain, {5, 6, 7});
  Bytes out(5, 0xEE);
  ExpandPlain(record, out);
  EXPECT_THAT(out, ElementsAre(5, 6, 7, 0, 0));
  out.resize(2);
  ExpandPlain(record, out);
  EXPECT_THAT(out, ElementsAre(5, 6));
  out.assign(3, 0xEE);
  ExpandPlain(Bytes{'O', 'R', 'Q'}, out);
  EXPECT_THAT(out, Each(0));
}

TEST(RecordHeader, IsKnownByItsMagic) {
  const Bytes bitmap = Record(RecordKind::Bitmap, Bytes(20));
  const Bytes plain = Record(RecordKind::Plain, Bytes(20));
  EXPECT_TRUE(IsRecord(RecordKind::Bitmap, bitmap));
  EXPECT_FALSE(IsRecord(RecordKind::Plain, bitmap));
  EXPECT_TRUE(IsRecord(RecordKind::Plain, plain));
  EXPECT_FALSE(IsRecord(RecordKind::Bitmap, plain));
  EXPECT_FALSE(IsRecord(RecordKind::Bitmap, Bytes{'O', 'R', 'Q', 'D'}));
  for (std::size_t i = 0; i < 4; ++i) {
    Bytes damaged = bitmap;
    damaged[i] ^= 0x20U;
    EXPECT_FALSE(IsRecord(RecordKind::Bitmap, damaged)) << i;
  }
}

TEST(RecordHeader, HoldsTheLengthMostSignificantByteFirst) {
  const std::array<std::uint8_t, 8> header{'O', 'R', 'Q', 'D', 0xFE, 0xDC, 0xBA, 0x98};
  EXPECT_EQ(RecordLength(header), 0xFEDCBA98U);
}

}  // namespace
}  // namespace orq
