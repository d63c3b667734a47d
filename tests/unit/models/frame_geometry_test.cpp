#include "models/camera/FrameGeometry.h"

#include <gtest/gtest.h>

#include <climits>

#include "link/WireProtocol.h"

namespace orq {
namespace {

const ModelData& Colour() {
  return *FindModel("k1c");
}
const ModelData& Mono() {
  return *FindModel("x26m");
}

FrameRegion Wanted(int startX, int startY, int width, int height, int bin = 1, IMG_TYPE format = ORQ_IMG_RAW16) {
  return {startX, startY, width, height, bin, format};
}

struct Fit {
  bool allowed;
  FrameRegion region;
  std::string reason;
};

Fit FitOf(const ModelData& model, const FrameRegion& wanted) {
  Fit fit{};
  fit.allowed = FitRegionTo(model, wanted, fit.region, fit.reason);
  return fit;
}

TEST(FitRegion, KeepsARegionThatFollowsTheRules) {
  const FrameRegion wanted = Wanted(100, 200, 640, 480);
  const Fit fit = FitOf(Colour(), wanted);
  EXPECT_TRUE(fit.allowed) << fit.reason;
  EXPECT_EQ(fit.region, wanted);
}

TEST(FitRegion, RoundsSizesAndStartsDownToTheSteps) {
  const Fit fit = FitOf(Colour(), Wanted(101, 203, 647, 481));
  EXPECT_TRUE(fit.allowed) << fit.reason;
  EXPECT_EQ(fit.region, Wanted(100, 202, 640, 480));
}

TEST(FitRegion, AllowsTheWholeSensorAtEveryBin) {
  struct Expected {
    const ModelData& model;
    int bin, width, height;
  };
  const Expected cases[] = {{Colour(), 1, 1936, 1096}, {Colour(), 2, 968, 548}, {Colour(), 3, 640, 364},
                            {Colour(), 4, 480, 274},   {Mono(), 1, 6248, 4176}, {Mono(), 2, 3120, 2088},
                            {Mono(), 3, 2080, 1392},   {Mono(), 4, 1560, 1044}};
  for (const Expected& c : cases) {
    const Fit fit = FitOf(c.model, Wanted(0, 0, c.model.maxWidth / c.bin, c.model.maxHeight / c.bin, c.bin));
    ASSERT_TRUE(fit.allowed) << fit.reason;
    EXPECT_EQ(fit.region, Wanted(0, 0, c.width, c.height, c.bin)) << c.model.key << " bin " << c.bin;
  }
}

TEST(FitRegion, RefusesWhatReachesOutsideAndNamesTheLimits) {
  const FrameRegion outside[] = {
      Wanted(-2, 0, 64, 64),      Wanted(0, -2, 64, 64),  Wanted(1880, 0, 64, 64),  Wanted(0, 1040, 64, 64),
      Wanted(0, 0, 1944, 64),     Wanted(0, 0, 64, 1098), Wanted(2, 0, 968, 64, 2), Wanted(0, 0, INT_MAX, 64, 4),
      Wanted(INT_MAX, 0, 64, 64), Wanted(0, 0, -8, 64)};
  for (const FrameRegion& region : outside) {
    const Fit fit = FitOf(Colour(), region);
    EXPECT_FALSE(fit.allowed) << region.startX << "," << region.startY << " " << region.width << "x"
                              << region.height;
    EXPECT_NE(fit.reason.find("1936x1096"), std::string::npos) << fit.reason;
    EXPECT_EQ(fit.reason.find('\n'), std::string::npos);
  }
}

TEST(FitRegion, RefusesWhatIsTooSmallAndNamesTheSmallest) {
  for (const FrameRegion& region : {Wanted(0, 0, 15, 64), Wanted(0, 0, 64, 3), Wanted(0, 0, 0, 0)}) {
    const Fit fit = FitOf(Colour(), region);
    EXPECT_FALSE(fit.allowed);
    EXPECT_NE(fit.reason.find("16x4"), std::string::npos) << fit.reason;
  }
  EXPECT_TRUE(FitOf(Colour(), Wanted(0, 0, 16, 4)).allowed);
}

TEST(FitRegion, LeavesTheResultAloneWhenItRefuses) {
  FrameRegion region = Wanted(1, 2, 3, 4);
  std::string reason;
  EXPECT_FALSE(FitRegionTo(Colour(), Wanted(0, 0, 8, 8), region, reason));
  EXPECT_EQ(region, Wanted(1, 2, 3, 4));
}

TEST(FitRegion, RefusesOtherBinsAndNamesTheOfferedOnes) {
  for (const int bin : {-1, 0, 5, 256}) {
    const Fit fit = FitOf(Colour(), Wanted(0, 0, 64, 64, bin));
    EXPECT_FALSE(fit.allowed) << bin;
    EXPECT_NE(fit.reason.find("1, 2, 3, 4"), std::string::npos) << fit.reason;
  }
}

TEST(FitRegion, RefusesColourFormatsOnAMonochromeCamera) {
  for (const IMG_TYPE format : {ORQ_IMG_RGB24, ORQ_IMG_Y8}) {
    const Fit fit = FitOf(Mono(), Wanted(0, 0, 64, 64, 1, format));
    EXPECT_FALSE(fit.allowed);
    EXPECT_NE(fit.reason.find("raw8, raw16"), std::string::npos) << fit.reason;
  }
  EXPECT_TRUE(FitOf(Colour(), Wanted(0, 0, 64, 64, 1, ORQ_IMG_RGB24)).allowed);
}

TEST(FitRegion, RefusesAFormatThatDoesNotExist) {
  EXPECT_FALSE(FitOf(Colour(), Wanted(0, 0, 64, 64, 1, static_cast<IMG_TYPE>(4))).allowed);
  EXPECT_FALSE(FitOf(Colour(), Wanted(0, 0, 64, 64, 1, static_cast<IMG_TYPE>(-1))).allowed);
}

TEST(FitRegion, TakesAnySizeOfARecordingButEvenOnesForBinnedColour) {
  ModelData recording = *FindModel("replay");
  recording.maxWidth = 99;
  recording.maxHeight = 77;
  EXPECT_EQ(FitOf(recording, Wanted(0, 0, 99, 77)).region, Wanted(0, 0, 99, 77));
  EXPECT_EQ(FitOf(recording, Wanted(0, 2, 33, 25, 3)).region, Wanted(0, 2, 33, 25, 3));
  EXPECT_EQ(FitOf(recording, Wanted(5, 5, 1, 1)).region, Wanted(5, 5, 1, 1));
  recording.colour = true;
  EXPECT_EQ(FitOf(recording, Wanted(0, 0, 99, 77)).region, Wanted(0, 0, 99, 77));
  EXPECT_EQ(FitOf(recording, Wanted(0, 2, 33, 25, 3)).region, Wanted(0, 2, 32, 24, 3));
  EXPECT_FALSE(FitOf(recording, Wanted(0, 0, 1, 1, 2)).allowed);
}

TEST(BinStages, LeaveEverythingToTheHostWithoutHardwareBinning) {
  for (int bin = 1; bin <= 4; ++bin) {
    EXPECT_EQ(StagesOf(bin, false).hardware, 1);
    EXPECT_EQ(StagesOf(bin, false).host, bin);
  }
}

TEST(BinStages, UseTheHardwareForEvenFactorsOnly) {
  const int hardware[] = {1, 2, 1, 2};
  const int host[] = {1, 1, 3, 2};
  for (int bin = 1; bin <= 4; ++bin) {
    EXPECT_EQ(StagesOf(bin, true).hardware, hardware[bin - 1]) << bin;
    EXPECT_EQ(StagesOf(bin, true).host, host[bin - 1]) << bin;
  }
}

TEST(FrameSetup, AsksTheWireForTheSamplesThatTheHostBins) {
  const FrameSetup setup = SetupFor(Mono(), Wanted(10, 20, 100, 60, 4), true);
  const StreamFormat format = setup.WireFormat();
  EXPECT_EQ(format.width, 200);
  EXPECT_EQ(format.height, 120);
  EXPECT_EQ(format.bin, 2);
  EXPECT_EQ(format.format, wire::kFormat16Bit);
  EXPECT_EQ(setup.TransferSamples(), 24000U);
  EXPECT_EQ(setup.WireBytes(), 48000U + 64 + 16);
  EXPECT_EQ(setup.OutputBytes(), 12000U);
  EXPECT_EQ(setup.rawPattern, -1);
}

TEST(FrameSetup, TransfersSixteenBitsForRaw16Only) {
  EXPECT_EQ(SetupFor(Colour(), Wanted(0, 0, 64, 64), false).WireFormat().format,
            wire::kFormat16Bit | wire::kFormatMsbFirst);
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RGB24, ORQ_IMG_Y8}) {
    const FrameSetup setup = SetupFor(Colour(), Wanted(0, 0, 64, 64, 1, format), false);
    EXPECT_FALSE(setup.wide);
    EXPECT_EQ(setup.WireFormat().format, 0);
    EXPECT_EQ(setup.WireBytes(), 64U * 64 + 80);
  }
}

