#include "models/camera/FramePath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "autoctl/AutoFrame.h"
#include "image/frame/Gamma.h"
#include "support/Cameras.h"
#include "support/FrameReference.h"
#include "support/PlainFramePath.h"

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
  wire = test::InHostOrder(std::move(wire), c.setup.msbFirst);
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
  for (const char* model : test::CameraKeysOfAllBins()) {
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
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 16; ++x)
        wire[static_cast<std::size_t>(y * 16 + x)] = static_cast<std::uint8_t>(40 + 40 * (x % 2) + 40 * (y % 2));
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

TEST(FramePath, DeliversRawFramesAsTheyAreWhateverTheWhiteBalance) {
  for (const ModelData& model : AllModels()) {
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      for (const int bin : {1, 2}) {
        Case balanced{SetupFor(model, {0, 0, 16, 4, bin, format}, false)};
        balanced.setup.rawPattern = 0;  // also where a mosaic is stated by nobody but a recording
        balanced.red = 99;
        balanced.blue = 1;
        Case neutral = balanced;
        neutral.red = neutral.blue = 50;
        const auto wire = WireBytes(neutral.setup);
        EXPECT_EQ(Delivered(balanced, wire), Delivered(neutral, wire)) << model.key << " bin " << bin;
      }
    }
  }
}

TEST(FramePath, BalancesColourFramesOnceTheyAreBinned) {
  Case c{SetupOf("k1c", 16, 4, 2, ORQ_IMG_RGB24)};
  c.red = 25;
  // Every sample 80: the sum of four saturates at 255, and half of that is 128. Halved first, four would be 160.
  const auto out = Delivered(c, std::vector<std::uint8_t>(c.setup.TransferSamples(), 80));
  for (std::size_t i = 0; i < out.size(); i += 3) {
    ASSERT_EQ(out[i], 255);
    ASSERT_EQ(out[i + 1], 255);
    ASSERT_EQ(out[i + 2], 128);
  }
}

TEST(FramePath, BalancesLuminanceFrames) {
  Case c{SetupOf("k1c", 16, 4, 1, ORQ_IMG_Y8)};
  c.red = 99;
  c.blue = 1;
  // 100 everywhere becomes red 198, green 100, blue 2; luminance 0.299 R + 0.587 G + 0.114 B is 118.1.
  for (const int value : Delivered(c, std::vector<std::uint8_t>(16 * 4, 100))) ASSERT_NEAR(value, 118, 1);
}

TEST(FramePath, LeavesMonochromeFramesAloneWhateverTheWhiteBalance) {
  Case c{SetupOf("x26m", 16, 4, 1, ORQ_IMG_RAW8)};
  c.red = 99;
  c.blue = 1;
  const auto wire = WireBytes(c.setup);
  EXPECT_EQ(Delivered(c, wire), wire);
}

/// One frame on its way, with all that the way can be told.
struct Way {
  explicit Way(const ModelData& data) : model(data) {}

  FrameInfo Info() const {
    FrameInfo info;
    info.region = region;
    info.flipHorizontal = flipHorizontal;
    info.flipVertical = flipVertical;
    return info;
  }
  test::PlainFramePath Plain() const {
    return {
        .model = model, .hotPixels = {}, .dark = {}, .gamma = gamma, .monoBin = monoBin, .red = red, .blue = blue};
  }
  FrameSetup Setup() const { return SetupFor(model, region, hardwareBin); }

