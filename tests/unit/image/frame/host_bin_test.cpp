#include "image/frame/HostBin.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <vector>

namespace orq {
namespace {

/// What all targets make of it, and nothing behind it.
template <class Sample>
std::vector<Sample> Binned(const std::vector<Sample>& in, const BinShape& shape) {
  constexpr std::size_t kBehind = 40;
  const auto outputs = static_cast<std::size_t>(shape.width * shape.height);
  std::vector<Sample> first;
  for (const VectorTarget target : VectorTargets()) {
    std::vector<Sample> out(outputs + kBehind, 77);
    EXPECT_TRUE(HostBin(std::span<const Sample>(in), shape, std::span<Sample>(out), target));
    EXPECT_EQ(std::vector<Sample>(out.end() - kBehind, out.end()), std::vector<Sample>(kBehind, 77));
    out.resize(outputs);
    if (first.empty()) first = out;
    EXPECT_EQ(out, first) << "target " << static_cast<int>(target);
  }
  return first;
}

TEST(HostBin, SumsMonochrome8BitSamples) {
  const std::vector<std::uint8_t> in{1, 2, 10, 20,   //
                                     3, 4, 30, 40};  //
  EXPECT_EQ(Binned(in, {2, 1, 2, false}), (std::vector<std::uint8_t>{10, 100}));
}

TEST(HostBin, SaturatesSumsOf8BitSamples) {
  EXPECT_EQ(Binned<std::uint8_t>({63, 64, 64, 64}, {1, 1, 2, false}), (std::vector<std::uint8_t>{255}));
  EXPECT_EQ(Binned<std::uint8_t>({64, 64, 64, 64}, {1, 1, 2, false}), (std::vector<std::uint8_t>{255}));
  EXPECT_EQ(Binned(std::vector<std::uint8_t>(16, 255), {1, 1, 4, false}), (std::vector<std::uint8_t>{255}));
}

TEST(HostBin, Averages16BitSamplesAndRoundsToNearest) {
  EXPECT_EQ(Binned<std::uint16_t>({1, 2, 3, 3}, {1, 1, 2, false}), (std::vector<std::uint16_t>{2}));  // 2.25
  EXPECT_EQ(Binned<std::uint16_t>({1, 2, 3, 4}, {1, 1, 2, false}), (std::vector<std::uint16_t>{3}));  // 2.5
  EXPECT_EQ(Binned(std::vector<std::uint16_t>(9, 65535), {1, 1, 3, false}), (std::vector<std::uint16_t>{65535}));
  EXPECT_EQ(Binned(std::vector<std::uint16_t>(16, 65535), {1, 1, 4, false}), (std::vector<std::uint16_t>{65535}));
}

TEST(HostBin, CombinesSamplesOfOneColourOnABayerSensor) {
  // R 10, greens 20 and 30, B 40 everywhere: the binned frame keeps the mosaic.
  std::vector<std::uint16_t> in;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) in.push_back(static_cast<std::uint16_t>(10 + 10 * (x % 2) + 20 * (y % 2)));
  EXPECT_EQ(Binned(in, {4, 2, 2, true}), (std::vector<std::uint16_t>{10, 20, 10, 20, 30, 40, 30, 40}));
}

TEST(HostBin, TakesBayerSamplesFromNeighbouringBlocksOnly) {
  std::vector<std::uint8_t> in(16, 0);  // 4x4, bin 2 -> 2x2
  in[0] = 1;
  in[2] = 2;
  in[8] = 4;
  in[10] = 8;   // the four samples of the first colour
  in[5] = 16;   // the last colour
  in[15] = 32;  // the last colour
  EXPECT_EQ(Binned(in, {2, 2, 2, true}), (std::vector<std::uint8_t>{15, 0, 0, 48}));
}

TEST(HostBin, LeavesFactorOneAlone) {
  const std::vector<std::uint16_t> in{5, 6, 7, 8, 9, 10};
  EXPECT_EQ(Binned(in, {3, 2, 1, true}), in);
}

class HostBinShapes : public testing::TestWithParam<std::tuple<int, bool>> {};

// Compared with a plain recomputation: for each output sample, the mean or sum over input samples of its own
// place.
TEST_P(HostBinShapes, AgreesWithAPlainRecomputationOnRandomFrames) {
  const auto [factor, bayer] = GetParam();
  std::mt19937 random(42);
  for (const int width : {2, 6, 34, 66, 1200}) {
    const BinShape shape{width, 6, factor, bayer};
    const int inWidth = width * factor;
    std::vector<std::uint16_t> wide(static_cast<std::size_t>(inWidth * 6 * factor));
    for (auto& sample : wide) sample = static_cast<std::uint16_t>(random());
    std::vector<std::uint8_t> narrow(wide.size());
    for (auto& sample : narrow) sample = static_cast<std::uint8_t>(random() % 40);

    const auto wideOut = Binned(wide, shape);
    const auto narrowOut = Binned(narrow, shape);
    for (int y = 0; y < 6; ++y) {
      for (int x = 0; x < width; ++x) {
        double wideSum = 0;
        int narrowSum = 0;
        for (int j = 0; j < factor; ++j) {
          for (int i = 0; i < factor; ++i) {
            const int fromX = bayer ? x / 2 * 2 * factor + x % 2 + 2 * i : x * factor + i;
            const int fromY = bayer ? y / 2 * 2 * factor + y % 2 + 2 * j : y * factor + j;
            wideSum += wide[static_cast<std::size_t>(fromY * inWidth + fromX)];
            narrowSum += narrow[static_cast<std::size_t>(fromY * inWidth + fromX)];
          }
        }
        const auto at = static_cast<std::size_t>(y * width + x);
        ASSERT_EQ(wideOut[at], static_cast<int>(wideSum / (factor * factor) + 0.5)) << x << "," << y;
        ASSERT_EQ(narrowOut[at], std::min(narrowSum, 255)) << x << "," << y;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(FactorAndMosaic, HostBinShapes,
                         testing::Combine(testing::Values(1, 2, 3, 4), testing::Bool()));

TEST(HostBin, RefusesImpossibleShapesAndWritesNothing) {
  const std::vector<std::uint16_t> in(64, 1);
  std::vector<std::uint16_t> out(16, 7);
  const auto bin = [&](const BinShape& shape, std::size_t inSize, std::size_t outSize) {
    return HostBin(std::span<const std::uint16_t>(in).first(inSize), shape,
                   std::span<std::uint16_t>(out).first(outSize));
  };
  EXPECT_FALSE(bin({4, 4, 5, false}, 64, 16));
  EXPECT_FALSE(bin({4, 4, 0, false}, 64, 16));
  EXPECT_FALSE(bin({0, 4, 2, false}, 64, 16));
  EXPECT_FALSE(bin({4, -1, 2, false}, 64, 16));
  EXPECT_FALSE(bin({3, 4, 2, true}, 64, 16));
  EXPECT_FALSE(bin({4, 3, 2, true}, 64, 16));
  EXPECT_FALSE(bin({4, 4, 2, false}, 63, 16));
  EXPECT_FALSE(bin({4, 4, 2, false}, 64, 15));
  EXPECT_EQ(out, std::vector<std::uint16_t>(16, 7));
  EXPECT_TRUE(bin({4, 4, 2, false}, 64, 16));
}

}  // namespace
}  // namespace orq