TEST(FrameSetup, CountsTheBytesOfEveryFormat) {
  const auto bytes = [](IMG_TYPE format) {
    return SetupFor(Colour(), Wanted(0, 0, 64, 32, 2, format), false).OutputBytes();
  };
  EXPECT_EQ(bytes(ORQ_IMG_RAW8), 2048U);
  EXPECT_EQ(bytes(ORQ_IMG_RGB24), 6144U);
  EXPECT_EQ(bytes(ORQ_IMG_RAW16), 4096U);
  EXPECT_EQ(bytes(ORQ_IMG_Y8), 2048U);
}

TEST(FrameSetup, ShiftsTheBayerPatternWithOddStarts) {
  ModelData recording = *FindModel("replay");
  recording.maxWidth = recording.maxHeight = 64;
  recording.colour = true;
  recording.bayerPattern = 0;  // RG / GB
  const auto pattern = [&](int x, int y) { return SetupFor(recording, Wanted(x, y, 16, 16), false).rawPattern; };
  EXPECT_EQ(pattern(0, 0), 0);
  EXPECT_EQ(pattern(1, 1), 1);
  EXPECT_EQ(pattern(1, 0), 2);
  EXPECT_EQ(pattern(0, 1), 3);
  EXPECT_EQ(pattern(2, 4), 0);
}