  std::vector<std::uint8_t> Delivered(std::vector<std::uint8_t> wire) {
    const FrameSetup setup = Setup();
    std::vector<std::uint8_t> scratch(wire.size(), 0xEE);
    std::vector<std::uint8_t> out(setup.OutputBytes() + kGuards, kGuard);
    std::vector<std::uint16_t> gamma16(gamma != 50 && setup.wide ? 65536 : 0);
    std::vector<std::uint8_t> gamma8(gamma != 50 && !setup.wide ? 256 : 0);
    for (std::size_t i = 0; i < gamma16.size(); ++i)
      gamma16[i] = GammaCurve16(gamma, static_cast<std::uint16_t>(i));
    for (std::size_t i = 0; i < gamma8.size(); ++i) gamma8[i] = GammaCurve8(gamma, static_cast<std::uint8_t>(i));
    CAlgorithm converter;
    converter.RGBYUV_Init();
    int pattern = -1;
    if (setup.rawPattern >= 0 && !monoBin) {
      pattern = static_cast<int>(FlipBayer(static_cast<BayerPattern>(setup.rawPattern), flipHorizontal,
                                           flipVertical, region.width, region.height));
    }
    autoFrame.assign(wire.size(), kGuard);
    wire = test::InHostOrder(std::move(wire), setup.msbFirst);
    RunFramePath({.setup = setup,
                  .image = wire.data(),
                  .scratch = scratch.data(),
                  .converter = converter,
                  .whiteBalanceRed = red,
                  .whiteBalanceBlue = blue,
                  .flipHorizontal = flipHorizontal,
                  .flipVertical = flipVertical,
                  .monoBin = monoBin,
                  .outputPattern = pattern,
                  .gamma16 = gamma16.empty() ? nullptr : gamma16.data(),
                  .gamma8 = gamma8.empty() ? nullptr : gamma8.data(),
                  .autoFrame = copyForAuto ? autoFrame.data() : nullptr,
                  .autoFrameMutex = &autoFrameMutex,
                  .autoAfterBin = autoAfterBin,
                  .stripRows = stripRows},
                 out);
    for (std::size_t i = 0; i < kGuards; ++i) EXPECT_EQ(out[setup.OutputBytes() + i], kGuard);
    out.resize(setup.OutputBytes());
    return out;
  }

  static constexpr std::size_t kGuards = 16;
  static constexpr std::uint8_t kGuard = 0x5A;

  ModelData model;
  FrameRegion region;
  bool hardwareBin = false;
  int gamma = 50;
  bool monoBin = false;
  int red = 50;
  int blue = 50;
  bool flipHorizontal = false;
  bool flipVertical = false;
  bool copyForAuto = false;
  bool autoAfterBin = false;
  int stripRows = 0;
  std::vector<std::uint8_t> autoFrame;
  std::mutex autoFrameMutex;
};

// Dim enough for sums of 16 samples not to saturate all.
std::vector<std::uint8_t> DimBytes(std::mt19937& random, const FrameSetup& setup) {
  std::vector<std::uint8_t> bytes(setup.TransferSamples() * (setup.wide ? 2 : 1));
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() % (setup.wide ? 256 : 48));
  return bytes;
}

TEST(FramePath, TakesItsStepsInOrderWhateverIsOn) {
  std::mt19937 random(5);
  const auto roll = [&](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  for (int round = 0; round < 250; ++round) {
    Way way(*FindModel(round % 3 == 0 ? "x26m" : round % 3 == 1 ? "k1c" : "t46c"));
    const bool colour = way.model.colour;
    way.region = {2 * roll(0, 5), 2 * roll(0, 5), 8 * roll(2, 4), 2 * roll(2, 9), roll(1, 4), ORQ_IMG_RAW16};
    way.region.format = static_cast<IMG_TYPE>(colour ? roll(0, 3) : 2 * roll(0, 1));
    way.hardwareBin = way.model.hardwareBin && roll(0, 1) == 1;
    way.gamma = roll(0, 2) == 0 ? 50 : roll(0, 100);
    way.monoBin = colour && way.region.bin > 1 && way.region.format != ORQ_IMG_RGB24 && roll(0, 1) == 1;
    way.flipHorizontal = roll(0, 1) == 1;
    way.flipVertical = roll(0, 1) == 1;
    if (colour && roll(0, 1) == 1) {
      way.red = roll(1, 99);
      way.blue = roll(1, 99);
    }
    way.stripRows = roll(0, way.region.height + 1);
    const auto wire = DimBytes(random, way.Setup());
    ASSERT_EQ(way.Delivered(wire), way.Plain().Delivered(way.Info(), wire))
        << round << ": " << way.model.key << " " << way.region.width << "x" << way.region.height << " bin "
        << way.region.bin << " format " << way.region.format << " gamma " << way.gamma << " mono " << way.monoBin
        << " strips of " << way.stripRows;
  }
}

TEST(FramePath, DeliversPixelsOfOddSizedRecordings) {
  std::mt19937 random(6);
  ModelData model = *FindModel("replay");
  for (const bool colour : {false, true}) {
    model.colour = colour;
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 5}, {7, 1}, {3, 3}, {17, 9}}) {
      if (colour && (width < 2 || height < 2)) continue;
      for (int format = 0; format < (colour ? 4 : 3); ++format) {
        if (!colour && format == ORQ_IMG_RGB24) continue;
        for (int flips = 0; flips < 4; ++flips) {
          Way way(model);
          way.region = {1, 1, width, height, 1, static_cast<IMG_TYPE>(format)};
          way.flipHorizontal = flips % 2 == 1;
          way.flipVertical = flips / 2 == 1;
          way.gamma = 70;
          const auto wire = DimBytes(random, way.Setup());
          ASSERT_EQ(way.Delivered(wire), way.Plain().Delivered(way.Info(), wire)) << width << "x" << height;
        }
      }
    }
  }
}

