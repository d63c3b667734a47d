#include "autoctl/AutoFrame.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "controls/ModelQuirks.h"
#include "support/Wrapped.h"

namespace orq {
namespace {

constexpr int kGridColumns = 64;
constexpr int kGridRows = 48;
constexpr float kColumnShare = 0.015625F;  // of the width: one column of the grid
constexpr std::uint32_t kBrightest = 255;

/// The central three fifths of a side, both ends included.
struct Centre {
  explicit Centre(std::int32_t side) : first(side / 5), last(Wrapped(std::int64_t{4} * side) / 5) {}
  bool Holds(std::int64_t position) const { return position >= first && position <= last; }

  std::int32_t first;
  std::int32_t last;
};

/// Where the bytes lie that tell the brightness.
struct ByteGrid {
  std::size_t stride;
  std::size_t offset;
};

ByteGrid BrightnessBytes(SampleForm form) {
  constexpr std::size_t kUpperHalf = std::endian::native == std::endian::little ? 1 : 0;
  switch (form) {
    case SampleForm::HighByteFirst:
      return {2, 0};
    case SampleForm::HostOrder:
      return {2, kUpperHalf};
    case SampleForm::EightBit:
      break;
  }
  return {1, 0};
}

std::int64_t Jittered(float step, int index, const std::function<int()>& draw) {
  const int jitter = draw() % 2;
  return static_cast<std::int64_t>(step * static_cast<float>(index)) + jitter;
}

}  // namespace

FrameSize AutoFrameSize(const AutoGeometry& geometry, const std::function<bool()>& hardBinRuns) {
  FrameSize size{geometry.imageWidth, geometry.imageHeight};
  if (geometry.fpgaBin) return size;
  if (!hardBinRuns()) size.width = Wrapped(std::int64_t{geometry.bin} * size.width);
  if (!hardBinRuns()) size.height = Wrapped(std::int64_t{geometry.bin} * size.height);
  if (geometry.TwoStageBin())
    size = {Wrapped(std::int64_t{2} * size.width), Wrapped(std::int64_t{2} * size.height)};
  return size;
}

SampleForm SampleFormOf(bool sixteenBit, std::string_view modelName) {
  if (!sixteenBit) return SampleForm::EightBit;
  return quirks::MeasuresHighByteFirst(modelName) ? SampleForm::HighByteFirst : SampleForm::HostOrder;
}

SampleSum SampleCentre(const AutoFrame& frame, const std::function<int()>& draw) {
  const auto [width, height] = frame.size;
  const float columnStep = static_cast<float>(width) * kColumnShare;
  const float rowStep = static_cast<float>(height) / static_cast<float>(kGridRows);
  const Centre columns(width);
  const Centre rows(height);
  const ByteGrid bytes = BrightnessBytes(frame.form);
  const std::size_t held = frame.buffer.size() / bytes.stride;
  SampleSum samples;
  if (width <= 0 || height <= 0) return samples;
  for (int i = 0; i < kGridColumns; ++i) {
    const std::int64_t x = Jittered(columnStep, i, draw);
    if (!columns.Holds(x)) continue;
    for (int j = 0; j < kGridRows; ++j) {
      const std::int64_t y = Jittered(rowStep, j, draw);
      if (!rows.Holds(y)) continue;
      const std::int64_t position = y * width + x;
      if (position < 0 || static_cast<std::uint64_t>(position) >= held) continue;
      samples.sum += frame.buffer[static_cast<std::size_t>(position) * bytes.stride + bytes.offset];
      ++samples.count;
    }
  }
  return samples;
}

std::int32_t MeanBrightness(const SampleSum& samples, const PixelMakeup& pixel) {
  if (samples.count == 0) return 0;
  std::uint32_t mean = samples.sum / samples.count + 1;
  const auto bin = static_cast<std::uint32_t>(pixel.bin);
  if (pixel.summedOnHost) mean = mean * bin * bin;
  if (pixel.twoStage) mean *= 4;
  return static_cast<std::int32_t>(std::min(mean, kBrightest));
}

}  // namespace orq