TEST(ElectronsPerUnit, ScalesByTheDepthOfTheDeliveredSamples) {
  const FrameRegion wide = Wanted(0, 0, 64, 64);
  const FrameRegion narrow = Wanted(0, 0, 64, 64, 1, ORQ_IMG_RAW8);
  // 12-bit counts: 16 units of 16 bit each; 16 counts make one unit of 8 bit.
  EXPECT_DOUBLE_EQ(ElectronsPerUnit(Colour(), SetupFor(Colour(), wide, false), 3.2), 0.2);
  EXPECT_DOUBLE_EQ(ElectronsPerUnit(Colour(), SetupFor(Colour(), narrow, false), 3.2), 51.2);
  EXPECT_DOUBLE_EQ(ElectronsPerUnit(Mono(), SetupFor(Mono(), wide, false), 0.75), 0.75);
  EXPECT_DOUBLE_EQ(ElectronsPerUnit(Mono(), SetupFor(Mono(), narrow, false), 0.75), 192.0);
}

TEST(ElectronsPerUnit, CountsAveragesSeveralTimesAndSumsOnce) {
  const auto perUnit = [](int bin, IMG_TYPE format, bool hardwareBin) {
    return ElectronsPerUnit(Mono(), SetupFor(Mono(), Wanted(0, 0, 64, 64, bin, format), hardwareBin), 1.0);
  };
  EXPECT_DOUBLE_EQ(perUnit(2, ORQ_IMG_RAW16, false), 4.0);
  EXPECT_DOUBLE_EQ(perUnit(3, ORQ_IMG_RAW16, true), 9.0);
  EXPECT_DOUBLE_EQ(perUnit(2, ORQ_IMG_RAW16, true), 1.0);  // the sensor adds charge
  EXPECT_DOUBLE_EQ(perUnit(4, ORQ_IMG_RAW16, true), 4.0);  // charge added by 2, averaged by 2
  EXPECT_DOUBLE_EQ(perUnit(2, ORQ_IMG_RAW8, false), 256.0);
}

TEST(ArrivalUncertainty, IsTheReadoutOfTheRowsOfTheFirstTransfer) {
  // 64 rows of 128 bytes fit into one transfer: 65 rows of 13.5 us and 1 ms.
  const FrameSetup small = SetupFor(Colour(), Wanted(0, 0, 64, 64), false);
  EXPECT_EQ(ArrivalUncertaintyUs(small, {13'500, 100, true}, 0), 1000 + 65 * 27 / 2);
  EXPECT_EQ(ArrivalUncertaintyUs(small, {13'500, 50, true}, 0), 1000 + 65 * 27);
}

TEST(ArrivalUncertainty, KnowsTheSpeedOfUsb2) {
  // 64 x 64 x 2 bytes and 80 of marks at 30 ns each take longer than 65 rows of 1 us.
  const FrameSetup small = SetupFor(Colour(), Wanted(0, 0, 64, 64), false);
  EXPECT_EQ(ArrivalUncertaintyUs(small, {1'000, 100, false}, 0), 1000 + (8192 + 80) * 30 / 1000);
}

TEST(ArrivalUncertainty, FollowsASlowLink) {
  const FrameSetup full = SetupFor(Colour(), FullRegion(Colour()), false);
  // 491,520 bytes of a frame of 4,243,792; the other 3,752,272 took 100 ms.
  const std::int64_t expected = 1000 + static_cast<std::int64_t>(100'000.0 * 491520 / 3752272);
  EXPECT_EQ(ArrivalUncertaintyUs(full, {13'500, 100, true}, 100'000'000), expected);
}

}  // namespace
}  // namespace orq
