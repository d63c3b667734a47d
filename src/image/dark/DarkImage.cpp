#include "image/dark/DarkImage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <vector>

namespace orq {
namespace {

constexpr std::uint32_t kMaxSample = 255;

std::uint8_t SaturatedSum(std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>(a + std::min<unsigned>(b, kMaxSample - a));
}

void AddScaled(const std::uint8_t* __restrict frame, std::uint16_t reciprocal, std::size_t count,
               std::uint8_t* __restrict dark) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto scaled = static_cast<std::uint8_t>((std::uint32_t{frame[i]} * reciprocal) >> 16U);
    dark[i] = SaturatedSum(dark[i], scaled);
  }
}

void Add(const std::uint8_t* __restrict frame, std::size_t count, std::uint8_t* __restrict dark) {
  for (std::size_t i = 0; i < count; ++i) dark[i] = SaturatedSum(dark[i], frame[i]);
}

// Rows or columns [first, end) of the region.
struct Stretch {
  std::int64_t first;
  std::int64_t end;
};

// Calls `visit(row, columns, start)` for the rows of the region that have pixels in `full`; the pixel of column c
// is `full[start + c]`.
template <class Visit>
void VisitRows(std::span<const std::uint8_t> full, const SensorCut& cut, Visit visit) {
  const std::int64_t stride = cut.sensorWidth;
  const std::int64_t width = cut.RegionWidth();
  if (stride <= 0 || width <= 0) return;
  const auto size = static_cast<std::int64_t>(full.size());
  const std::int64_t origin = cut.startX + cut.startY * stride;
  const Stretch rows{std::max<std::int64_t>(0, (-origin - width) / stride),
                     std::min<std::int64_t>(cut.RegionHeight(), (size - origin + stride - 1) / stride)};
  for (std::int64_t row = rows.first; row < rows.end; ++row) {
    const std::int64_t start = origin + row * stride;
    const Stretch columns{std::max<std::int64_t>(0, -start), std::min(width, size - start)};
    if (columns.first < columns.end) visit(row, columns, start);
  }
}

void CutUnbinned(std::span<const std::uint8_t> full, const SensorCut& cut, std::span<std::uint8_t> out) {
  VisitRows(
      full, cut,
      [&](std::int64_t row, Stretch columns, std::int64_t start) {
        const auto to = static_cast<std::size_t>(row * cut.RegionWidth() + columns.first);
        if (to >= out.size()) return;
        const auto count = std::min(static_cast<std::size_t>(columns.end - columns.first), out.size() - to);
        std::memcpy(out.data() + to, full.data() + (start + columns.first), count);
      });
}

// What a dark value adds to a binned sample.
std::array<std::uint8_t, 256> BinnedValues(std::int32_t factor, bool sum) {
  std::array<std::uint8_t, 256> values{};
  for (std::int32_t value = 0; value < 256; ++value)
    values[static_cast<std::size_t>(value)] = static_cast<std::uint8_t>(sum ? value : value / factor / factor);
  return values;
}

// Where the pixels of the region's columns go: the same in every row. Columns whose place lies behind an image of
// `samples` samples in any row are left out.
std::vector<std::int32_t> ColumnPlaces(const SensorCut& cut, std::array<std::int32_t, 2> dx, std::size_t samples) {
  constexpr std::int64_t kFurthestOffset = 128;
  const std::int64_t reach = (static_cast<std::int64_t>(samples) + 2) * cut.HardwareFactor() + kFurthestOffset;
  const std::int64_t columns = std::clamp<std::int64_t>(cut.RegionWidth(), 0, reach);
  std::vector<std::int32_t> places(static_cast<std::size_t>(columns));
  for (std::size_t i = 0; i < places.size(); ++i)
    places[i] = BinnedPlace(static_cast<std::int32_t>(i), dx[i & 1U], cut.HardwareFactor());
  return places;
}

// Only the first offset of each parity counts: a dark value is added once, however many samples the pixel shows
// in.
std::array<std::int32_t, 2> FirstOffsets(BinOffsets table, std::int32_t bin, std::int8_t BinOffset::*axis) {
  return {OffsetsFor(table, bin, 0, axis).values[0], OffsetsFor(table, bin, 1, axis).values[0]};
}

