#include "image/hotpixels/PixelRepair.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace orq {
namespace {

template <class Sample>
bool Holds(const FrameView<Sample>& frame, std::int64_t pos) {
  return pos >= 0 && pos < static_cast<std::int64_t>(frame.samples.size());
}

template <class Sample>
Sample& At(const FrameView<Sample>& frame, std::int64_t pos) {
  return frame.samples[static_cast<std::size_t>(pos)];
}

template <class Sample>
void Copy(const FrameView<Sample>& frame, std::int64_t to, std::int64_t from) {
  if (Holds(frame, to) && Holds(frame, from)) At(frame, to) = At(frame, from);
}

template <class Sample>
Sample Mean(Sample a, Sample b) {
  return static_cast<Sample>((std::uint32_t{a} + std::uint32_t{b}) >> 1U);
}

// Samples arrive left-aligned: what a depth leaves at the low end is always zero.
std::uint16_t DepthMask(std::int32_t adcBits) {
  switch (static_cast<std::uint8_t>(adcBits)) {
    case 16:
      return 0xFFFF;
    case 14:
      return 0xFFFC;
    default:
      return 0xFFF0;
  }
}

struct Place {
  std::int32_t x;
  std::int32_t y;
};

// Where a listed position lies in rows of `width` samples, which is not 0; none when a coordinate does not fit.
std::optional<Place> PlaceOf(std::uint32_t pos, std::int32_t width) {
  const auto columns = static_cast<std::uint32_t>(width);
  const Place place{static_cast<std::int32_t>(pos % columns), static_cast<std::int32_t>(pos / columns)};
  if (place.x < 0 || place.y < 0) return std::nullopt;
  return place;
}

template <class Sample>
bool AtStart(const FrameView<Sample>& frame, Place place) {
  return place.x < frame.step || place.y < frame.step;
}

template <class Sample>
bool AtEnd(const FrameView<Sample>& frame, Place place) {
  return std::int64_t{place.x} + frame.step >= frame.width || std::int64_t{place.y} + frame.step >= frame.height;
}

// The border of an 8-bit frame is repaired without a look at the list; that of a 16-bit frame never copies the
// next hot pixel from the right.
template <class Sample>
std::int64_t BorderSource(const FrameView<Sample>& frame, std::span<const std::uint32_t> list, std::size_t index,
                          bool atEnd) {
  if constexpr (sizeof(Sample) == 1)
    return std::int64_t{list[index]} + (atEnd ? -frame.step : frame.step);
  else
    return BorderReplacement(list, index, frame.step, frame.width, frame.height, atEnd);
}

// Listed pixels lie far apart in memory: those of the next turns are on their way meanwhile.
constexpr std::size_t kAhead = 16;

template <class Sample>
void FetchNeighbours(const FrameView<Sample>& frame, std::span<const std::uint8_t> map, std::uint32_t pos) {
  const std::int64_t distance = std::int64_t{frame.step} * frame.width;
  for (const std::int64_t at : {pos - distance, std::int64_t{pos}, pos + distance}) {
    if (!Holds(frame, at)) continue;
    __builtin_prefetch(&At(frame, at));
    if (at < static_cast<std::int64_t>(map.size())) __builtin_prefetch(&map[static_cast<std::size_t>(at)]);
  }
}

// A defective row or column and the good ones that it is made from: twice the same when there is only one, whose
// mean is a copy.
struct LineRepair {
  std::size_t line;
  std::size_t first;
  std::size_t second;
};

// Looks for good lines among the first `count`, in steps of one colour.
std::optional<LineRepair> FindSources(std::span<const std::uint32_t> flags, std::size_t line, std::size_t count,
                                      std::int32_t step) {
  const auto good = [&](std::int64_t from, std::int64_t distance) -> std::optional<std::size_t> {
    for (std::int64_t i = from + distance; i >= 0 && i < static_cast<std::int64_t>(count); i += distance) {
      const auto at = static_cast<std::size_t>(i);
      if (at >= flags.size() || flags[at] == 0) return at;
    }
    return std::nullopt;
  };
  const auto start = static_cast<std::int64_t>(line);
  const auto before = good(start, -step);
  const auto after = good(start, step);
  if (!before && !after) return std::nullopt;
  return LineRepair{line, before ? *before : *after, after ? *after : *before};
}

template <class Sample>
void MeanOfRows(const Sample* __restrict first, const Sample* __restrict second, std::size_t count,
                Sample* __restrict row) {
  for (std::size_t x = 0; x < count; ++x) row[x] = Mean(first[x], second[x]);
}

// Rows that the buffer holds in full.
template <class Sample>
std::size_t HeldRows(const FrameView<Sample>& frame) {
  if (frame.width <= 0 || frame.height <= 0) return 0;
  return std::min(static_cast<std::size_t>(frame.height),
                  frame.samples.size() / static_cast<std::size_t>(frame.width));
}

// Goes down the frame once for a handful of columns: the lines of memory they share are then fetched once.
template <class Sample>
void RepairSomeColumns(const FrameView<Sample>& frame, std::span<const LineRepair> columns) {
  const auto width = static_cast<std::size_t>(frame.width);
  const std::size_t rows = HeldRows(frame);
  for (std::size_t y = 0; y < rows; ++y) {
    Sample* row = frame.samples.data() + y * width;
    for (const LineRepair& column : columns) row[column.line] = Mean(row[column.first], row[column.second]);
  }
}

}  // namespace

