#include "image/frame/Algorithm.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "image/frame/Demosaic.h"
#include "support/BayerNames.h"

namespace {

using orq::RedSite;

constexpr std::array<RedSite, 4> kRedSites = {{{0, 0}, {1, 1}, {1, 0}, {0, 1}}};

constexpr BayerPattern KnownPattern(int pattern) {
  return pattern >= 0 && pattern < 4 ? static_cast<BayerPattern>(pattern) : BayerPattern::RG;
}

constexpr RedSite RedSiteOf(BayerPattern pattern) {
  return kRedSites[static_cast<std::size_t>(KnownPattern(static_cast<int>(pattern)))];
}

constexpr BayerPattern PatternOf(RedSite red) {
  if (red.y == 0) return red.x == 0 ? BayerPattern::RG : BayerPattern::GR;
  return red.x == 0 ? BayerPattern::GB : BayerPattern::BG;
}

bool HasColour(int width, int height) {
  return width >= 2 && height >= 2;
}

std::size_t SampleCount(int width, int height) {
  return width > 0 && height > 0 ? static_cast<std::size_t>(width) * static_cast<std::size_t>(height) : 0;
}

}  // namespace

const char* BayerName(BayerPattern pattern) {
  return orq::BayerNameOf(static_cast<int>(KnownPattern(static_cast<int>(pattern))))
      .data();  // of a literal: ends in 0
}

BayerPattern ShiftBayer(BayerPattern pattern, int dx, int dy) {
  const RedSite red = RedSiteOf(pattern);
  return PatternOf({red.x ^ (static_cast<unsigned>(dx) & 1U), red.y ^ (static_cast<unsigned>(dy) & 1U)});
}

BayerPattern FlipBayer(BayerPattern pattern, bool horizontal, bool vertical, int width, int height) {
  // Mirroring puts sample 0 at size - 1: the parities change places when the size is even.
  return ShiftBayer(pattern, horizontal ? width - 1 : 0, vertical ? height - 1 : 0);
}

void CAlgorithm::SetBayer(int pattern) {
  pattern_ = static_cast<int>(KnownPattern(pattern));
}

void CAlgorithm::SetHighByteFirst(bool highByteFirst) {
  highByteFirst_ = highByteFirst;
}

void CAlgorithm::RGBYUV_Init() {
  redWeight_ = 77;
  greenWeight_ = 150;
  blueWeight_ = 29;
}

void CAlgorithm::BayerToRGB24(const std::uint8_t* bayer, int width, int height, std::uint8_t* bgr) const {
  if (!HasColour(width, height)) {
    for (std::size_t i = 0; i < SampleCount(width, height); ++i) std::fill_n(bgr + 3 * i, 3, bayer[i]);
    return;
  }
  orq::DemosaicToBgr({bayer, width, height, RedSiteOf(KnownPattern(pattern_))}, bgr);
}

void CAlgorithm::BayerToY8(const std::uint8_t* bayer, int width, int height, std::uint8_t* luminance) const {
  if (!HasColour(width, height)) {
    std::copy_n(bayer, SampleCount(width, height), luminance);
    return;
  }
  orq::DemosaicToLuminance({bayer, width, height, RedSiteOf(KnownPattern(pattern_))},
                           {redWeight_, greenWeight_, blueWeight_}, luminance);
}
