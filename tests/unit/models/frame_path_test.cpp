#include "models/FramePath.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/FrameReference.h"

namespace orq {
namespace {

struct Case {
  FrameSetup setup;
  bool flipHorizontal = false;
  bool flipVertical = false;
  int red = 50;
  int blue = 50;
};

std::vector<std::uint8_t> RandomBytes(std::size_t count) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(count);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

std::vector<std::uint8_t> Delivered(const Case& c, std::vector<std::uint8_t> wire) {
  std::vector<std::uint8_t> scratch(wire.size(), 0xEE);
  std::vector<std::uint8_t> out(c.setup.OutputBytes(), 0xEE);
  CAlgorithm converter;
  converter.RGBYUV_Init();
  int pattern = c.setup.rawPattern;
  if (pattern >= 0) {
    pattern = static_cast<int>(FlipBayer(static_cast<BayerPattern>(pattern), c.flipHorizontal, c.flipVertical,
                                         c.setup.region.width, c.setup.region.height));
  }
  ToHostOrder(c.setup, wire.data());
  RunFramePath({.setup = c.setup,
                .image = wire.data(),
                .scratch = scratch.data(),
                .converter = converter,
                .whiteBalanceRed = c.red,
                .whiteBalanceBlue = c.blue,
                .flipHorizontal = c.flipHorizontal,
                .flipVertical = c.flipVertical,
                .outputPattern = pattern},
               out);
  return out;
}

FrameSetup SetupOf(const char* model, int width, int height, int bin, IMG_TYPE format, bool hardwareBin = false) {
  return SetupFor(*FindModel(model), {0, 0, width, height, bin, format}, hardwareBin);
}

std::vector<std::uint8_t> WireBytes(const FrameSetup& setup) {
  return RandomBytes(setup.TransferSamples() * (setup.wide ? 2 : 1));
}

TEST(FramePath, DeliversRawFramesOfEveryKindAsRecomputed) {
  for (const char* model : {"k1c", "x26m"}) {
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      for (int bin = 1; bin <= 4; ++bin) {
        for (int flips = 0; flips < 4; ++flips) {
          Case c{SetupOf(model, 48, 10, bin, format)};
          c.flipHorizontal = (flips & 1) != 0;
          c.flipVertical = (flips & 2) != 0;
          const auto wire = WireBytes(c.setup);
          const auto out = Delivered(c, wire);
          const test::RawFrame raw{.width = 48,
                                   .height = 10,
                                   .hostBin = bin,
                                   .bayer = c.setup.rawPattern >= 0,
                                   .wide = c.setup.wide,
                                   .msbFirst = c.setup.msbFirst,
                                   .flipHorizontal = c.flipHorizontal,
                                   .flipVertical = c.flipVertical};
          ASSERT_EQ(test::Differences(raw, wire, out), 0)
              << model << " format " << format << " bin " << bin << " flips " << flips;
        }
      }
    }
  }
}

TEST(FramePath, ConvertsAnEvenColourToThatColourWhateverTheFlips) {
  // Every red sample 40, green 80, blue 120: each pixel of the colour frame is (120, 80, 40).
  for (int flips = 0; flips < 4; ++flips) {
    Case c{SetupOf("k1c", 16, 8, 1, ORQ_IMG_RGB24)};
    c.flipHorizontal = (flips & 1) != 0;
    c.flipVertical = (flips & 2) != 0;
    std::vector<std::uint8_t> wire(16 * 8);
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 16; ++x) {
        wire[static_cast<std::size_t>(y * 16 + x)] = static_cast<std::uint8_t>(40 + 40 * (x % 2) + 40 * (y % 2));
      }
    }
    const auto out = Delivered(c, wire);
    for (std::size_t i = 0; i < out.size(); i += 3) {
      ASSERT_EQ(out[i], 120) << flips;
      ASSERT_EQ(out[i + 1], 80) << flips;
      ASSERT_EQ(out[i + 2], 40) << flips;
    }
  }
}

TEST(FramePath, ConvertsColourAfterFlippingTheRawFrame) {
  Case flipped{SetupOf("k1c", 32, 12, 2, ORQ_IMG_RGB24)};
  flipped.flipHorizontal = flipped.flipVertical = true;
  const auto wire = WireBytes(flipped.setup);
  Case raw{SetupOf("k1c", 32, 12, 2, ORQ_IMG_RAW8), true, true};
  const auto mosaic = Delivered(raw, wire);
  std::vector<std::uint8_t> expected(3 * 32 * 12);
  CAlgorithm converter;
  converter.RGBYUV_Init();
  converter.SetBayer(1);  // RGGB turned by half a turn
  converter.BayerToRGB24(mosaic.data(), 32, 12, expected.data());
  EXPECT_EQ(Delivered(flipped, wire), expected);
}

TEST(FramePath, DeliversLuminanceOfAGreyFrameAsThatGrey) {
  Case c{SetupOf("k1c", 16, 8, 1, ORQ_IMG_Y8)};
  const auto out = Delivered(c, std::vector<std::uint8_t>(16 * 8, 90));
  ASSERT_EQ(out.size(), 128U);
  for (const int value : out) EXPECT_NEAR(value, 90, 1);
}

TEST(FramePath, AppliesTheWhiteBalanceBeforeBinning) {
  Case c{SetupOf("k1c", 16, 4, 2, ORQ_IMG_RAW8)};
  c.red = 99;
  // Four reds of 60: each becomes 119 before the sum saturates; binned first it would be 240 * 1.98.
  c.setup = SetupOf("k1c", 16, 4, 2, ORQ_IMG_RAW16);
  std::vector<std::uint8_t> wire(c.setup.TransferSamples() * 2, 0);
  wire[0] = 0xF0;  // one red of the four far above half scale: it saturates, the others are 0
  const auto out = Delivered(c, wire);
  std::uint16_t first;
  std::memcpy(&first, out.data(), 2);
  EXPECT_EQ(first, 16384);  // 65535 / 4, rounded; 0xF000 / 4 * 1.98 would be 30413
}

TEST(FramePath, LeavesMonochromeFramesAloneWhateverTheWhiteBalance) {
  Case c{SetupOf("x26m", 16, 4, 1, ORQ_IMG_RAW8)};
  c.red = 99;
  c.blue = 1;
  const auto wire = WireBytes(c.setup);
  EXPECT_EQ(Delivered(c, wire), wire);
}

}  // namespace
}  // namespace orq
