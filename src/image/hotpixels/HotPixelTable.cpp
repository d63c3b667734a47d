#include "image/hotpixels/HotPixelTable.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "image/dark/DarkImage.h"

namespace orq {
namespace {

// The part of `length` sensor pixels from `start` on that lies on a sensor of `limit` pixels, counted from
// `start`.
struct Stretch {
  std::int64_t first;
  std::int64_t end;
};

Stretch OnSensor(std::int32_t start, std::int32_t length, std::int32_t limit) {
  return {std::max<std::int64_t>(0, -std::int64_t{start}),
          std::min<std::int64_t>(length, std::int64_t{limit} - start)};
}

// The stretch of pixels of one row of the region, counted from its top, that lies on the sensor.
std::span<const std::uint8_t> RowOnSensor(std::span<const std::uint8_t> fullMap, const SensorCut& cut,
                                          Stretch columns, std::int64_t row) {
  const std::int64_t y = cut.startY + row;
  if (columns.first >= columns.end || y < 0 || y >= cut.sensorHeight) return {};
  const auto count = static_cast<std::size_t>(columns.end - columns.first);
  const auto begin = static_cast<std::size_t>(y * cut.sensorWidth + cut.startX + columns.first);
  if (begin + count > fullMap.size()) return {};
  return fullMap.subspan(begin, count);
}

Stretch RegionColumns(const SensorCut& cut) {
  return OnSensor(cut.startX, cut.RegionWidth(), cut.sensorWidth);
}

// One row of the map without binning; it may be cut at its end.
void CutRow(std::span<const std::uint8_t> fullMap, const SensorCut& cut, std::int64_t y,
            std::span<std::uint8_t> row) {
  const Stretch columns = RegionColumns(cut);
  const auto pixels = RowOnSensor(fullMap, cut, columns, y);
  const std::size_t left = std::min(static_cast<std::size_t>(pixels.empty() ? 0 : columns.first), row.size());
  const std::size_t count = std::min(pixels.size(), row.size() - left);
  std::ranges::fill(row.first(left), std::uint8_t{0});
  std::copy_n(pixels.begin(), count, row.begin() + static_cast<std::ptrdiff_t>(left));
  std::ranges::fill(row.subspan(left + count), std::uint8_t{0});
}

bool AnyMarked(const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t all = 0;
  for (std::uint64_t eight = 0; count != 0; bytes += sizeof eight, count -= sizeof eight) {
    std::memcpy(&eight, bytes, sizeof eight);
    all |= eight;
  }
  return all != 0;
}

// Calls `visit` with the index of every byte that is not 0, ascending. Few are: many are looked at together.
template <class Visit>
void VisitMarked(std::span<const std::uint8_t> bytes, Visit visit) {
  constexpr std::size_t kBlock = 64;
  std::size_t i = 0;
  for (; i + kBlock <= bytes.size(); i += kBlock) {
    if (!AnyMarked(&bytes[i], kBlock)) continue;
    for (std::size_t k = i; k < i + kBlock; ++k)
      if (bytes[k] != 0) visit(k);
  }
  for (; i < bytes.size(); ++i)
    if (bytes[i] != 0) visit(i);
}

std::int32_t ScaledRow(std::int32_t row, float twiceFactor) {
  // NOLINTNEXTLINE(bugprone-incorrect-roundings): as the FPGA rounds, in single precision
  return static_cast<std::int32_t>(2.0F * (static_cast<float>(row) / twiceFactor) + 0.5F);
}

std::int32_t ScaledColumn(std::int32_t column, float twiceFactor) {
  return static_cast<std::int32_t>(2.0F * (static_cast<float>(column) / twiceFactor));
}

// Offsets of one axis for even and odd pixels.
using ParityOffsets = std::array<AxisOffsets, 2>;

ParityOffsets OffsetsFor(BinOffsets table, std::int32_t bin, std::int8_t BinOffset::*axis) {
  return {OffsetsFor(table, bin, 0, axis), OffsetsFor(table, bin, 1, axis)};
}

void CutBinned(std::span<const std::uint8_t> fullMap, const SensorCut& cut, BinOffsets table,
               BinPlacement placement, std::span<std::uint8_t> map) {
  const std::int32_t factor = cut.HardwareFactor();
  if (factor < 1) return;
  const float twiceFactor = 2.0F * static_cast<float>(factor);
  const std::int32_t width = cut.FrameWidth();
  const std::int32_t height = cut.FrameHeight();
  const ParityOffsets dx = OffsetsFor(table, cut.bin, &BinOffset::dx);
  const ParityOffsets dy = OffsetsFor(table, cut.bin, &BinOffset::dy);
  const auto mark = [&](std::int32_t x, std::int32_t y, std::uint8_t value) {
    if (x < 0 || x >= width || y < 0 || y >= height) return;
    const auto pos = static_cast<std::size_t>(std::int64_t{y} * width + x);
    if (pos < map.size()) map[pos] = value;
  };
  const auto spread = [&](std::int32_t column, std::int32_t row, std::uint8_t value) {
    for (const std::int32_t right : dx[static_cast<std::size_t>(column & 1)].Values()) {
      for (const std::int32_t down : dy[static_cast<std::size_t>(row & 1)].Values()) {
        if (placement == BinPlacement::Scaled) {
          mark(ScaledColumn(column, twiceFactor) + right, ScaledRow(row, twiceFactor) + down, value);
        } else {
          mark(BinnedPlace(column, right, factor), BinnedPlace(row, down, factor), value);
        }
      }
    }
  };
  const Stretch columns = RegionColumns(cut);
  const Stretch rows = OnSensor(cut.startY, cut.RegionHeight(), cut.sensorHeight);
  for (std::int64_t row = rows.first; row < rows.end; ++row) {
    const auto pixels = RowOnSensor(fullMap, cut, columns, row);
    VisitMarked(pixels, [&](std::size_t i) {
      const auto column = columns.first + static_cast<std::int64_t>(i);
      spread(static_cast<std::int32_t>(column), static_cast<std::int32_t>(row), pixels[i]);
    });
  }
}

// The samples of the frame that the map holds.
std::span<std::uint8_t> Used(std::span<std::uint8_t> map, std::int32_t width, std::int32_t height) {
  if (width <= 0 || height <= 0) return {};
  const auto samples = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return map.first(std::min(samples, map.size()));
}

/// Judges the rows of the map in turn, which must then be in it.
class RowJudge {
 public:
  explicit RowJudge(HotPixelTable& table) : table_(table) {}

