#include "virtual/replay/PgmReader.h"

#include <gmock/gmock.h>

#include "RecordingBytes.h"

namespace orq {
namespace {

using test::Bytes;
using test::FromText;
using test::Join;
using testing::ElementsAre;
using testing::HasSubstr;

std::string ErrorOf(const Bytes& bytes) {
  std::string error;
  EXPECT_FALSE(ReadPgm(bytes, error).has_value());
  EXPECT_EQ(error.find('\n'), std::string::npos);
  return error;
}

TEST(PgmReader, ReadsEightBits) {
  std::string error;
  const auto recording = ReadPgm(Join(FromText("P5\n3 2\n255\n"), {1, 2, 3, 4, 5, 255}), error);
  ASSERT_TRUE(recording) << error;
  EXPECT_EQ(recording->width, 3);
  EXPECT_EQ(recording->height, 2);
  EXPECT_EQ(recording->count, 1);
  EXPECT_EQ(recording->adcBits, 8);
  EXPECT_EQ(recording->bayer, -1);
  EXPECT_THAT(recording->samples, ElementsAre(1, 2, 3, 4, 5, 255));
}

TEST(PgmReader, ReadsSixteenBitsMostSignificantByteFirst) {
  std::string error;
  const auto recording = ReadPgm(Join(FromText("P5 2 1 4095 "), {0x0F, 0xFE, 0x00, 0x01}), error);
  ASSERT_TRUE(recording) << error;
  EXPECT_EQ(recording->adcBits, 16);
  EXPECT_THAT(recording->samples, ElementsAre(0x0FFE, 1));
}

TEST(PgmReader, TakesOneByteUpToAMaximumOf255AndTwoFrom256) {
  std::string error;
  EXPECT_EQ(ReadPgm(Join(FromText("P5 2 1 255 "), {1, 2}), error)->adcBits, 8);
  EXPECT_EQ(ReadPgm(Join(FromText("P5 1 1 256 "), {1, 0}), error)->adcBits, 16);
}

TEST(PgmReader, PassesOverCommentsAndManyBlanks) {
  std::string error;
  const auto recording =
      ReadPgm(Join(FromText("P5#one\n# two 9 9\r\n  2\t#width\n \n1 #height\n255\n"), {'#', 7}), error);
  ASSERT_TRUE(recording) << error;
  EXPECT_THAT(recording->samples, ElementsAre('#', 7));
}

TEST(PgmReader, KeepsABlankThatIsTheFirstSample) {
  std::string error;
  const auto recording = ReadPgm(Join(FromText("P5 2 1 255\n"), {'\n', ' '}), error);
  ASSERT_TRUE(recording) << error;
  EXPECT_THAT(recording->samples, ElementsAre('\n', ' '));
}

TEST(PgmReader, IgnoresWhatFollowsTheFirstImage) {
  std::string error;
  const auto recording = ReadPgm(Join(FromText("P5 1 1 255 "), {9, 8, 7}), error);
  ASSERT_TRUE(recording) << error;
  EXPECT_THAT(recording->samples, ElementsAre(9));
}

TEST(PgmReader, RefusesOtherFormats) {
  EXPECT_EQ(ErrorOf(FromText("P2 1 1 255 7")), "not a binary PGM (P5)");
  EXPECT_EQ(ErrorOf(FromText("P6 1 1 255 abc")), "not a binary PGM (P5)");
  EXPECT_EQ(ErrorOf(FromText("P5")), "not a binary PGM (P5)");
  EXPECT_EQ(ErrorOf({}), "not a binary PGM (P5)");
}

TEST(PgmReader, RefusesDamagedHeaders) {
  for (const char* text : {"P5 ", "P5 x", "P5 3", "P5 3 2", "P5 3 2 255", "P5 -3 2 255 ", "P5 3 2 255x", "P5 #"})
    EXPECT_EQ(ErrorOf(FromText(text)), "PGM header is damaged") << text;
}

TEST(PgmReader, RefusesMaximumValuesOutsideSixteenBits) {
  EXPECT_EQ(ErrorOf(FromText("P5 1 1 0 a")), "PGM maximum value 0 is outside 1 to 65535");
  EXPECT_EQ(ErrorOf(FromText("P5 1 1 65536 ab")), "PGM maximum value 65536 is outside 1 to 65535");
}

TEST(PgmReader, RefusesTruncatedPixels) {
  EXPECT_EQ(ErrorOf(FromText("P5 3 2 255 12345")), "truncated: 6 bytes of pixels announced, 5 present");
  EXPECT_EQ(ErrorOf(FromText(std::string("P5 3 1 200 \xC8\xC9\x01", 14))),
            "PGM sample of 201 is above the file's maximum value, 200");
  EXPECT_EQ(ErrorOf(FromText(std::string("P5 1 1 1000 \x03\xE9", 14))),
            "PGM sample of 1001 is above the file's maximum value, 1000");
  EXPECT_EQ(ErrorOf(FromText("P5 3 2 256 12345678901")), "truncated: 12 bytes of pixels announced, 11 present");
}

TEST(PgmReader, RefusesAbsurdSizesWithoutAllocating) {
  EXPECT_THAT(ErrorOf(FromText("P5 0 2 255 a")), HasSubstr("frames of 0 x 2 pixels"));
  EXPECT_THAT(ErrorOf(FromText("P5 16385 1 255 a")), HasSubstr("sides of 1 to 16384"));
  EXPECT_THAT(ErrorOf(FromText("P5 16384 16384 255 a")), HasSubstr("truncated"));
  EXPECT_THAT(ErrorOf(FromText("P5 99999999999999999999999999 1 255 a")), HasSubstr("frames of"));
}

}  // namespace
}  // namespace orq
