#include "image/flash/Bitmap.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace orq {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(Bitmap, BitZeroIsTheFirstOfEight) {
  Bytes bitmap(2, 0xEE);
  PackBits(Bytes{1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 7, 0, 0, 0, 0, 0}, bitmap);
  EXPECT_EQ(bitmap, (Bytes{0x81, 0x04}));
  Bytes entries(16, 0xEE);
  UnpackBits(bitmap, entries);
  EXPECT_EQ(entries, (Bytes{1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0}));
}

TEST(Bitmap, EntriesBehindTheBitmapAreLeftOut) {
  Bytes bitmap(1);
  PackBits(Bytes(11, 1), bitmap);
  EXPECT_EQ(bitmap, Bytes{0xFF});
  Bytes entries(11, 5);
  UnpackBits(Bytes{0x00}, entries);
  EXPECT_EQ(entries, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 5, 5, 5}));
}

TEST(Bitmap, MissingEntriesAreZero) {
  Bytes bitmap(3, 0xEE);
  PackBits(Bytes(9, 1), bitmap);
  EXPECT_EQ(bitmap, (Bytes{0xFF, 0x01, 0x00}));
  Bytes entries(3, 5);
  UnpackBits(Bytes{0x05, 0xFF}, entries);
  EXPECT_EQ(entries, (Bytes{1, 0, 1}));
}

TEST(Bitmap, OfNothingIsNothing) {
  Bytes none;
  PackBits(none, none);
  UnpackBits(none, none);
  EXPECT_TRUE(none.empty());
}

TEST(Bitmap, EveryByteComesBack) {
  Bytes bytes(256);
  for (std::size_t i = 0; i < 256; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  Bytes entries(2048);
  UnpackBits(bytes, entries);
  for (std::size_t i = 0; i < 2048; ++i) ASSERT_EQ(entries[i], (i / 8) >> (i % 8) & 1) << i;
  Bytes packed(256);
  PackBits(entries, packed);
  EXPECT_EQ(packed, bytes);
}

TEST(Bitmap, AnyEntryButZeroIsABitAtEveryPlaceAndSize) {
  std::mt19937 random(8);
  Bytes entries(600);
  for (std::uint8_t& entry : entries) entry = static_cast<std::uint8_t>(random() % 2 == 0 ? 0 : random());
  entries[3] = 0x80;
  entries[4] = 0x01;
  for (std::size_t first = 0; first < 9; ++first) {
    for (std::size_t count = 0; first + count <= 100; ++count) {
      Bytes bitmap((count + 7) / 8);
      PackBits(std::span(entries).subspan(first, count), bitmap);
      Bytes back(count);
      UnpackBits(bitmap, back);
      for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(bitmap[i / 8] >> (i % 8) & 1, entries[first + i] != 0 ? 1 : 0)
            << first << ' ' << count << ' ' << i;
        ASSERT_EQ(back[i], entries[first + i] != 0 ? 1 : 0) << first << ' ' << count << ' ' << i;
      }
    }
  }
}

}  // namespace
}  // namespace orq