  void Judge(std::size_t y, std::span<std::uint8_t> row) {
    const auto columns = static_cast<std::size_t>(table_.width);
    const std::size_t before = list_.size();
    std::uint32_t hot = 0;
    VisitMarked(row, [&](std::size_t x) {
      hot += row[x];
      if (before < kMaxHotPixels) list_.push_back(static_cast<std::uint32_t>(y * columns + x));
    });
    if (!IsBadRow(hot, static_cast<std::uint32_t>(columns))) return;
    if (!table_.badRows)
      table_.badRows = std::make_unique<std::uint32_t[]>(static_cast<std::size_t>(table_.height));
    table_.badRows[y] = 1;
    list_.resize(before);
    std::ranges::fill(row, std::uint8_t{0});
  }

  void Finish() {
    table_.count = std::min(list_.size(), kMaxHotPixels);
    table_.list = std::make_unique<std::uint32_t[]>(table_.count);
    std::copy_n(list_.begin(), table_.count, table_.list.get());
  }

 private:
  HotPixelTable& table_;
  std::vector<std::uint32_t> list_;
};

}  // namespace

void MarkHotPixels(std::span<const std::uint8_t> dark, std::uint32_t average, std::span<std::uint8_t> fullMap) {
  const std::uint32_t limit = DarkLimit(average);
  const std::size_t count = std::min(dark.size(), fullMap.size());
  for (std::size_t i = 0; i < count; ++i) fullMap[i] = dark[i] > limit ? 1 : 0;
}

HotPixelTable CutHotPixelTable(std::span<const std::uint8_t> fullMap, const SensorCut& cut, BinOffsets offsets,
                               BinPlacement placement, std::span<std::uint8_t> map) {
  HotPixelTable table;
  table.width = cut.FrameWidth();
  table.height = cut.FrameHeight();
  const std::span<std::uint8_t> used = Used(map, table.width, table.height);
  if (cut.hardwareBin) {
    std::ranges::fill(used, std::uint8_t{0});
    CutBinned(fullMap, cut, offsets, placement, used);
  }
  // Row by row, while it is in the processor's cache.
  RowJudge judge(table);
  const auto columns = static_cast<std::size_t>(std::max(table.width, 0));
  for (std::size_t y = 0; y * columns < used.size(); ++y) {
    const auto row = used.subspan(y * columns, std::min(columns, used.size() - y * columns));
    if (!cut.hardwareBin) CutRow(fullMap, cut, static_cast<std::int64_t>(y), row);
    judge.Judge(y, row);
  }
  judge.Finish();
  return table;
}

}  // namespace orq