TEST(FramePath, LeavesTheFrameToAutomaticControlBeforeBinningAndGamma) {
  std::mt19937 random(7);
  for (const char* key : test::CameraKeysOfAllBins()) {
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      Way way(*FindModel(key));
      way.region = {0, 0, 16, 8, 2, format};
      way.gamma = 20;
      way.flipVertical = true;
      way.copyForAuto = true;
      if (way.model.colour) way.red = 80;
      const auto wire = DimBytes(random, way.Setup());
      for (const int rows : {2, 4, 0}) {
        way.stripRows = rows;
        way.Delivered(wire);
        const auto expected = way.Plain().BeforeBinning(way.Info(), wire);
        for (std::size_t i = 0; i < expected.size(); ++i) {
          if (format == ORQ_IMG_RAW8) {
            ASSERT_EQ(way.autoFrame[i], expected[i]) << key;
          } else {  // these cameras' first byte is the high one, and automatic control looks there
            const std::size_t high = way.model.msbFirst ? 2 * i : 2 * i + 1;
            ASSERT_EQ(way.autoFrame[high], expected[i] / 256) << key;
            ASSERT_EQ(way.autoFrame[high ^ 1U], expected[i] % 256) << key;
          }
        }
      }
    }
  }
}

TEST(FramePath, LeavesTheBinnedFrameToAutomaticControlThatCountsInDeliveredPixels) {
  std::mt19937 random(8);
  Way way(*FindModel("b29m"));
  way.region = {0, 0, 16, 8, 4, ORQ_IMG_RAW8};
  way.copyForAuto = true;
  way.autoAfterBin = true;
  way.gamma = 90;
  way.flipHorizontal = true;
  way.stripRows = 2;
  const auto wire = DimBytes(random, way.Setup());
  way.Delivered(wire);
  way.gamma = 50;
  way.flipHorizontal = false;
  const auto expected = way.Plain().Delivered(way.Info(), wire);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), way.autoFrame.begin()));
  EXPECT_EQ(way.autoFrame[expected.size()], Way::kGuard) << "nothing behind it";
}

TEST(FramePath, CopiesNothingForAutomaticControlUnlessItIsDue) {
  std::mt19937 random(9);
  Way way(*FindModel("k1c"));
  way.region = {0, 0, 16, 8, 1, ORQ_IMG_RAW8};
  way.Delivered(DimBytes(random, way.Setup()));
  EXPECT_EQ(way.autoFrame, std::vector<std::uint8_t>(way.autoFrame.size(), Way::kGuard));
}

// Automatic control goes by the camera's full name, the wire by the table's flag: whatever the two say together,
// the brightness that is measured is that of the samples sent.
TEST(ByteOrder, OfTheMeasuredFrameIsThatOfTheNameWhateverTheWireSends) {
  constexpr std::uint8_t kHigh = 0x54, kLow = 0x30;  // one sample everywhere: a mean of 0x54, plus 1
  for (const ModelData& row : AllModels()) {
    for (const std::string_view name :
         {row.name, std::string_view("Tavix ORQ-Other"), std::string_view("Tavix ORQ-K1M-RC")}) {
      for (const bool msbFirst : {false, true}) {
        Way way(row);
        way.model.name = name;
        way.model.msbFirst = msbFirst;
        way.region = {0, 0, 64, 48, 1, ORQ_IMG_RAW16};
        way.copyForAuto = true;
        std::vector<std::uint8_t> wire(way.Setup().TransferSamples() * 2);
        for (std::size_t i = 0; i < wire.size(); ++i) wire[i] = (i % 2 == 0) == msbFirst ? kHigh : kLow;
        way.Delivered(wire);
        const AutoFrame view{{way.autoFrame.data(), wire.size()}, {64, 48}, SampleFormOf(true, name)};
        EXPECT_EQ(MeanBrightness(SampleCentre(view, [] { return 0; }), {}), kHigh + 1)
            << row.key << " named " << name << (msbFirst ? ", high byte first" : "");
      }
    }
  }
}

}  // namespace
}  // namespace orq
