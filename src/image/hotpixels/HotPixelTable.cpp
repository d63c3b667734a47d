#include "image/hotpixels/HotPixelTable.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

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

// Calls `visit(row, pixels)` for the rows of the region, counted from its top, with the stretch of pixels that
// lies on the sensor.
template <class Visit>
void VisitRows(std::span<const std::uint8_t> fullMap, const SensorCut& cut, Stretch columns, Visit visit) {
  if (columns.first >= columns.end) return;
  const auto count = static_cast<std::size_t>(columns.end - columns.first);
  const Stretch rows = OnSensor(cut.startY, cut.RegionHeight(), cut.sensorHeight);
  for (std::int64_t row = rows.first; row < rows.end; ++row) {
    const auto begin = static_cast<std::size_t>((cut.startY + row) * cut.sensorWidth + cut.startX + columns.first);
    if (begin + count > fullMap.size()) return;
    visit(row, fullMap.subspan(begin, count));
  }
}

Stretch RegionColumns(const SensorCut& cut) {
  return OnSensor(cut.startX, cut.RegionWidth(), cut.sensorWidth);
}

void CutUnbinned(std::span<const std::uint8_t> fullMap, const SensorCut& cut, std::span<std::uint8_t> map) {
  const Stretch columns = RegionColumns(cut);
  VisitRows(fullMap, cut, columns, [&](std::int64_t row, std::span<const std::uint8_t> pixels) {
    const auto to = static_cast<std::size_t>(row * cut.RegionWidth() + columns.first);
    if (to >= map.size()) return;
    std::memcpy(map.data() + to, pixels.data(), std::min(pixels.size(), map.size() - to));
  });
}

std::int32_t ScaledRow(std::int32_t row, float twiceFactor) {
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
  VisitRows(fullMap, cut, columns, [&](std::int64_t row, std::span<const std::uint8_t> pixels) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      if (pixels[i] == 0) continue;
      const auto column = columns.first + static_cast<std::int64_t>(i);
      spread(static_cast<std::int32_t>(column), static_cast<std::int32_t>(row), pixels[i]);
    }
  });
}

// The samples of the frame that the map holds.
std::span<std::uint8_t> Used(std::span<std::uint8_t> map, std::int32_t width, std::int32_t height) {
  if (width <= 0 || height <= 0) return {};
  const auto samples = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return map.first(std::min(samples, map.size()));
}

std::unique_ptr<std::uint32_t[]> TakeBadRows(std::span<std::uint8_t> used, std::int32_t width,
                                             std::int32_t height) {
  if (used.empty()) return nullptr;
  const auto columns = static_cast<std::size_t>(width);
  const auto rows = static_cast<std::size_t>(height);
  std::unique_ptr<std::uint32_t[]> badRows;
  for (std::size_t y = 0; y < rows && y * columns < used.size(); ++y) {
    const auto row = used.subspan(y * columns, std::min(columns, used.size() - y * columns));
    const auto hot = std::accumulate(row.begin(), row.end(), std::uint32_t{0});
    if (!IsBadRow(hot, static_cast<std::uint32_t>(columns))) continue;
    if (!badRows) badRows = std::make_unique<std::uint32_t[]>(rows);
    badRows[y] = 1;
    std::fill(row.begin(), row.end(), std::uint8_t{0});
  }
  return badRows;
}

void FillList(std::span<const std::uint8_t> used, HotPixelTable& table) {
  const auto isHot = [](std::uint8_t value) { return value != 0; };
  table.count = std::min(static_cast<std::size_t>(std::count_if(used.begin(), used.end(), isHot)), kMaxHotPixels);
  table.list = std::make_unique<std::uint32_t[]>(table.count);
  for (std::size_t pos = 0, filled = 0; filled < table.count; ++pos) {
    if (isHot(used[pos])) table.list[filled++] = static_cast<std::uint32_t>(pos);
  }
}

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
  std::fill(used.begin(), used.end(), std::uint8_t{0});
  if (cut.hardwareBin) {
    CutBinned(fullMap, cut, offsets, placement, used);
  } else {
    CutUnbinned(fullMap, cut, used);
  }
  table.badRows = TakeBadRows(used, table.width, table.height);
  FillList(used, table);
  return table;
}

}  // namespace orq
