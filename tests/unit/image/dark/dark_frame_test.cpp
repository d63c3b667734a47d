// Collecting, cutting and subtracting the camera object's dark frame.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/LogText.h"
#include "unit/image/CorrectionCamera.h"

namespace orq::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

std::string AdjustLine(const std::string& message) {
  return Line("AdjustDarkBuff", message);
}

class DarkFrame : public testing::Test {
 protected:
  CorrectionCamera camera{8, 6};

  void Collect(std::uint8_t value) {
    camera.FillFrame8(value);
    camera.DoGetDark();
  }
  Bytes Full() const { return {camera.pDarkFull.get(), camera.pDarkFull.get() + 48}; }
  Bytes Image(std::size_t samples = 48) const { return {camera.pDarkBuf.get(), camera.pDarkBuf.get() + samples}; }
};

TEST_F(DarkFrame, TheNumberOfFramesFollowsFromTheCurrentExposure) {
  const auto frames = [this](std::uint64_t exposureUs) {
    camera.exposureUs = exposureUs;
    const int result = camera.GettingDark(true, 1);  // the argument does not count
    EXPECT_EQ(camera.iDarkFrames, result);
    return result;
  };
  EXPECT_EQ(frames(0), 5);
  EXPECT_EQ(frames(100'999), 5);
  EXPECT_EQ(frames(101'000), 4);
  EXPECT_EQ(frames(325'999), 4);
  EXPECT_EQ(frames(326'000), 3);
  EXPECT_EQ(frames(550'999), 3);
  EXPECT_EQ(frames(551'000), 2);
  EXPECT_EQ(frames(775'999), 2);
  EXPECT_EQ(frames(776'000), 1);
  EXPECT_EQ(frames(2'000'000'000), 1);
  EXPECT_EQ(frames(0xFFFFFFFFFFFFFFFFU), 1);
}

TEST_F(DarkFrame, CollectionIsSwitchedOnAndOff) {
  EXPECT_EQ(camera.bGettingDark, 0);
  camera.GettingDark(true, 0);
  EXPECT_EQ(camera.bGettingDark, 1);
  EXPECT_EQ(camera.GettingDark(false, 0), 5);
  EXPECT_EQ(camera.bGettingDark, 0);
  Collect(100);
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(camera.iDarkFrameCount, 0);
}

TEST_F(DarkFrame, FiveFramesAreAveragedAndEndTheCollection) {
  camera.GettingDark(true, 0);
  LogText log;
  for (int i = 1; i < 5; ++i) {
    Collect(12);
    EXPECT_EQ(camera.iDarkFrameCount, i);
    EXPECT_EQ(camera.bGettingDark, 1);
  }
  EXPECT_EQ(log.Text(), "");
  LogText end;
  Collect(12);
  EXPECT_EQ(end.Text(), AdjustLine("avarage:10\n") + AdjustLine("Dead pixel:0\n"));
  EXPECT_EQ(camera.iDarkFrameCount, 0);
  EXPECT_EQ(camera.bGettingDark, 0);
  EXPECT_THAT(Full(), Each(10));
  EXPECT_THAT(Image(), Each(10));
  EXPECT_EQ(camera.iDarkAverage, 10U);
  EXPECT_EQ(camera.iDarkWidth, 8);
  EXPECT_EQ(camera.iDarkHeight, 6);
  EXPECT_THAT(camera.DarkList(), IsEmpty());
  Collect(200);
  EXPECT_THAT(Full(), Each(10));
}

/// What somebody who waits for the end of the collection would find, at the moment the frame's place is asked for.
class WatchedCamera : public CorrectionCamera {
 public:
  using CorrectionCamera::CorrectionCamera;
  bool IsHardBinRun() override {
    gettingDark = bGettingDark;
    count = iDarkFrameCount;
    return CorrectionCamera::IsHardBinRun();
  }
  int gettingDark = -1;
  int count = -1;
};

TEST(DarkFrameOrder, TheCollectionEndsWhenItsImageIsCut) {
  WatchedCamera camera(8, 6);
  camera.exposureUs = 1'000'000;  // one frame
  camera.GettingDark(true, 0);
  camera.DoGetDark();
  EXPECT_EQ(camera.gettingDark, 1) << "still collecting while the image is cut";
  EXPECT_EQ(camera.count, 0);
  EXPECT_EQ(camera.bGettingDark, 0);
}

TEST_F(DarkFrame, ACollectionThatWasHeldUpGoesOn) {
  camera.GettingDark(true, 0);
  Collect(50);
  Collect(50);
  camera.GettingDark(false, 0);
  Collect(250);
  EXPECT_EQ(camera.iDarkFrameCount, 2);
  camera.GettingDark(true, 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(camera.bGettingDark, 1);
    Collect(50);
  }
  EXPECT_EQ(camera.bGettingDark, 0);
  EXPECT_THAT(Full(), Each(50));
}

TEST_F(DarkFrame, SumsSaturate) {
  camera.exposureUs = 776'000;
  camera.GettingDark(true, 0);
  camera.MakeDark({});
  camera.iDarkFrameCount = 0;
  Collect(255);
  EXPECT_THAT(Full(), Each(255));
  camera.exposureUs = 551'000;
  camera.GettingDark(true, 0);
  Collect(255);
  camera.iDarkFrames = 1;  // undivided from here on
  Collect(200);
  EXPECT_THAT(Full(), Each(255));
}

TEST_F(DarkFrame, ANewCollectionBeginsWithZero) {
  camera.exposureUs = 776'000;
  camera.GettingDark(true, 0);
  Collect(200);
  camera.GettingDark(true, 0);
  Collect(3);
  EXPECT_THAT(Full(), Each(3));
}

TEST_F(DarkFrame, ACollectionThatNeedsFewerFramesThanItHasEnds) {
  camera.GettingDark(true, 0);
  for (int i = 0; i < 4; ++i) Collect(10);
  camera.exposureUs = 551'000;
  camera.GettingDark(true, 0);  // 2 frames, and 4 are in
  Collect(20);
  EXPECT_EQ(camera.bGettingDark, 0);
  EXPECT_EQ(camera.iDarkFrameCount, 0);
  EXPECT_THAT(Image(), Each(4 * 2 + 10));
}

TEST_F(DarkFrame, ACollectionOfNoFramesEndsWithTheFirst) {
  for (const int frames : {0, -3}) {
    camera.GettingDark(true, 0);
    camera.iDarkFrames = frames;
    Collect(9);
    EXPECT_EQ(camera.bGettingDark, 0);
    EXPECT_THAT(Full(), Each(9));
  }
}

TEST_F(DarkFrame, FreeingTheImagesInTheMiddleBeginsAnew) {
  camera.exposureUs = 326'000;  // 3 frames
  camera.GettingDark(true, 0);
  Collect(90);
  Collect(90);
  camera.UsingDark(false);
  EXPECT_EQ(camera.pDarkFull, nullptr);
  Collect(30);
  EXPECT_EQ(camera.bGettingDark, 1);
  Collect(30);
  Collect(30);
  EXPECT_EQ(camera.bGettingDark, 0);
  EXPECT_THAT(Full(), Each(30));
}

TEST_F(DarkFrame, NothingIsCollectedWithoutAFrameBuffer) {
  camera.pImgBuf.reset();
  camera.GettingDark(true, 0);
  camera.DoGetDark();
  EXPECT_EQ(camera.pDarkFull, nullptr);
}

TEST_F(DarkFrame, TheFrameIsReadAs8BitSamplesOfTheWholeSensor) {
  camera.b16Bit = 1;
  camera.SetRegion(2, 2, 2, 1, 1);
  camera.exposureUs = 776'000;
  camera.GettingDark(true, 0);
  for (std::size_t i = 0; i < 96; ++i) camera.pImgBuf[i] = static_cast<std::uint8_t>(i);
  camera.DoGetDark();
  for (std::size_t i = 0; i < 48; ++i) EXPECT_EQ(camera.pDarkFull[i], i);
}

TEST_F(DarkFrame, IsCutToTheCurrentRegion) {
  Bytes values(48);
  for (std::size_t i = 0; i < 48; ++i) values[i] = static_cast<std::uint8_t>(i);
  camera.MakeDark(values);
  camera.SetRegion(2, 2, 1, 3, 2);
  LogText log;
  camera.AdjustDarkBuff();
  EXPECT_THAT(Image(8), ElementsAre(19, 20, 21, 22, 27, 28, 29, 30));
  EXPECT_EQ(camera.iDarkWidth, 4);
  EXPECT_EQ(camera.iDarkHeight, 2);
  EXPECT_EQ(camera.iDarkAverage, 24U);  // 196 / 8 = 24.5
  EXPECT_EQ(log.Text(), AdjustLine("avarage:24\n") + AdjustLine("Dead pixel:0\n"));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun"));
}

TEST_F(DarkFrame, IsBinnedAsTheHardwareDoes) {
  camera.hardBinRun = true;
  camera.MakeDark(Bytes(48, 40));
  camera.SetRegion(2, 4, 3, 0, 0);
  camera.AdjustDarkBuff();
  EXPECT_EQ(camera.iDarkWidth, 4);
  EXPECT_EQ(camera.iDarkHeight, 3);
  // Sensor rows 4 and 5 make half of a block: 4 goes to row 2, and row 5's row 3 is outside.
  EXPECT_THAT(Image(12), ElementsAre(40, 40, 40, 40, 40, 40, 40, 40, 20, 20, 20, 20));
  camera.bHardBinSum = 1;
  camera.AdjustDarkBuff();
  EXPECT_THAT(Image(12), ElementsAre(160, 160, 160, 160, 160, 160, 160, 160, 80, 80, 80, 80));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun", "IsHardBinRun"));
}

TEST_F(DarkFrame, TwoStageBinningIsCutAtTheStageOfBin2) {
  camera.hardBinRun = true;
  camera.bBin4By2x2 = 1;
  camera.MakeDark(Bytes(48, 40));
  camera.SetRegion(4, 2, 1, 0, 0);
  camera.AdjustDarkBuff();
  EXPECT_EQ(camera.iDarkWidth, 4);
  EXPECT_EQ(camera.iDarkHeight, 2);
  EXPECT_THAT(Image(8), Each(40));
}

TEST_F(DarkFrame, UsesTheModelsBinOffsets) {
  camera.hardBinRun = true;
  camera.bHardBinSum = 1;
  camera.MakeDark({9});
  camera.SetRegion(2, 4, 3, 0, 0);
  camera.pBinOffsets[16] = {4, 4};
  camera.AdjustDarkBuff();
  EXPECT_THAT(Image(12), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0));
}

TEST_F(DarkFrame, PixelsFarAboveTheAverageAreListed) {
  Bytes values(48, 20);
  values[5] = 51;  // 31 above an average of 20
  values[6] = 50;  // 30 above
  values[7] = 0;
  values[8] = 0;
  values[47] = 255;
  values[9] = 0;
  camera.MakeDark(values);
  LogText log;
  camera.AdjustDarkBuff();
  // 42 * 20 + 51 + 50 + 255 = 1196; / 48 = 24.9
  EXPECT_EQ(camera.iDarkAverage, 24U);
  EXPECT_THAT(camera.DarkList(), ElementsAre(47));
  EXPECT_EQ(log.Text(), AdjustLine("avarage:24\n") + AdjustLine("Dead pixel:1\n"));
  camera.pDarkFull[5] = 55;
  camera.AdjustDarkBuff();  // 1200 / 48 = 25: 30 above
  EXPECT_THAT(camera.DarkList(), ElementsAre(47));
  camera.pDarkFull[5] = 56;
  camera.AdjustDarkBuff();
  EXPECT_EQ(camera.iDarkAverage, 25U);
  EXPECT_THAT(camera.DarkList(), ElementsAre(5, 47));
  EXPECT_EQ(camera.iDarkPixCount, 2);
}

TEST_F(DarkFrame, AnEmptyGeometryHasAnEmptyList) {
  camera.MakeDark(Bytes(48, 200));
  camera.AdjustDarkBuff();
  camera.SetRegion(1, 0, 6, 0, 0);
  LogText log;
  camera.AdjustDarkBuff();
  EXPECT_EQ(log.Text(), AdjustLine("avarage:0\n") + AdjustLine("Dead pixel:0\n"));
  EXPECT_EQ(camera.iDarkAverage, 0U);
  EXPECT_NE(camera.pDarkPixList, nullptr);
}

TEST_F(DarkFrame, WithoutBothImagesNothingIsAdjusted) {
  LogText log;
  camera.AdjustDarkBuff();
  camera.MakeDark(Bytes(48, 200));
  camera.pDarkBuf.reset();
  camera.AdjustDarkBuff();
  camera.MakeDark(Bytes(48, 200));
  camera.pDarkFull.reset();
  camera.AdjustDarkBuff();
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.iDarkWidth, 0);
  EXPECT_EQ(camera.pDarkPixList, nullptr);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(DarkFrame, ARegionLargerThanTheSensorStaysInItsBuffers) {
  camera.MakeDark(Bytes(48, 10));
  camera.SetRegion(4, 100, 100, -50, 3);
  camera.AdjustDarkBuff();
  camera.hardBinRun = true;
  camera.AdjustDarkBuff();
  EXPECT_EQ(camera.iDarkWidth, 200);
  camera.CutDark = 1;
  camera.FillFrame8(100);
  camera.SubtractDark();
  camera.b16Bit = 1;
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame8(0, 0), 100);  // no row of 200 fits the sensor
}

TEST_F(DarkFrame, TheAverageStaysWhileTheNextDarkIsCollected) {
  camera.exposureUs = 776'000;  // one frame
  camera.GettingDark(true, 0);
  Collect(40);
  ASSERT_EQ(camera.iDarkAverage, 40U);
  camera.UsingDark(false);
  EXPECT_EQ(camera.iDarkAverage, 40U);
  camera.UsingDark(true);
  camera.exposureUs = 700'000;  // two
  camera.GettingDark(true, 0);
  Collect(100);
  EXPECT_EQ(camera.iDarkAverage, 40U) << "the dark is not adjusted yet";
  camera.FillFrame8(90);
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame8(3, 2), 90) << "and no frame has become brighter by it";
  Collect(100);
  EXPECT_EQ(camera.iDarkAverage, 100U);
}

TEST_F(DarkFrame, SwitchingTheDarkOffFreesTheImagesAndKeepsTheList) {
  camera.MakeDark(Bytes{255});
  camera.AdjustDarkBuff();
  ASSERT_THAT(camera.DarkList(), ElementsAre(0));
  camera.UsingDark(true);
  EXPECT_EQ(camera.CutDark, 1);
  EXPECT_NE(camera.pDarkFull, nullptr);
  EXPECT_NE(camera.pDarkBuf, nullptr);
  camera.UsingDark(false);
  EXPECT_EQ(camera.CutDark, 0);
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(camera.pDarkBuf, nullptr);
  EXPECT_THAT(camera.DarkList(), ElementsAre(0));
}

TEST_F(DarkFrame, IsSubtractedWhileItIsOn) {
  Bytes values(48, 20);
  values[0] = 60;
  values[1] = 0;
  values[2] = 0;
  values[3] = 0;
  camera.MakeDark(values);
  camera.AdjustDarkBuff();
  ASSERT_EQ(camera.iDarkAverage, 19U);  // 940 / 48
  camera.FillFrame8(100);
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame8(0, 0), 100);
  camera.CutDark = 1;
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame8(0, 0), 59);
  EXPECT_EQ(camera.Frame8(1, 0), 119);
  EXPECT_EQ(camera.Frame8(7, 5), 99);
  camera.b16Bit = 1;
  camera.FillFrame16(100 * 256 + 7);
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame16(0, 0), 59 * 256 + 7);
  EXPECT_EQ(camera.Frame16(7, 5), 99 * 256 + 7);
}

TEST_F(DarkFrame, OfARegionIsSubtractedFromTheFramesFirstSamples) {
  camera.MakeDark(Bytes(48, 20));
  camera.SetRegion(1, 3, 2, 0, 0);
  camera.AdjustDarkBuff();
  camera.iDarkAverage = 0;
  camera.CutDark = 1;
  camera.FillFrame8(100);
  camera.SubtractDark();
  EXPECT_EQ(camera.pImgBuf[5], 80);
  EXPECT_EQ(camera.pImgBuf[6], 100);
}

TEST_F(DarkFrame, ShortAutomaticExposuresAreLeftUncorrected) {
  camera.MakeDark(Bytes(48, 20));
  camera.AdjustDarkBuff();
  camera.iDarkAverage = 0;
  camera.CutDark = 1;
  const auto sample = [this](std::uint64_t exposureUs, bool automatic) {
    camera.exposureUs = exposureUs;
    camera.AutoExp = automatic ? 1 : 0;
    camera.FillFrame8(100);
    camera.SubtractDark();
    return camera.Frame8(0, 0);
  };
  EXPECT_EQ(sample(400'000, true), 100);
  EXPECT_EQ(sample(400'000, false), 80);
  EXPECT_EQ(sample(499'999, true), 100);
  EXPECT_EQ(sample(500'000, true), 80);
}

TEST_F(DarkFrame, IsNotSubtractedWithoutImagesOrFrame) {
  camera.CutDark = 1;
  camera.FillFrame8(100);
  camera.iDarkWidth = 8;
  camera.iDarkHeight = 6;
  camera.iDarkAverage = 30;
  camera.SubtractDark();
  EXPECT_EQ(camera.Frame8(0, 0), 100);
  camera.MakeDark({});
  camera.pImgBuf.reset();
  camera.SubtractDark();
}

TEST_F(DarkFrame, AGeometryWithoutSizeIsNotSubtracted) {
  camera.MakeDark(Bytes(48, 9));
  camera.CutDark = 1;
  camera.FillFrame8(100);
  for (const auto& [width, height] : {std::pair{0, 6}, {8, 0}, {-8, -6}, {-8, 6}, {0, 0}}) {
    camera.iDarkWidth = width;
    camera.iDarkHeight = height;
    camera.SubtractDark();
    EXPECT_EQ(camera.Frame8(0, 0), 100);
  }
}

}  // namespace
}  // namespace orq::test
