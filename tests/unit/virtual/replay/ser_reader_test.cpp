#include "virtual/replay/SerReader.h"

#include <gmock/gmock.h>

#include "RecordingBytes.h"

namespace orq {
namespace {

using test::Bytes;
using test::Join;
using test::SerFields;
using test::SerHeaderBytes;
using testing::ElementsAre;
using testing::HasSubstr;

std::string ErrorOf(const Bytes& bytes) {
  std::string error;
  EXPECT_FALSE(ReadSer(bytes, error).has_value());
  EXPECT_EQ(error.find('\n'), std::string::npos);
  return error;
}

TEST(SerReader, ReadsAllFramesOfEightBits) {
  std::string error;
  const auto recording = ReadSer(
      Join(SerHeaderBytes({.width = 2, .height = 2, .frames = 3}), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}),
      error);
  ASSERT_TRUE(recording) << error;
  EXPECT_EQ(recording->count, 3);
  EXPECT_EQ(recording->adcBits, 8);
  EXPECT_THAT(recording->Frame(0), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(recording->Frame(2), ElementsAre(9, 10, 11, 12));
  EXPECT_THAT(recording->Frame(4), ElementsAre(5, 6, 7, 8));
}

TEST(SerReader, MapsTheColourCodes) {
  const struct {
    std::int32_t code;
    int bayer;
  } rows[] = {{0, -1}, {8, 0}, {9, 2}, {10, 3}, {11, 1}};
  for (const auto& row : rows) {
    std::string error;
    const auto recording = ReadSer(Join(SerHeaderBytes({.colour = row.code}), Bytes(8, 0)), error);
    ASSERT_TRUE(recording) << error;
    EXPECT_EQ(recording->bayer, row.bayer) << row.code;
  }
}

TEST(SerReader, TakesTheByteOrderFieldAsOtherReadersDoWhereThePixelsDoNotTell) {
  // 0x0102, 0x0201 …: as rough one way as the other.
  const Bytes pixels{1, 2, 2, 1, 2, 1, 1, 2, 1, 2, 2, 1, 2, 1, 1, 2};
  std::string error;
  const auto little = ReadSer(Join(SerHeaderBytes({.byteOrder = 0, .depth = 16}), pixels), error);
  const auto big = ReadSer(Join(SerHeaderBytes({.byteOrder = 1, .depth = 16}), pixels), error);
  ASSERT_TRUE(little && big) << error;
  EXPECT_EQ(little->samples[0], 0x0201);
  EXPECT_EQ(big->samples[0], 0x0102);
  EXPECT_EQ(big->adcBits, 16);
}

TEST(SerReader, TrustsSmoothPixelsMoreThanTheByteOrderField) {
  const std::vector<std::uint16_t> ramp{1000, 1010, 1021, 1029, 1040, 1052, 1061, 1070};
  for (const std::int32_t field : {0, 1}) {
    std::string error;
    const SerFields fields{.byteOrder = field, .depth = 12};
    const auto little = ReadSer(Join(SerHeaderBytes(fields), test::LittleEndian(ramp)), error);
    const auto big = ReadSer(Join(SerHeaderBytes(fields), test::BigEndian(ramp)), error);
    ASSERT_TRUE(little && big) << error;
    EXPECT_EQ(little->samples, ramp);
    EXPECT_EQ(big->samples, ramp);
  }
}

TEST(SerReader, IgnoresTimeStampsBehindTheFrames) {
  std::string error;
  EXPECT_TRUE(ReadSer(Join(SerHeaderBytes({}), Bytes(8 + 8, 1)), error)) << error;
}

TEST(SerReader, RefusesDamagedAndForeignHeaders) {
  Bytes shortHeader = SerHeaderBytes({});
  shortHeader.resize(177);
  EXPECT_EQ(ErrorOf(shortHeader), "SER header is damaged");
  EXPECT_EQ(ErrorOf(Bytes(300, 0)), "SER header is damaged");
  EXPECT_EQ(ErrorOf({}), "SER header is damaged");
}

TEST(SerReader, RefusesColourPlanesAndUnknownCodes) {
  for (const std::int32_t code : {100, 101, 16, -1, 7, 12})
    EXPECT_THAT(ErrorOf(Join(SerHeaderBytes({.colour = code}), Bytes(100, 0))), HasSubstr("only mono and Bayer"));
}

TEST(SerReader, RefusesDepthsOutsideSixteenBits) {
  for (const std::int32_t depth : {0, -8, 17, 32, 2'147'483'647})
    EXPECT_THAT(ErrorOf(Join(SerHeaderBytes({.depth = depth}), Bytes(100, 0))), HasSubstr("pixel depth"));
}

TEST(SerReader, TakesTwoBytesPerSampleFromNineBits) {
  std::string error;
  EXPECT_EQ(ReadSer(Join(SerHeaderBytes({.depth = 8}), Bytes(16, 0)), error)->adcBits, 8);
  EXPECT_EQ(ReadSer(Join(SerHeaderBytes({.depth = 9}), Bytes(16, 0)), error)->adcBits, 16);
  EXPECT_EQ(ErrorOf(Join(SerHeaderBytes({.depth = 9}), Bytes(15, 0))),
            "truncated: 16 bytes of pixels announced, 15 present");
}

TEST(SerReader, RefusesAbsurdSizesWithoutAllocating) {
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.width = 0})), HasSubstr("frames of 0 x 2"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.height = -5})), HasSubstr("frames of 4 x -5"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.width = 2'147'483'647, .height = 2'147'483'647})),
              HasSubstr("sides of 1 to"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.frames = 0})), HasSubstr("holds no frame"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.frames = -1})), HasSubstr("holds no frame"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.width = 16384, .height = 16384, .frames = 2'147'483'647})),
              HasSubstr("shorter recording"));
  EXPECT_THAT(ErrorOf(SerHeaderBytes({.width = 16384, .height = 16384})), HasSubstr("truncated"));
}

}  // namespace
}  // namespace orq
