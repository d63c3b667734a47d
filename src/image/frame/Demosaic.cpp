#include "image/frame/Demosaic.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "image/frame/Interleave.h"

namespace orq {
namespace {

/// Columns that are worked on at a time: the planes below stay in the first-level cache and on the stack.
constexpr int kSpan = 1024;
struct alignas(64) Plane : std::array<std::uint8_t, kSpan> {};

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

constexpr std::uint8_t Mean(std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>((a + b + 1) >> 1);
}
/// (a + b + c + d + 2) / 4 in bytes alone, of which a vector holds twice as many as of anything wider. The mean of
/// means rounds up twice; it is one too large where it is rounded and one of the first was.
constexpr std::uint8_t Mean(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  const std::uint8_t first = Mean(a, b);
  const std::uint8_t second = Mean(c, d);
  const auto rounded = static_cast<std::uint8_t>(((a ^ b) | (c ^ d)) & (first ^ second) & 1);
  return static_cast<std::uint8_t>(Mean(first, second) - rounded);
}
constexpr std::uint8_t Select(std::uint8_t mask, std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>((a & mask) | (b & ~mask));
}

/// Interpolates columns. `ownSite` is 0xff where the sample itself is of the row's own colour, 0 where it is
/// green. Both results are formed everywhere and one is kept, which vector units prefer to branches; nothing
/// that is written may overlap what is read, which compilers only believe of parameters.
struct Interpolate {
  ORQ_KERNEL void Run(const std::uint8_t* __restrict above, const std::uint8_t* __restrict row,
                      const std::uint8_t* __restrict below, const std::uint8_t* __restrict ownSite, int count,
                      std::uint8_t* __restrict own, std::uint8_t* __restrict green,
                      std::uint8_t* __restrict other) {
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
};

/// What the colours of one row count.
struct RowWeights {
  std::uint16_t own;
  std::uint16_t green;
  std::uint16_t other;
};

/// Weighs two places at a time, which share a word: nothing has to be moved to become wider. A sum is at most
/// 255 * 256 + 128, and its upper half the result.
struct Weigh {
  ORQ_KERNEL void Run(const std::uint8_t* __restrict own, const std::uint8_t* __restrict green,
                      const std::uint8_t* __restrict other, int count, RowWeights weights,
                      std::uint8_t* __restrict luminance) {
    const auto sum = [&](unsigned a, unsigned b, unsigned c) {
      return static_cast<std::uint16_t>(weights.own * a + weights.green * b + weights.other * c + 128U);
    };
    for (std::ptrdiff_t i = 0; i < count / 2; ++i) {
      const std::uint16_t a = PairAt(own, i);
      const std::uint16_t b = PairAt(green, i);
      const std::uint16_t c = PairAt(other, i);
      const std::uint16_t low = sum(a & 0xffU, b & 0xffU, c & 0xffU);
      const std::uint16_t high = sum(a >> 8U, b >> 8U, c >> 8U);
      const auto both = static_cast<std::uint16_t>((high & 0xff00U) | low >> 8U);
      std::memcpy(luminance + 2 * i, &both, sizeof both);
    }
    if (count % 2 != 0) {
      const int last = count - 1;
      luminance[last] = static_cast<std::uint8_t>(sum(own[last], green[last], other[last]) >> 8U);
    }
  }

 private:
  ORQ_KERNEL std::uint16_t PairAt(const std::uint8_t* bytes, std::ptrdiff_t i) {
    std::uint16_t pair = 0;
    std::memcpy(&pair, bytes + 2 * i, sizeof pair);
    return pair;
  }
};

void InterpolateOn(VectorTarget target, const Rows& rows, const std::uint8_t* ownSites, int count,
                   Planes& planes) {
  RunOn<Interpolate>(target, rows.above, rows.row, rows.below, ownSites, count, planes.own.data(),
                     planes.green.data(), planes.other.data());
}

/// Where the row's own colour stands: from one column on.
const std::uint8_t* OwnSites(unsigned ownParity, int column) {
  return kSiteMask.data() + ((static_cast<unsigned>(column) ^ ownParity) & 1U);
}

/// Calls `span(target, rows, own sites, first column, count)` for all columns of a row. The columns at the frame's
/// borders, where both neighbours are the one inside, come one by one, with rows of their own.
template <class Span>
void ForSpans(VectorTarget target, const Rows& rows, int width, unsigned ownParity, const Span& span) {
  const auto border = [&](int column, int inside) {
    const auto mirrored = [&](const std::uint8_t* samples) {
      return std::array<std::uint8_t, 3>{samples[inside], samples[column], samples[inside]};
    };
    const auto above = mirrored(rows.above);
    const auto row = mirrored(rows.row);
    const auto below = mirrored(rows.below);
    span(VectorTarget::Baseline, Rows{above.data(), row.data(), below.data()} + 1, OwnSites(ownParity, column),
         column, 1);
  };
  border(0, 1);
  for (int first = 1; first < width - 1; first += kSpan)
    span(target, rows + first, OwnSites(ownParity, first), first, std::min(kSpan, width - 1 - first));
  border(width - 1, width - 2);
}

/// Calls `row(rows, whether it has red samples, parity of its own colour's columns, offset of its first pixel)`.
template <class Row>
void ForRows(const BayerFrame& frame, const Row& row) {
  const auto offset = [&](int y) { return static_cast<std::size_t>(y) * static_cast<std::size_t>(frame.width); };
  const auto at = [&](int y) { return frame.samples + offset(y); };
  for (int y = 0; y < frame.height; ++y) {
    const Rows rows{at(y > 0 ? y - 1 : 1), at(y), at(y < frame.height - 1 ? y + 1 : frame.height - 2)};
    const bool red = (static_cast<unsigned>(y) & 1U) == frame.red.y;
    row(rows, red, red ? frame.red.x : frame.red.x ^ 1U, offset(y));
  }
}

}  // namespace

void DemosaicToBgr(const BayerFrame& frame, std::uint8_t* bgr, VectorTarget target) {
  Planes planes;
  ForRows(frame, [&](const Rows& row, bool red, unsigned ownParity, std::size_t offset) {
    const Plane& redPlane = red ? planes.own : planes.other;
    const Plane& bluePlane = red ? planes.other : planes.own;
    ForSpans(target, row, frame.width, ownParity,
             [&](VectorTarget on, const Rows& rows, const std::uint8_t* ownSites, int first, int count) {
               InterpolateOn(on, rows, ownSites, count, planes);
               Interleave(bluePlane.data(), planes.green.data(), redPlane.data(), count,
                          bgr + 3 * (offset + static_cast<std::size_t>(first)), on);
             });
  });
}

void DemosaicToLuminance(const BayerFrame& frame, LuminanceWeights weights, std::uint8_t* luminance,
                         VectorTarget target) {
  Planes planes;
  ForRows(frame, [&](const Rows& row, bool red, unsigned ownParity, std::size_t offset) {
    const RowWeights own{red ? weights.red : weights.blue, weights.green, red ? weights.blue : weights.red};
    ForSpans(target, row, frame.width, ownParity,
             [&](VectorTarget on, const Rows& rows, const std::uint8_t* ownSites, int first, int count) {
               InterpolateOn(on, rows, ownSites, count, planes);
               RunOn<Weigh>(on, planes.own.data(), planes.green.data(), planes.other.data(), count, own,
                            luminance + offset + static_cast<std::size_t>(first));
             });
  });
}

}  // namespace orq
