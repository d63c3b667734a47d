#include "virtual/replay/ReplaySource.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <numeric>

#include "RecordingBytes.h"

namespace orq {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

/// 6 x 4 samples numbered row by row from 0, and a second frame 100 higher.
RecordedFrames TwoFrames() {
  RecordedFrames recording{.width = 6, .height = 4, .count = 2, .adcBits = 16, .bayer = 0, .samples = {}};
  recording.samples.resize(48);
  std::iota(recording.samples.begin(), recording.samples.begin() + 24, std::uint16_t{0});
  std::iota(recording.samples.begin() + 24, recording.samples.end(), std::uint16_t{100});
  return recording;
}

std::vector<std::uint16_t> Shoot(ReplaySource& source, const ExposureSettings& settings) {
  std::vector<std::uint16_t> adu(
      static_cast<std::size_t>(settings.width) * static_cast<std::size_t>(settings.height), 0xDEAD);
  source.Expose(settings, adu);
  return adu;
}

TEST(ReplaySource, TakesGeometryDepthAndPatternFromTheRecording) {
  const ReplaySource source(TwoFrames(), std::nullopt);
  EXPECT_EQ(source.Width(), 6);
  EXPECT_EQ(source.Height(), 4);
  EXPECT_EQ(source.AdcBits(), 16);
  EXPECT_EQ(source.BayerPattern(), 0);
  EXPECT_EQ(source.LineTimeNs(), 5'000U);
}

TEST(ReplaySource, LetsTheUserNameThePattern) {
  EXPECT_EQ(ReplaySource(TwoFrames(), 3).BayerPattern(), 3);
  EXPECT_EQ(ReplaySource(TwoFrames(), -1).BayerPattern(), -1);
}

TEST(ReplaySource, PlaysItsFramesInTurnAgainAndAgain) {
  ReplaySource source(TwoFrames(), std::nullopt);
  const RecordedFrames recording = TwoFrames();
  for (std::uint64_t frame = 0; frame < 5; ++frame) {
    ExposureSettings settings{.width = 6, .height = 4, .frameNumber = frame};
    settings.gain = 300;
    settings.blackLevel = 99;
    settings.exposureUs = 1'000'000;
    const auto expected = recording.Frame(frame % 2);
    EXPECT_THAT(Shoot(source, settings), testing::ElementsAreArray(expected.begin(), expected.end()));
  }
}

TEST(ReplaySource, CutsRegions) {
  ReplaySource source(TwoFrames(), std::nullopt);
  EXPECT_THAT(Shoot(source, {.startX = 2, .startY = 1, .width = 3, .height = 2}),
              ElementsAre(8, 9, 10, 14, 15, 16));
}

TEST(ReplaySource, ReadsZeroOutsideTheFrame) {
  ReplaySource source(TwoFrames(), std::nullopt);
  EXPECT_THAT(Shoot(source, {.startX = 5, .startY = 3, .width = 2, .height = 2}), ElementsAre(23, 0, 0, 0));
  EXPECT_THAT(Shoot(source, {.startX = -1, .startY = -1, .width = 2, .height = 2}), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(Shoot(source, {.startX = 60'000, .startY = 0, .width = 2, .height = 2}), Each(0));
}

TEST(ReplaySource, AveragesNeighboursWithoutAPattern) {
  ReplaySource source(TwoFrames(), -1);
  // (0 + 1 + 6 + 7) / 4 = 3.5, cut to 3; the next blocks two and twelve further on.
  EXPECT_THAT(Shoot(source, {.width = 3, .height = 2, .bin = 2}), ElementsAre(3, 5, 7, 15, 17, 19));
  EXPECT_THAT(Shoot(source, {.width = 2, .height = 1, .bin = 3}), ElementsAre(7, 10));
}

TEST(ReplaySource, AveragesSamplesOfOneColourOnAMosaic) {
  ReplaySource source(TwoFrames(), std::nullopt);
  // Red: 0, 2, 12, 14. Green beside it: 1, 3, 13, 15. Below: 6, 8, 18, 20. Blue: 7, 9, 19, 21.
  EXPECT_THAT(Shoot(source, {.width = 2, .height = 2, .bin = 2}), ElementsAre(7, 8, 13, 14));
}

TEST(ReplaySource, AveragesWhatLiesInsideAtTheEdges) {
  ReplaySource source(TwoFrames(), -1);
  // Columns 4 and 5 (one block), then none; rows 3 only.
  EXPECT_THAT(Shoot(source, {.startX = 4, .startY = 3, .width = 2, .height = 1, .bin = 2}), ElementsAre(22, 0));
}

TEST(ReplaySource, NeverWritesPastTheBuffer) {
  ReplaySource source(TwoFrames(), std::nullopt);
  std::vector<std::uint16_t> adu(20, 7);
  source.Expose({.width = 6, .height = 4}, std::span(adu).first(15));  // two rows and a half
  EXPECT_EQ(adu[11], 11);
  EXPECT_EQ(adu[12], 0);
  EXPECT_EQ(adu[15], 7);
  source.Expose({.width = 0, .height = 4}, adu);
  EXPECT_THAT(adu, Each(0));
  source.Expose({.width = -1, .height = -1}, adu);
  source.Expose({.width = 2'000'000'000, .height = 1}, adu);
  EXPECT_THAT(adu, Each(0));
}

TEST(ReplaySource, OpensEachFormatFromAFile) {
  std::string error;
  const test::TemporaryFile pgm(test::Join(test::FromText("P5 2 1 255 "), {5, 6}));
  const auto fromPgm = ReplaySource::Open(pgm.Path(), 1, error);
  ASSERT_NE(fromPgm, nullptr) << error;
  EXPECT_EQ(fromPgm->AdcBits(), 8);
  EXPECT_EQ(fromPgm->BayerPattern(), 1);
  EXPECT_THAT(Shoot(*fromPgm, {.width = 2, .height = 1}), ElementsAre(5, 6));
  const test::TemporaryFile ser(test::Join(test::SerHeaderBytes({}), {1, 2, 3, 4, 5, 6, 7, 8}), "ser");
  EXPECT_NE(ReplaySource::Open(ser.Path(), std::nullopt, error), nullptr) << error;
  const test::TemporaryFile fits(
      test::Join(
          test::FitsHeaderBytes({test::Card("SIMPLE", "T"), test::Card("BITPIX", "8"), test::Card("NAXIS", "2"),
                                 test::Card("NAXIS1", "2"), test::Card("NAXIS2", "1")}),
          test::Padded({8, 9})),
      "with[1:2,*]+brackets.fits");  // no meaning is read into the name
  EXPECT_NE(ReplaySource::Open(fits.Path(), std::nullopt, error), nullptr) << error;
}

TEST(ReplaySource, NamesTheFileAndTheReasonWhenItCannotPlay) {
  std::string error;
  const test::TemporaryFile empty(test::Bytes{});
  EXPECT_EQ(ReplaySource::Open(empty.Path(), std::nullopt, error), nullptr);
  EXPECT_EQ(error, "replay file '" + empty.Path() + "': neither a FITS, a binary PGM (P5) nor a SER file");
  EXPECT_EQ(ReplaySource::Open("/", std::nullopt, error), nullptr);
  EXPECT_EQ(error, "replay file '/': not a regular file");
  EXPECT_EQ(ReplaySource::Open("/dev/zero", std::nullopt, error), nullptr);
  EXPECT_THAT(error, HasSubstr("not a regular file"));
  EXPECT_EQ(ReplaySource::Open("/nonexistent", std::nullopt, error), nullptr);
  EXPECT_THAT(error, HasSubstr("no such file"));
}

TEST(ReplaySource, RefusesFilesBeyondItsLimitWithoutReadingThem) {
  const test::TemporaryFile large(test::FromText("P5 1 1 255 a"), "large");
  std::filesystem::resize_file(large.Path(), (std::uintmax_t{1} << 30) + 1);  // sparse
  std::string error;
  EXPECT_EQ(ReplaySource::Open(large.Path(), std::nullopt, error), nullptr);
  EXPECT_THAT(error, HasSubstr("larger than 1 GiB"));
}

}  // namespace
}  // namespace orq
