#include "image/frame/Demosaic.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "image/frame/Interleave.h"
#include "image/frame/Interpolate.h"

namespace orq {
namespace {

/// Columns that the widest vectors hold.
constexpr int kVector = 64;

/// 0xff at every second entry, so that a column's parity selects without a branch.
constexpr auto kSiteMask = [] {
  std::array<std::uint8_t, kSpan + 1> mask{};
  for (std::size_t i = 0; i < mask.size(); i += 2) mask[i] = 0xff;
  return mask;
}();

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

/// Where the row's own colour stands: from one column on.
const std::uint8_t* OwnSites(unsigned ownParity, int column) {
  return kSiteMask.data() + ((static_cast<unsigned>(column) ^ ownParity) & 1U);
}

/// What is read and written next, a span ahead: the processor is asked for it early, because three rows and a
/// result of another pace are more than its own guesses follow. Of a frame that no cache holds this saves a fifth
/// of the time.
struct Ahead {
  const BayerFrame& frame;
  const std::uint8_t* result;
  std::size_t pixelBytes;  ///< of the result

  /// `pixel`: the first one behind the span that is about to be worked on. Always inline: a compiler leaves out
  /// the call of a function that only asks for memory.
  [[gnu::always_inline]] inline void Fetch(std::size_t pixel) const {
    constexpr std::size_t kLine = 64;
    const auto width = static_cast<std::size_t>(frame.width);
    const std::size_t pixels = width * static_cast<std::size_t>(frame.height);
    const std::size_t below = std::min(pixel + width + kSpan, pixels);
    for (std::size_t at = pixel + width; at < below; at += kLine) __builtin_prefetch(frame.samples + at);
    const std::size_t end = pixelBytes * std::min(pixel + kSpan, pixels);
    for (std::size_t at = pixelBytes * pixel; at < end; at += kLine) __builtin_prefetch(result + at, 1);
  }
};

/// One row: its samples, whether it has red ones, the parity of its own colour's columns, its first pixel.
struct MosaicRow {
  MosaicRows rows;
  bool red;
  unsigned ownParity;
  std::size_t first;
};

/// Calls `span(target, rows, own sites, first column, count)` for all columns of a row. The columns at the frame's
/// borders, where both neighbours are the one inside, come one by one, with rows of their own. The last columns
/// that fill no vector come again with those before them that do, in a row that is long enough.
template <class Span>
void ForSpans(VectorTarget target, const MosaicRow& row, int width, const Ahead& ahead, const Span& span) {
  const auto border = [&](int column, int inside) {
    const auto mirrored = [&](const std::uint8_t* samples) {
      return std::array<std::uint8_t, 3>{samples[inside], samples[column], samples[inside]};
    };
    const auto above = mirrored(row.rows.above);
    const auto own = mirrored(row.rows.row);
    const auto below = mirrored(row.rows.below);
    span(VectorTarget::Baseline, MosaicRows{above.data(), own.data(), below.data()} + 1,
         OwnSites(row.ownParity, column), column, 1);
  };
  border(0, 1);
  const int end = width - 1;
  for (int next = 1; next < end; next += kSpan) {
    const int vectors = std::min((end - next + kVector - 1) / kVector * kVector, kSpan);
    const int first = std::max(std::min(next, end - vectors), 1);
    const int count = std::min(vectors, end - first);
    ahead.Fetch(row.first + static_cast<std::size_t>(first + count));
    span(target, row.rows + first, OwnSites(row.ownParity, first), first, count);
  }
  border(width - 1, width - 2);
}

/// Calls `row` with each MosaicRow.
template <class Row>
void ForRows(const BayerFrame& frame, const Row& row) {
  const auto offset = [&](int y) { return static_cast<std::size_t>(y) * static_cast<std::size_t>(frame.width); };
  const auto at = [&](int y) { return frame.samples + offset(y); };
  for (int y = 0; y < frame.height; ++y) {
    const MosaicRows rows{at(y > 0 ? y - 1 : 1), at(y), at(y < frame.height - 1 ? y + 1 : frame.height - 2)};
    const bool red = (static_cast<unsigned>(y) & 1U) == frame.red.y;
    row(MosaicRow{rows, red, red ? frame.red.x : frame.red.x ^ 1U, offset(y)});
  }
}

}  // namespace

void DemosaicToBgr(const BayerFrame& frame, std::uint8_t* bgr, VectorTarget target) {
  constexpr std::size_t kPixel = 3;
  ColourPlanes planes;
  ForRows(frame, [&](const MosaicRow& row) {
    const ColourPlane& redPlane = row.red ? planes.own : planes.other;
    const ColourPlane& bluePlane = row.red ? planes.other : planes.own;
    ForSpans(target, row, frame.width, {frame, bgr, kPixel},
             [&](VectorTarget on, const MosaicRows& rows, const std::uint8_t* ownSites, int first, int count) {
               Interpolate(rows, ownSites, count, planes, on);
               Interleave(bluePlane.data(), planes.green.data(), redPlane.data(), count,
                          bgr + kPixel * (row.first + static_cast<std::size_t>(first)), on);
             });
  });
}

void DemosaicToLuminance(const BayerFrame& frame, LuminanceWeights weights, std::uint8_t* luminance,
                         VectorTarget target) {
  ColourPlanes planes;
  ForRows(frame, [&](const MosaicRow& row) {
    const RowWeights own{row.red ? weights.red : weights.blue, weights.green,
                         row.red ? weights.blue : weights.red};
    ForSpans(target, row, frame.width, {frame, luminance, 1},
             [&](VectorTarget on, const MosaicRows& rows, const std::uint8_t* ownSites, int first, int count) {
               Interpolate(rows, ownSites, count, planes, on);
               RunOn<Weigh>(on, planes.own.data(), planes.green.data(), planes.other.data(), count, own,
                            luminance + row.first + static_cast<std::size_t>(first));
             });
  });
}

}  // namespace orq
