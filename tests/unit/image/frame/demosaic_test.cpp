#include "image/frame/Demosaic.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <vector>

#include "image/frame/Interleave.h"

namespace orq {
namespace {

using Samples = std::vector<std::uint8_t>;

constexpr std::uint8_t kUntouched = 0xa5;
constexpr std::size_t kBehind = 70;  // bytes behind each result, which stay as they are
constexpr LuminanceWeights kWeights{77, 150, 29};

int Mirrored(int position, int size) {
  if (position < 0) return -position;
  return position < size ? position : 2 * (size - 1) - position;
}

// 0 red, 1 green, 2 blue.
int ColourAt(RedSite red, int x, int y) {
  const bool redColumn = (static_cast<unsigned>(x) & 1U) == red.x;
  const bool redRow = (static_cast<unsigned>(y) & 1U) == red.y;
  if (redColumn != redRow) return 1;
  return redRow ? 0 : 2;
}

/// The colour itself, or the mean of all samples of it in the 3 x 3 window around the place.
int WindowMean(const BayerFrame& frame, int x, int y, int colour) {
  const auto at = [&](int column, int row) {
    const auto width = static_cast<std::size_t>(frame.width);
    return int{frame.samples[static_cast<std::size_t>(Mirrored(row, frame.height)) * width +
                             static_cast<std::size_t>(Mirrored(column, frame.width))]};
  };
  if (ColourAt(frame.red, x, y) == colour) return at(x, y);
  int sum = 0;
  int count = 0;
  for (int row = y - 1; row <= y + 1; ++row) {
    for (int column = x - 1; column <= x + 1; ++column) {
      if (ColourAt(frame.red, Mirrored(column, frame.width), Mirrored(row, frame.height)) != colour) continue;
      sum += at(column, row);
      ++count;
    }
  }
  return (2 * sum + count) / (2 * count);
}

void ExpectWindowMeans(int width, int height, RedSite red, VectorTarget target, std::mt19937& random) {
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  Samples samples(pixels + 1);  // at an odd address
  for (std::uint8_t& sample : samples) sample = static_cast<std::uint8_t>(random());
  const BayerFrame frame{samples.data() + 1, width, height, red};
  Samples bgr(3 * pixels + kBehind, kUntouched);
  Samples luminance(pixels + kBehind, kUntouched);
  DemosaicToBgr(frame, bgr.data(), target);
  DemosaicToLuminance(frame, kWeights, luminance.data(), target);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const std::size_t at =
          static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
      const int r = WindowMean(frame, x, y, 0);
      const int g = WindowMean(frame, x, y, 1);
      const int b = WindowMean(frame, x, y, 2);
      ASSERT_EQ(bgr[3 * at], b) << x << ',' << y;
      ASSERT_EQ(bgr[3 * at + 1], g) << x << ',' << y;
      ASSERT_EQ(bgr[3 * at + 2], r) << x << ',' << y;
      ASSERT_EQ(luminance[at], (77 * r + 150 * g + 29 * b + 128) / 256) << x << ',' << y;
    }
  }
  for (std::size_t i = 0; i < kBehind; ++i) {
    ASSERT_EQ(bgr[3 * pixels + i], kUntouched);
    ASSERT_EQ(luminance[pixels + i], kUntouched);
  }
}

TEST(DemosaicTargets, EveryPixelIsTheMeanOfItsWindowAtEveryWidth) {
  std::mt19937 random(7);
  for (const VectorTarget target : VectorTargets()) {
    for (const RedSite red : {RedSite{0, 0}, RedSite{1, 0}, RedSite{0, 1}, RedSite{1, 1}}) {
      for (const int width : {2, 3, 4, 17, 33, 34, 64, 65, 66, 67, 130, 131, 195}) {
        SCOPED_TRACE(testing::Message() << "target " << static_cast<int>(target) << " red " << red.x << ','
                                        << red.y << " width " << width);
        ASSERT_NO_FATAL_FAILURE(ExpectWindowMeans(width, 2 + width % 4, red, target, random));
      }
    }
  }
}

TEST(DemosaicTargets, RowsThatAreWorkedOnInPiecesHaveNoSeams) {
  std::mt19937 random(8);
  for (const VectorTarget target : VectorTargets()) {
    for (const int width : {1026, 1027, 2500}) {
      SCOPED_TRACE(testing::Message() << "target " << static_cast<int>(target) << " width " << width);
      ASSERT_NO_FATAL_FAILURE(ExpectWindowMeans(width, 3, {1, 0}, target, random));
    }
  }
}

TEST(Interleave, PixelsAreBlueGreenRedWhateverTheCount) {
  std::mt19937 random(9);
  constexpr int kMost = 210;
  Samples blue(kMost);
  Samples green(kMost);
  Samples red(kMost);
  for (Samples* plane : {&blue, &green, &red})
    for (std::uint8_t& sample : *plane) sample = static_cast<std::uint8_t>(random());
  for (const VectorTarget target : VectorTargets()) {
    for (int count = 0; count <= kMost; ++count) {
      Samples bgr(3 * static_cast<std::size_t>(count) + kBehind, kUntouched);
      Samples expected = bgr;
      for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        expected[3 * i] = blue[i];
        expected[3 * i + 1] = green[i];
        expected[3 * i + 2] = red[i];
      }
      Interleave(blue.data(), green.data(), red.data(), count, bgr.data(), target);
      ASSERT_EQ(bgr, expected) << "target " << static_cast<int>(target) << " count " << count;
    }
  }
}

}  // namespace
}  // namespace orq