template <class Sample>
bool AverageNeighbours(const FrameView<Sample>& frame, std::span<const std::uint8_t> map, std::int32_t x,
                       std::int32_t y, std::int32_t pos) {
  if (map.data() == nullptr) return false;
  if (!Holds(frame, pos)) return true;
  struct Offset {
    std::int64_t x;
    std::int64_t y;
  };
  const std::int64_t step = frame.step;
  std::uint32_t sum = 0;
  std::uint32_t used = 0;
  for (const Offset offset : {Offset{0, -step}, Offset{-step, 0}, Offset{step, 0}, Offset{0, step}}) {
    const std::int64_t column = x + offset.x;
    const std::int64_t row = y + offset.y;
    if (column < 0 || column >= frame.width || row < 0 || row >= frame.height) continue;
    const std::int64_t neighbour = row * frame.width + column;
    if (!Holds(frame, neighbour)) continue;
    const bool good =
        neighbour >= static_cast<std::int64_t>(map.size()) || map[static_cast<std::size_t>(neighbour)] == 0;
    if (!good && neighbour > pos) continue;
    sum += At(frame, neighbour);
    ++used;
  }
  if (used > 0)
    At(frame, pos) = static_cast<Sample>(sum / used);
  else
    Copy(frame, pos, std::int64_t{pos} - 1);
  return true;
}

std::int32_t BorderReplacement(std::span<const std::uint32_t> list, std::size_t index, std::int32_t step,
                               std::int32_t width, std::int32_t height, bool atEnd) {
  const std::uint32_t pos = list[index];
  const auto distance = static_cast<std::uint32_t>(step);
  if (atEnd) return std::max(static_cast<std::int32_t>(pos - distance), 0);

  const auto rowDistance = distance * static_cast<std::uint32_t>(width);
  const std::uint32_t last = static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height) - 1;
  const std::size_t next = index + 1;
  const std::uint32_t right = std::min(pos + distance, last);
  if (next >= list.size() || right != list[next]) return static_cast<std::int32_t>(right);

  const auto up = static_cast<std::int32_t>(pos - rowDistance);
  if (up >= 0) return up;

  const std::uint32_t down = pos + rowDistance;
  // The list ascends: the first entry that is not less decides.
  const auto entry = std::find_if(list.begin() + static_cast<std::ptrdiff_t>(next), list.end(),
                                  [down](std::uint32_t hot) { return hot >= down; });
  if (entry == list.end() || *entry != down) return static_cast<std::int32_t>(down);
  return static_cast<std::int32_t>(std::min(down + distance, last));
}

