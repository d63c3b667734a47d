#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image/dark/BmpFile.h"

namespace orq {
namespace {

using testing::ElementsAre;

TEST(BmpImageBytes, RoundsRowsUpToFourBytes) {
  EXPECT_EQ(BmpImageBytes(1000, 10), 10000U);
  EXPECT_EQ(BmpImageBytes(1001, 10), 10040U);
  EXPECT_EQ(BmpImageBytes(1003, 10), 10040U);
  EXPECT_EQ(BmpImageBytes(1004, 1), 1004U);
  EXPECT_EQ(BmpImageBytes(1, 1), 4U);
  EXPECT_EQ(BmpImageBytes(0, 9), 0U);
  EXPECT_EQ(BmpImageBytes(2147483647, 2), 4294967296U);
}

TEST(BmpHeaders, DescribeAnEightBitImage) {
  // 10,040 = 0x2738 image bytes, 11,118 = 0x2B6E in the file.
  EXPECT_THAT(MakeBmpFileHeader(1001, 10), ElementsAre('B', 'M', 0x6E, 0x2B, 0, 0, 0, 0, 0, 0, 0x36, 0x04, 0, 0));
  EXPECT_THAT(MakeBmpInfoHeader(1001, 10),
              ElementsAre(40, 0, 0, 0, 0xE9, 0x03, 0, 0, 10, 0, 0, 0, 1, 0, 8, 0, 0, 0, 0, 0,  //
                          0x38, 0x27, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0));
}

TEST(BmpHeaders, HaveAPaletteOfGreys) {
  const auto palette = GreyBmpPalette();
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_EQ(palette[4 * i], i);
    EXPECT_EQ(palette[4 * i + 1], i);
    EXPECT_EQ(palette[4 * i + 2], i);
    EXPECT_EQ(palette[4 * i + 3], 0);
  }
}

TEST(BmpHeaders, AreReadLittleEndian) {
  BmpFileHeader file{};
  file[0] = 0x42;
  file[1] = 0x4D;
  file[10] = 0x01;
  file[13] = 0x80;
  EXPECT_EQ(ReadBmpFileHeader(file).type, 0x4D42);
  EXPECT_EQ(ReadBmpFileHeader(file).pixelOffset, 0x80000001U);
  BmpInfoHeader info{};
  info[4] = 0x34;
  info[5] = 0x12;
  info[8] = info[9] = info[10] = info[11] = 0xFF;
  info[14] = 24;
  info[15] = 1;
  EXPECT_EQ(ReadBmpInfoHeader(info).width, 0x1234);
  EXPECT_EQ(ReadBmpInfoHeader(info).height, -1);
  EXPECT_EQ(ReadBmpInfoHeader(info).bitsPerPixel, 0x0118);
}

}  // namespace
}  // namespace orq
