#include "image/frame/Algorithm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#include "support/BayerNames.h"

namespace {

/// Where red stands in the 2x2 block, as column and row parities; blue stands diagonally opposite.
struct RedSite {
  unsigned x;
  unsigned y;
};

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

/// Columns that are worked on at a time: the planes below stay in the first-level cache and on the stack.
constexpr int kSpan = 512;
using Plane = std::array<std::uint8_t, kSpan>;

/// 0xff at every second entry, so that a column's parity selects without a branch.
constexpr auto kSiteMask = [] {
  std::array<std::uint8_t, kSpan + 1> mask{};
  for (std::size_t i = 0; i < mask.size(); i += 2) mask[i] = 0xff;
  return mask;
}();

/// A row's samples with the rows above and below. Reading one column to either side must be possible.
struct Rows {
  const std::uint8_t* above;
  const std::uint8_t* row;
  const std::uint8_t* below;

  Rows operator+(int columns) const { return {above + columns, row + columns, below + columns}; }
};

/// One row's colours: the row's own (red in a red row, blue in a blue one), green, and the other.
struct Planes {
  Plane own;
  Plane green;
  Plane other;
};

constexpr std::uint8_t Mean(unsigned a, unsigned b) {
  return static_cast<std::uint8_t>((a + b + 1) >> 1);
}
constexpr std::uint8_t Mean(unsigned a, unsigned b, unsigned c, unsigned d) {
  return static_cast<std::uint8_t>((a + b + c + d + 2) >> 2);
}
constexpr std::uint8_t Select(std::uint8_t mask, std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>((a & mask) | (b & ~mask));
}

/// Interpolates columns. `ownSite` is 0xff where the sample itself is of the row's own colour, 0 where it is
/// green. Both results are formed everywhere and one is kept, which vector units prefer to branches; nothing
/// that is written may overlap what is read, which compilers only believe of parameters.
void Interpolate(const std::uint8_t* __restrict above, const std::uint8_t* __restrict row,
                 const std::uint8_t* __restrict below, const std::uint8_t* __restrict ownSite, int count,
                 std::uint8_t* __restrict own, std::uint8_t* __restrict green, std::uint8_t* __restrict other) {
  for (int i = 0; i < count; ++i) {
    const std::uint8_t beside = Mean(row[i - 1], row[i + 1]);
    const std::uint8_t upright = Mean(above[i], below[i]);
    const std::uint8_t cross = Mean(row[i - 1], row[i + 1], above[i], below[i]);
    const std::uint8_t diagonal = Mean(above[i - 1], above[i + 1], below[i - 1], below[i + 1]);
    own[i] = Select(ownSite[i], row[i], beside);
    green[i] = Select(ownSite[i], cross, row[i]);
    other[i] = Select(ownSite[i], diagonal, upright);
  }
}

void Interpolate(const Rows& rows, const std::uint8_t* ownSite, int count, Planes& planes) {
  Interpolate(rows.above, rows.row, rows.below, ownSite, count, planes.own.data(), planes.green.data(),
              planes.other.data());
}

/// Interpolates one column at a frame border, where both neighbours are the column `inside`.
void InterpolateBorder(const Rows& rows, int column, int inside, std::uint8_t ownSite, Planes& planes) {
  const auto mirrored = [&](const std::uint8_t* samples) {
    return std::array<std::uint8_t, 3>{samples[inside], samples[column], samples[inside]};
  };
  const auto above = mirrored(rows.above);
  const auto row = mirrored(rows.row);
  const auto below = mirrored(rows.below);
  Interpolate(Rows{above.data(), row.data(), below.data()} + 1, &ownSite, 1, planes);
}

/// Demosaics one row and hands it on in spans: `emit(first column, count, planes)`.
template <class Emit>
void DemosaicRow(const Rows& rows, int width, unsigned ownParity, const Emit& emit) {
  Planes planes;
  const auto ownSitesFrom = [ownParity](int column) {
    return kSiteMask.data() + ((static_cast<unsigned>(column) ^ ownParity) & 1U);
  };
  InterpolateBorder(rows, 0, 1, *ownSitesFrom(0), planes);
  emit(0, 1, planes);
  for (int first = 1; first < width - 1; first += kSpan) {
    const int count = std::min(kSpan, width - 1 - first);
    Interpolate(rows + first, ownSitesFrom(first), count, planes);
    emit(first, count, planes);
  }
  InterpolateBorder(rows, width - 1, width - 2, *ownSitesFrom(width - 1), planes);
  emit(width - 1, 1, planes);
}

/// Demosaics a frame of at least 2 x 2 samples: `emit(offset of the first pixel, count, red, green, blue)`.
template <class Emit>
void Demosaic(const std::uint8_t* bayer, int width, int height, RedSite red, const Emit& emit) {
  const auto rowAt = [&](int y) { return bayer + static_cast<std::size_t>(y) * static_cast<std::size_t>(width); };
  for (int y = 0; y < height; ++y) {
    const Rows rows{rowAt(y > 0 ? y - 1 : 1), rowAt(y), rowAt(y < height - 1 ? y + 1 : height - 2)};
    const bool redRow = (static_cast<unsigned>(y) & 1U) == red.y;
    const auto rowOffset = static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    DemosaicRow(rows, width, redRow ? red.x : red.x ^ 1U, [&](int first, int count, const Planes& planes) {
      const Plane& redPlane = redRow ? planes.own : planes.other;
      const Plane& bluePlane = redRow ? planes.other : planes.own;
      emit(rowOffset + static_cast<std::size_t>(first), count, redPlane.data(), planes.green.data(),
           bluePlane.data());
    });
  }
}

/// Writes three planes as pixels. Two pixels leave in one store of eight bytes, of which the last two are written
/// again by the next; the last pixels go one by one, so that nothing is written behind them.
void Interleave(const std::uint8_t* __restrict blue, const std::uint8_t* __restrict green,
                const std::uint8_t* __restrict red, int count, std::uint8_t* __restrict bgr) {
  std::array<std::uint32_t, kSpan> pixels;
  for (int i = 0; i < count; ++i) {
    pixels[static_cast<std::size_t>(i)] =
        blue[i] | static_cast<std::uint32_t>(green[i]) << 8U | static_cast<std::uint32_t>(red[i]) << 16U;
  }
  int i = 0;
  if constexpr (std::endian::native == std::endian::little) {
    for (; i + 3 <= count; i += 2) {
      const std::uint32_t* const pair = pixels.data() + i;
      const std::uint64_t both = pair[0] | static_cast<std::uint64_t>(pair[1]) << 24U;
      std::memcpy(bgr + 3 * i, &both, sizeof both);
    }
  }
  for (; i < count; ++i) {
    bgr[3 * i] = blue[i];
    bgr[3 * i + 1] = green[i];
    bgr[3 * i + 2] = red[i];
  }
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
  const RedSite redSite = RedSiteOf(KnownPattern(pattern_));
  Demosaic(bayer, width, height, redSite,
           [bgr](std::size_t offset, int count, const std::uint8_t* red, const std::uint8_t* green,
                 const std::uint8_t* blue) { Interleave(blue, green, red, count, bgr + 3 * offset); });
}

void CAlgorithm::BayerToY8(const std::uint8_t* bayer, int width, int height, std::uint8_t* luminance) const {
  if (!HasColour(width, height)) {
    std::copy_n(bayer, SampleCount(width, height), luminance);
    return;
  }
  const RedSite redSite = RedSiteOf(KnownPattern(pattern_));
  const std::uint16_t redWeight = redWeight_;
  const std::uint16_t greenWeight = greenWeight_;
  const std::uint16_t blueWeight = blueWeight_;
  Demosaic(bayer, width, height, redSite,
           [=](std::size_t offset, int count, const std::uint8_t* red, const std::uint8_t* green,
               const std::uint8_t* blue) {
             std::uint8_t* const __restrict out = luminance + offset;
             for (int i = 0; i < count; ++i) {
               // At most 255 * 256 + 128: sixteen bits suffice, so a vector holds twice as many.
               const auto sum = static_cast<std::uint16_t>(redWeight * red[i] + greenWeight * green[i] +
                                                           blueWeight * blue[i] + 128);
               out[i] = static_cast<std::uint8_t>(sum >> 8);
             }
           });
}
