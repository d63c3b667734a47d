#include "virtual/replay/FitsReader.h"

#include <gmock/gmock.h>

#include "RecordingBytes.h"

namespace orq {
namespace {

using test::Bytes;
using test::Card;
using test::FitsHeaderBytes;
using test::Join;
using test::Padded;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> Cards(int bitpix, int width, int height) {
  return {Card("SIMPLE", "T / plain"), Card("BITPIX", std::to_string(bitpix)), Card("NAXIS", "2"),
          Card("NAXIS1", std::to_string(width)), Card("NAXIS2", std::to_string(height))};
}

Bytes Image(std::vector<std::string> cards, const std::vector<std::string>& more, const Bytes& pixels) {
  cards.insert(cards.end(), more.begin(), more.end());
  return Join(FitsHeaderBytes(cards), Padded(pixels));
}

RecordedFrames Read(const Bytes& bytes) {
  std::string error;
  auto recording = ReadFits(bytes, error);
  EXPECT_TRUE(recording) << error;
  return recording.value_or(RecordedFrames{});
}

std::string ErrorOf(const Bytes& bytes) {
  std::string error;
  EXPECT_FALSE(ReadFits(bytes, error).has_value());
  EXPECT_EQ(error.find('\n'), std::string::npos);
  return error;
}

TEST(FitsReader, ReadsEightBits) {
  const RecordedFrames r = Read(Image(Cards(8, 3, 2), {}, {0, 1, 2, 127, 128, 255}));
  EXPECT_EQ(r.width, 3);
  EXPECT_EQ(r.height, 2);
  EXPECT_EQ(r.adcBits, 8);
  EXPECT_EQ(r.bayer, -1);
  EXPECT_THAT(r.samples, ElementsAre(0, 1, 2, 127, 128, 255));
}

TEST(FitsReader, ReadsUnsignedSixteenBitsThroughBzero) {
  // The stored word is the value less 32768: 0 is 0x8000, 32768 is 0, 65535 is 0x7FFF.
  const Bytes pixels{0x80, 0x00, 0x00, 0x00, 0x7F, 0xFF, 0x80, 0x01};
  const RecordedFrames r =
      Read(Image(Cards(16, 2, 2), {Card("BSCALE", "1.0"), Card("BZERO", "32768. / unsigned")}, pixels));
  EXPECT_EQ(r.adcBits, 16);
  EXPECT_THAT(r.samples, ElementsAre(0, 32768, 65535, 1));
}

TEST(FitsReader, ReadsWhatTheFileSaysOfItself) {
  const RecordedFrames r = Read(Image(Cards(8, 1, 1),
                                      {Card("DATE-OBS", "'2023-01-02T03:04:05.678' / start"),
                                       Card("EXPTIME", "12.5 / [s]"), Card("OBJECT", "'Barnard''s / Star   '")},
                                      {7}));
  EXPECT_EQ(r.facts.dateObs, "2023-01-02T03:04:05.678");
  EXPECT_EQ(r.facts.exposureSeconds, 12.5);
  EXPECT_EQ(r.facts.object, "Barnard's / Star");
  const RecordedFrames bare = Read(Image(Cards(8, 1, 1), {Card("EXPTIME", "long"), Card("OBJECT", "'  '")}, {7}));
  EXPECT_EQ(bare.facts.dateObs, "");
  EXPECT_FALSE(bare.facts.exposureSeconds);
  EXPECT_EQ(bare.facts.object, "");
}

TEST(FitsReader, TellsOfAFileThatWasCutAnywhere) {
  const Bytes whole = Image(Cards(16, 40, 40), {}, Bytes(3200, 0));
  for (std::size_t bytes = 80; bytes < 2880 + 3200; bytes += 40) {
    const std::string error = ErrorOf(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes)));
    EXPECT_THAT(error, HasSubstr("truncated: ")) << bytes;
    EXPECT_EQ(error.find('-'), std::string::npos) << error;
  }
}