template <class Sample>
void RepairHotPixels(const FrameView<Sample>& frame, std::span<const std::uint32_t> list,
                     std::span<const std::uint8_t> map, std::int32_t adcBits) {
  const std::uint32_t count = static_cast<std::uint32_t>(frame.width) * static_cast<std::uint32_t>(frame.height);
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::uint32_t pos = list[i];
    if (i + kAhead < list.size()) FetchNeighbours(frame, map, list[i + kAhead]);
    if (pos >= count) continue;
    const auto place = PlaceOf(pos, frame.width);
    if (!place) continue;
    if (AtStart(frame, *place)) {
      Copy(frame, pos, BorderSource(frame, list, i, false));
    } else if (AtEnd(frame, *place)) {
      Copy(frame, pos, BorderSource(frame, list, i, true));
    } else if (AverageNeighbours(frame, map, place->x, place->y, static_cast<std::int32_t>(pos))) {
      if constexpr (sizeof(Sample) == 2) {
        if (Holds(frame, pos)) At(frame, pos) &= DepthMask(adcBits);
      }
    }
  }
}

template <class Sample>
void RepairRows(const FrameView<Sample>& frame, std::span<const std::uint32_t> flags) {
  const std::size_t rows = HeldRows(frame);
  const auto width = static_cast<std::size_t>(frame.width);
  for (std::size_t y = 0; y < std::min(rows, flags.size()); ++y) {
    if (flags[y] == 0) continue;
    const auto repair = FindSources(flags, y, rows, frame.step);
    if (!repair) continue;
    Sample* const data = frame.samples.data();
    MeanOfRows(data + repair->first * width, data + repair->second * width, width, data + y * width);
  }
}

template <class Sample>
void RepairColumns(const FrameView<Sample>& frame, std::span<const std::uint32_t> flags) {
  if (HeldRows(frame) == 0) return;
  const auto width = static_cast<std::size_t>(frame.width);
  std::array<LineRepair, 64> columns;
  std::size_t found = 0;
  for (std::size_t x = 0; x < std::min(width, flags.size()); ++x) {
    if (flags[x] == 0) continue;
    const auto repair = FindSources(flags, x, width, frame.step);
    if (!repair) continue;
    columns[found++] = *repair;
    if (found == columns.size()) {
      RepairSomeColumns<Sample>(frame, columns);
      found = 0;
    }
  }
  if (found > 0) RepairSomeColumns<Sample>(frame, {columns.data(), found});
}

template <class Sample>
void RepairDarkPixels(const FrameView<Sample>& frame, std::span<const std::uint32_t> list) {
  if (frame.width == 0) return;
  for (const std::uint32_t listed : list) {
    const auto place = PlaceOf(listed, frame.width);
    if (!place) continue;
    const std::int64_t pos = listed;
    const std::int64_t left = pos - frame.step;
    const std::int64_t right = pos + frame.step;
    if (AtStart(frame, *place))
      Copy(frame, pos, right);
    else if (AtEnd(frame, *place))
      Copy(frame, pos, left);
    else if (Holds(frame, left) && Holds(frame, right))
      At(frame, pos) = Mean(At(frame, right), At(frame, left));
  }
}

#define ORQ_INSTANTIATE(Sample)                                                                          \
  template void RepairHotPixels(const FrameView<Sample>&, std::span<const std::uint32_t>,                \
                                std::span<const std::uint8_t>, std::int32_t);                            \
  template bool AverageNeighbours(const FrameView<Sample>&, std::span<const std::uint8_t>, std::int32_t, \
                                  std::int32_t, std::int32_t);                                           \
  template void RepairRows(const FrameView<Sample>&, std::span<const std::uint32_t>);                    \
  template void RepairColumns(const FrameView<Sample>&, std::span<const std::uint32_t>);                 \
  template void RepairDarkPixels(const FrameView<Sample>&, std::span<const std::uint32_t>)
ORQ_INSTANTIATE(std::uint8_t);
ORQ_INSTANTIATE(std::uint16_t);
#undef ORQ_INSTANTIATE

}  // namespace orq
