#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <tuple>

#include "AutoCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::AutoCamera;
using orq::test::Line;
using orq::test::LogText;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(AutoExpGain, LogsWhatItMeasuredAndWhatItLeft) {
  AutoCamera camera;
  camera.AutoExp = 1;
  camera.expReg = 0x1ab;
  camera.Fill(199);
  LogText log;
  camera.Measure();
  EXPECT_EQ(log.Text(), Line("AutoExpGain", "Dest:100 Mean:200  gain:20 exp:37500 reg:0x1ab\n"));
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetExp 37500 1"));
  EXPECT_EQ(camera.autoMean, 200);
}

TEST(AutoExpGain, LogsInsideTheBandAsWell) {
  AutoCamera camera;
  camera.AutoExp = camera.AutoGain = 1;
  camera.expReg = -1;
  camera.DestBrightness = 90;
  camera.Fill(99);
  LogText log;
  camera.Measure();
  EXPECT_EQ(log.Text(), Line("AutoExpGain", "Dest:90 Mean:100  gain:20 exp:50000 reg:0xffffffff\n"));
  EXPECT_THAT(camera.TakeSets(), IsEmpty());
}

TEST(AutoExpGain, ASaturatedFrameMeasures255) {
  AutoCamera camera;
  camera.Fill(255);
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 255);
}

TEST(AutoExpGain, AnEightBitFrameThatTheHostWillSumCountsEverySample) {
  AutoCamera camera;
  camera.iBin = 2;
  camera.iWidth = 32;
  camera.iHeight = 24;
  camera.Fill(10);
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 44);
  camera.b16Bit = 1;
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 11) << "16-bit samples are averaged";
  camera.b16Bit = 0;
  camera.hardBinRuns = true;
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 11) << "the frame arrives binned";
}

TEST(AutoExpGain, HardwareBinFourCountsFourfoldAtAnyWidth) {
  AutoCamera camera;
  camera.HardwareBin = 1;
  camera.hardBinRuns = true;
  camera.iBin = 4;
  camera.iWidth = 32;
  camera.iHeight = 24;
  camera.Fill(10);
  for (const int wide : {0, 1}) {
    camera.b16Bit = static_cast<std::uint8_t>(wide);
    camera.Measure();
    EXPECT_EQ(camera.autoMean, 44);
  }
}

TEST(AutoExpGain, AsksTheModelThriceWhetherFramesArriveBinnedAndOnceWhereTheFpgaBins) {
  AutoCamera camera;
  camera.Fill(99);
  camera.Measure();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun", "IsHardBinRun", "IsHardBinRun"));
  camera.fpgaBin = 1;
  camera.Measure();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun"));
}

TEST(AutoExpGain, TheModelNameDecidesWhichByteOf16BitsCounts) {
  AutoCamera camera;
  camera.b16Bit = 1;
  for (std::size_t i = 0; i < camera.BufferBytes(); i += 2) {
    camera.autoBuf[i] = 0x20;
    camera.autoBuf[i + 1] = 0x50;
  }
  camera.modelName = "Tavix ORQ-K2M";
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 0x21);
  const std::uint16_t sample = 0x5020;
  for (std::size_t i = 0; i < camera.BufferBytes(); i += 2) std::memcpy(&camera.autoBuf[i], &sample, 2);
  camera.modelName = "Tavix ORQ-K2C";
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 0x51);
}

TEST(AutoExpGain, SeedsTheGeneratorWithTheTimeAndDrawsTheWholeGrid) {
  AutoCamera camera;
  camera.Fill(99);
  std::srand(1);
  const std::time_t before = std::time(nullptr);
  camera.Measure();
  const int next = std::rand();
  const std::time_t after = std::time(nullptr);
  bool found = false;
  for (std::time_t seed = before; seed <= after; ++seed) {
    std::srand(static_cast<unsigned>(seed));
    // 64 x 48: columns 12 to 51 are inside.
    for (int i = 0; i < 64; ++i) {
      const int x = i + std::rand() % 2;
      for (int j = 0; x >= 12 && x <= 51 && j < 48; ++j) std::ignore = std::rand();
    }
    found = found || std::rand() == next;
  }
  EXPECT_TRUE(found);
}

TEST(AutoExpGain, AFrameWithoutSamplesChangesNothing) {
  AutoCamera camera;
  camera.AutoExp = camera.AutoGain = 1;
  camera.Fill(255);
  LogText log;
  for (const auto& [width, height] : {std::pair{0, 48}, std::pair{64, 0}, std::pair{0, 0}, std::pair{-64, 48}}) {
    camera.iWidth = width;
    camera.iHeight = height;
    camera.Measure();
  }
  camera.iWidth = 64;
  camera.iHeight = 48;
  camera.AutoExpGain(nullptr);
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(camera.TakeSets(), IsEmpty());
  EXPECT_EQ(camera.autoMean, 0);
}

TEST(AutoExpGain, AFrameLargerThanTheBufferIsReadAsFarAsTheBufferGoes) {
  AutoCamera camera;
  camera.iBin = 2;  // 128 x 96 samples; the buffer ends after row 48 of rows 19 to 76
  camera.Fill(10);
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 44);
  camera.iBin = 4;  // 256 x 192; the buffer ends after row 24 of rows 38 to 153
  camera.autoMean = 0;
  camera.Measure();
  EXPECT_EQ(camera.autoMean, 0) << "nothing of the centre is there";
}

TEST(AutoExpGain, WithoutEitherModeMovesTheGainAndLeavesItManual) {
  AutoCamera camera;
  camera.Fill(200);
  camera.Measure();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetGain 14 0"));
}

TEST(AutoExpGain, UsesTheRangesAndParametersOfTheCamera) {
  AutoCamera camera;
  camera.AutoExp = camera.AutoGain = 1;
  camera.limits.gainMin = 100;  // steps of 5 and 10
  camera.limits.gainMax = 600;
  camera.gain = 100;
  camera.SetAutoPara(107, 55, 160);
  camera.Fill(59);
  camera.Measure();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetGain 105 1", "SetExp 55000 1", "SetGain 107 1"));
}

TEST(AutoPara, StoresWhatItIsGiven) {
  AutoCamera camera;
  int maxGain = 0;
  int maxExpMs = 0;
  int target = 0;
  camera.GetAutoPara(&maxGain, &maxExpMs, &target);
  EXPECT_EQ(std::tuple(maxGain, maxExpMs, target), std::tuple(50, 30'000, 100));
  camera.SetAutoPara(-1, 2'000'000'000, 1000);
  camera.GetAutoPara(&maxGain, &maxExpMs, &target);
  EXPECT_EQ(std::tuple(maxGain, maxExpMs, target), std::tuple(-1, 2'000'000'000, 1000));
}

}  // namespace