TEST(FitsReader, ReadsSignedSixteenBitsWithoutNegativeValues) {
  const RecordedFrames r = Read(Image(Cards(16, 2, 1), {}, {0x00, 0x07, 0x7F, 0xFF}));
  EXPECT_THAT(r.samples, ElementsAre(7, 32767));
  EXPECT_EQ(ErrorOf(Image(Cards(16, 2, 1), {}, {0x00, 0x07, 0xFF, 0xFF})),
            "FITS image holds values outside 0 to 65535");
}

TEST(FitsReader, ReadsACubeAsFramesInTurn) {
  auto cards = Cards(8, 2, 1);
  cards[2] = Card("NAXIS", "3");
  const RecordedFrames r = Read(Image(cards, {Card("NAXIS3", "3")}, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(r.count, 3);
  EXPECT_THAT(r.Frame(0), ElementsAre(1, 2));
  EXPECT_THAT(r.Frame(2), ElementsAre(5, 6));
}

TEST(FitsReader, TakesTheBayerPatternOfTheImagesCorner) {
  const struct {
    std::vector<std::string> cards;
    int bayer;
  } rows[] = {
      {{Card("BAYERPAT", "'RGGB    '")}, 0},
      {{Card("BAYERPAT", "'BGGR'")}, 1},
      {{Card("BAYERPAT", "'GRBG    ' / mosaic")}, 2},
      {{Card("BAYERPAT", "'GBRG    '")}, 3},
      {{Card("BAYERPAT", "'CMYG    '")}, -1},
      {{Card("BAYERPAT", "'RGGB")}, -1},
      {{Card("BAYERPAT", "'RGGB'"), Card("XBAYROFF", "1"), Card("YBAYROFF", "0")}, 2},
      {{Card("BAYERPAT", "'RGGB'"), Card("XBAYROFF", "0"), Card("YBAYROFF", "1")}, 3},
      {{Card("BAYERPAT", "'RGGB'"), Card("XBAYROFF", "1"), Card("YBAYROFF", "1")}, 1},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Read(Image(Cards(8, 2, 2), row.cards, {1, 2, 3, 4})).bayer, row.bayer) << row.cards.back();
}

TEST(FitsReader, ReadsFilesWithoutTheLastBlocksPadding) {
  const RecordedFrames r = Read(Join(FitsHeaderBytes(Cards(8, 2, 2)), {1, 2, 3, 4}));
  EXPECT_THAT(r.samples, ElementsAre(1, 2, 3, 4));
}

TEST(FitsReader, ReadsHeadersOfSeveralBlocks) {
  std::vector<std::string> comments(100, "COMMENT nothing of importance");
  const RecordedFrames r = Read(Image(Cards(8, 2, 1), comments, {1, 2}));
  EXPECT_THAT(r.samples, ElementsAre(1, 2));
}

TEST(FitsReader, RefusesHeadersThatAreNone) {
  EXPECT_THAT(ErrorOf({}), HasSubstr("no END"));
  Bytes cut = FitsHeaderBytes(Cards(8, 2, 1));
  cut.resize(400);
  EXPECT_THAT(ErrorOf(cut), HasSubstr("no END"));
  Bytes binary = FitsHeaderBytes(Cards(8, 2, 1));
  binary[100] = 7;
  EXPECT_THAT(ErrorOf(binary), HasSubstr("not text"));
}

TEST(FitsReader, RefusesKeywordsThatDoNotStartAtTheLeft) {
  // A program that reads on to the next END would look for the pixels elsewhere.
  Bytes indented = FitsHeaderBytes(Cards(8, 2, 1));
  const std::string end = "    END ";
  std::copy(end.begin(), end.end(), indented.begin() + 400);  // the sixth card
  EXPECT_THAT(ErrorOf(Join(indented, Padded({1, 2}))), HasSubstr("FITS header"));
  Bytes followed = FitsHeaderBytes(Cards(8, 2, 1));
  followed[5 * 80 + 10] = 'x';
  EXPECT_THAT(ErrorOf(Join(followed, Padded({1, 2}))), HasSubstr("FITS header"));
  EXPECT_THAT(ErrorOf(Image(Cards(8, 2, 1), {Card(" BZERO", "0")}, {1, 2})), HasSubstr("start at the left"));
  EXPECT_THAT(ErrorOf(Image(Cards(8, 2, 1), {Card("BZ ERO", "0")}, {1, 2})), HasSubstr("start at the left"));
  EXPECT_THAT(ErrorOf(Image(Cards(8, 2, 1), {Card("", "0")}, {1, 2})), HasSubstr("start at the left"));
}

TEST(FitsReader, RefusesMissingMisplacedAndDoubledKeywords) {
  auto order = Cards(8, 2, 1);
  std::swap(order[1], order[2]);
  EXPECT_THAT(ErrorOf(Image(order, {}, {1, 2})), HasSubstr("must come first"));
  auto notSimple = Cards(8, 2, 1);
  notSimple[0] = Card("SIMPLE", "F");
  EXPECT_THAT(ErrorOf(Image(notSimple, {}, {1, 2})), HasSubstr("must come first"));
  EXPECT_EQ(ErrorOf(Image(Cards(8, 2, 1), {Card("NAXIS1", "9")}, {1, 2})), "FITS keyword NAXIS1 stands twice");
  auto missing = Cards(8, 2, 1);
  missing.pop_back();
  EXPECT_THAT(ErrorOf(Image(missing, {}, {1, 2})), HasSubstr("must come first"));
}

TEST(FitsReader, RefusesOtherImages) {
  EXPECT_THAT(ErrorOf(Image(Cards(-32, 2, 1), {}, Bytes(8, 0))), HasSubstr("8 or 16 bits"));
  EXPECT_THAT(ErrorOf(Image(Cards(32, 2, 1), {}, Bytes(8, 0))), HasSubstr("8 or 16 bits"));
  auto words = Cards(8, 2, 1);
  words[1] = Card("BITPIX", "sixteen");
  EXPECT_THAT(ErrorOf(Image(words, {}, {1, 2})), HasSubstr("8 or 16 bits"));
  EXPECT_THAT(ErrorOf(FitsHeaderBytes({Card("SIMPLE", "T"), Card("BITPIX", "8"), Card("NAXIS", "0")})),
              HasSubstr("no image"));
  auto line = Cards(8, 2, 1);
  line[2] = Card("NAXIS", "1");
  EXPECT_THAT(ErrorOf(Image(line, {}, {1, 2})), HasSubstr("two axes"));
  EXPECT_THAT(ErrorOf(Image(Cards(8, 2, 1), {Card("GROUPS", "T")}, {1, 2})), HasSubstr("random groups"));
}

TEST(FitsReader, RefusesScaledImages) {
  EXPECT_THAT(ErrorOf(Image(Cards(16, 2, 1), {Card("BSCALE", "2.0")}, Bytes(4, 0))), HasSubstr("scaled"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 2, 1), {Card("BZERO", "100")}, Bytes(4, 0))), HasSubstr("scaled"));
  EXPECT_THAT(ErrorOf(Image(Cards(8, 2, 1), {Card("BZERO", "32768")}, Bytes(4, 0))), HasSubstr("scaled"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 2, 1), {Card("BZERO", "many")}, Bytes(4, 0))), HasSubstr("scaled"));
}

TEST(FitsReader, RefusesTruncatedAndAbsurdSizes) {
  EXPECT_THAT(ErrorOf(FitsHeaderBytes(Cards(8, 2, 1))), HasSubstr("truncated: 2 bytes"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 1600, 1), {}, Bytes(2880, 0))), HasSubstr("truncated: 3200 bytes"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 0, 1), {}, {})), HasSubstr("frames of 0 x 1"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 16385, 1), {}, {})), HasSubstr("sides of 1 to"));
  EXPECT_THAT(ErrorOf(Image(Cards(16, 16384, 16384), {}, {})), HasSubstr("truncated"));
  auto cube = Cards(8, 16384, 16384);
  cube[2] = Card("NAXIS", "3");
  EXPECT_THAT(ErrorOf(Image(cube, {Card("NAXIS3", "9223372036854775807")}, {})), HasSubstr("shorter recording"));
  EXPECT_THAT(ErrorOf(Image(cube, {Card("NAXIS3", "0")}, {})), HasSubstr("holds no frame"));
}

}  // namespace
}  // namespace orq
