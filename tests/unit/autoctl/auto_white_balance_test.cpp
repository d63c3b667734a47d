#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AutoCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::AutoCamera;
using orq::test::Line;
using orq::test::LogText;
using testing::ElementsAre;
using testing::IsEmpty;

/// A colour camera (RGGB) with an even 8-bit frame of the given colours.
class WhiteBalance : public testing::Test {
 protected:
  WhiteBalance() { camera.bIsColor = 1; }

  void Paint(int red, int green, int blue, int width = 64) {
    const int rows = static_cast<int>(camera.BufferBytes()) / width;
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < width; ++x) {
        const int value = (x + y) % 2 != 0 ? green : x % 2 == 0 ? red : blue;
        camera.autoBuf[static_cast<std::size_t>(y * width + x)] = static_cast<std::uint8_t>(value);
      }
    }
  }
  void Balance() { camera.AutoWB_RAW(camera.autoBuf.get()); }

  AutoCamera camera;
};

TEST_F(WhiteBalance, ScalesRedAndBlueToGreen) {
  Paint(99, 120, 59);
  camera.autoWB = 1;
  LogText log;
  Balance();
  EXPECT_EQ(log.Text(), Line("AutoWB_RAW", " IR:60 IB:100\n")) << "50 * 120 / 100, 50 * 120 / 60";
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 1")) << "the setter clamps";
}

TEST_F(WhiteBalance, PassesTheFlagAsItIs) {
  Paint(99, 120, 59);
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 0"));
}

TEST_F(WhiteBalance, AMonochromeCameraNeverMeasures) {
  camera.bIsColor = 0;
  camera.autoWB = 1;
  Paint(99, 120, 59);
  camera.AutoWhiBal(camera.autoBuf.get());
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  camera.bIsColor = 1;
  camera.AutoWhiBal(camera.autoBuf.get());
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 1"));
}

TEST_F(WhiteBalance, TheToleranceIsWiderWhileExposureOrGainIsAutomatic) {
  Paint(100, 108, 100);
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 53 53 0")) << "5400 / 101";
  camera.AutoExp = 1;
  Balance();
  camera.AutoExp = 0;
  camera.AutoGain = 1;
  Balance();
  EXPECT_THAT(camera.TakeSets(), IsEmpty());
}

TEST_F(WhiteBalance, ADarkFrameIsLeftAloneWithoutALine) {
  Paint(9, 5, 1);
  LogText log;
  Balance();
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(camera.TakeSets(), IsEmpty());
}

TEST_F(WhiteBalance, ABlackChannelIsLogged) {
  Paint(0, 120, 119);
  LogText log;
  Balance();
  EXPECT_EQ(log.Text(), Line("AutoWB_RAW", "err1\n") + Line("AutoWB_RAW", " IR:6000 IB:50\n"));
}

TEST_F(WhiteBalance, AFrameWithoutSamplesIsLoggedThreeTimesAndLeftAlone) {
  camera.iWidth = 0;
  LogText log;
  Balance();
  const std::string line = Line("AutoWB_RAW", "err1\n");
  EXPECT_EQ(log.Text(), line + line + line);
  camera.iWidth = 64;
  camera.AutoWB_RAW(nullptr);
  EXPECT_THAT(camera.TakeSets(), IsEmpty());
}

TEST_F(WhiteBalance, BlocksWithStructureDecide) {
  // Even grey of 100 but for two blocks of 4 x 3 samples. In block 20 (row 1, column 4: x 16, y 3) one of the two
  // red samples is 40 brighter: average 120, variance 400. Likewise blue in block 36 (row 2, column 4: y 6), two
  // samples in row 7.
  Paint(100, 100, 100);
  camera.autoBuf[4 * 64 + 16] = 140;
  camera.autoBuf[7 * 64 + 17] = 140;
  Balance();
  // Red and blue: 400 * 120 / 401 = 119.7; green without structure: 100. 5000 / 120.
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 41 41 0"));
}

TEST_F(WhiteBalance, TheFrameLiesInTheBufferAsForTheExposure) {
  camera.iBin = 2;
  camera.iWidth = 32;
  camera.iHeight = 24;
  Paint(99, 120, 59);
  Balance();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun", "IsHardBinRun", "SetWB 60 100 0"));
  camera.WB_Red = camera.WB_Blue = 50;
  camera.fpgaBin = 1;
  camera.iWidth = 64;
  camera.iHeight = 48;
  Balance();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("SetWB 60 100 0"));
}

TEST_F(WhiteBalance, SixteenBitFramesCountBySampleAndByteOrder) {
  camera.b16Bit = 1;
  const auto paint = [this](std::size_t bright) {
    for (std::size_t y = 0; y < 48; ++y) {
      for (std::size_t x = 0; x < 64; ++x) {
        const std::size_t at = (y * 64 + x) * 2;
        const int value = (x + y) % 2 != 0 ? 120 : x % 2 == 0 ? 99 : 59;
        camera.autoBuf[at + bright] = static_cast<std::uint8_t>(value);
        camera.autoBuf[at + 1 - bright] = 7;
      }
    }
  };
  camera.modelName = "Tavix ORQ-K1C";
  paint(0);
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 0"));
  camera.WB_Red = camera.WB_Blue = 50;
  camera.modelName = "Tavix ORQ-T46C";
  paint(1);  // of this little-endian host
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 0"));
}

TEST_F(WhiteBalance, AFrameLargerThanTheBufferIsReadAsFarAsTheBufferGoes) {
  camera.iBin = 4;  // 256 x 192 samples; the buffer holds 24 rows: two rows of blocks
  Paint(99, 120, 59, 256);
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 60 100 0")) << "by the top-left block";
}

TEST_F(WhiteBalance, SmallValuesGrow) {
  Paint(10, 11, 10);
  camera.WB_Red = 4;
  camera.WB_Blue = 5;
  Balance();
  EXPECT_THAT(camera.TakeSets(), ElementsAre("SetWB 5 5 0"));
}

}  // namespace