void CutBinned(std::span<const std::uint8_t> full, const SensorCut& cut, BinOffsets table, bool sum,
               std::span<std::uint8_t> out) {
  if (cut.HardwareFactor() < 1) return;
  const std::int32_t width = cut.FrameWidth();
  const std::int32_t height = cut.FrameHeight();
  const auto values = BinnedValues(cut.HardwareFactor(), sum);
  const auto dy = FirstOffsets(table, cut.bin, &BinOffset::dy);
  const auto places = ColumnPlaces(cut, FirstOffsets(table, cut.bin, &BinOffset::dx), out.size());
  VisitRows(full, cut, [&](std::int64_t row, Stretch columns, std::int64_t start) {
    const auto line = static_cast<std::int32_t>(row);
    const std::int32_t y = BinnedPlace(line, dy[static_cast<std::size_t>(line & 1)], cut.HardwareFactor());
    if (y < 0 || y >= height) return;
    const auto end = std::min(columns.end, static_cast<std::int64_t>(places.size()));
    for (std::int64_t column = columns.first; column < end; ++column) {
      const std::int32_t x = places[static_cast<std::size_t>(column)];
      if (x < 0 || x >= width) continue;
      const auto pos = static_cast<std::size_t>(std::int64_t{y} * width + x);
      if (pos >= out.size()) continue;
      out[pos] = SaturatedSum(out[pos], values[full[static_cast<std::size_t>(start + column)]]);
    }
  });
}

// As many samples as a byte counts: sums of bytes are what vectors are quickest at.
constexpr std::size_t kCountBlock = 192;

std::size_t CountAbove(std::span<const std::uint8_t> samples, std::uint8_t limit) {
  std::size_t count = 0;
  for (std::size_t first = 0; first < samples.size(); first += kCountBlock) {
    const auto block = samples.subspan(first, std::min(kCountBlock, samples.size() - first));
    std::uint8_t above = 0;
    for (const std::uint8_t sample : block) above = static_cast<std::uint8_t>(above + (sample > limit ? 1 : 0));
    count += above;
  }
  return count;
}

}  // namespace

std::unique_ptr<std::uint8_t[]> MakeNeutralDark(std::size_t pixels, std::uint32_t average) {
  auto dark = std::make_unique_for_overwrite<std::uint8_t[]>(pixels);
  std::fill_n(dark.get(), pixels, static_cast<std::uint8_t>(std::min<std::uint32_t>(average, 255)));
  return dark;
}

void AccumulateDark(std::span<const std::uint8_t> frame, std::int32_t frames, std::span<std::uint8_t> dark) {
  const std::size_t count = std::min(frame.size(), dark.size());
  if (frames <= 1) {
    Add(frame.data(), count, dark.data());
  } else if (static_cast<std::uint32_t>(frames) <= kMaxSample) {
    // Exact for 8-bit samples: the reciprocal is less than one part in 65536 too large.
    AddScaled(frame.data(), static_cast<std::uint16_t>(65536 / frames + 1), count, dark.data());
  }
}

void CutDarkImage(std::span<const std::uint8_t> full, const SensorCut& cut, BinOffsets offsets, bool sum,
                  std::span<std::uint8_t> out) {
  if (!cut.hardwareBin) {
    CutUnbinned(full, cut, out);
    return;
  }
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  CutBinned(full, cut, offsets, sum, out);
}

std::uint32_t MeanOf(std::span<const std::uint8_t> image) {
  if (image.empty()) return 0;
  constexpr std::size_t kBlock = std::size_t{1}
                                 << 24U;  // sums of such a block fit 32 bits, which vectorise better
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < image.size(); i += kBlock) {
    const auto block = image.subspan(i, std::min(kBlock, image.size() - i));
    sum += std::accumulate(block.begin(), block.end(), std::uint32_t{0});
  }
  return static_cast<std::uint32_t>(sum / image.size());
}

double ExcessOf(std::span<const std::uint8_t> image, std::uint32_t average) {
  const std::uint32_t limit = DarkLimit(average);
  std::uint64_t sum = 0;
  std::uint64_t count = 0;
  for (const std::uint32_t value : image) {
    const bool good = value <= limit;
    sum += good ? value : 0;
    count += good ? 1 : 0;
  }
  return count == 0 ? 0.0 : static_cast<double>(sum) / static_cast<double>(count) - average;
}

DarkPixelList ListDarkPixels(std::span<const std::uint8_t> image, std::uint32_t average) {
  DarkPixelList list;
  const std::uint32_t limit = DarkLimit(average);
  if (limit < kMaxSample) list.count = CountAbove(image, static_cast<std::uint8_t>(limit));
  list.positions = std::make_unique<std::uint32_t[]>(list.count);
  for (std::size_t first = 0, filled = 0; filled < list.count; first += kCountBlock) {
    const auto block = image.subspan(first, std::min(kCountBlock, image.size() - first));
    if (CountAbove(block, static_cast<std::uint8_t>(limit)) == 0) continue;
    for (std::size_t i = 0; i < block.size(); ++i)
      if (block[i] > limit) list.positions[filled++] = static_cast<std::uint32_t>(first + i);
  }
  return list;
}

}  // namespace orq
