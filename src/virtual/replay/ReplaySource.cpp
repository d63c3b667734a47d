#include "virtual/replay/ReplaySource.h"

#include <algorithm>

#include "virtual/sensor/BinGrid.h"

namespace orq {
namespace {

struct Frame {
  std::span<const std::uint16_t> samples;
  int width;
  int height;

  const std::uint16_t* Row(int y) const {
    return samples.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
};

/// Average of the samples of one binned sample that lie inside the frame; (x, y) is the first of them.
std::uint16_t Average(const Frame& frame, const BinGrid& grid, int x, int y) {
  std::uint32_t sum = 0;
  std::uint32_t count = 0;
  for (int j = 0; j < grid.bin; ++j) {
    const int row = y + j * grid.Step();
    if (row < 0 || row >= frame.height) continue;
    for (int i = 0; i < grid.bin; ++i) {
      const int column = x + i * grid.Step();
      if (column < 0 || column >= frame.width) continue;
      sum += frame.Row(row)[column];
      ++count;
    }
  }
  return count == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(sum / count);
}

}  // namespace

ReplaySource::ReplaySource(RecordedFrames recording, std::optional<int> bayer)
    : recording_(std::move(recording)), bayer_(std::clamp(bayer.value_or(recording_.bayer), -1, 3)) {}

std::unique_ptr<ReplaySource> ReplaySource::Open(const std::string& path, std::optional<int> bayer,
                                                 std::string& error) {
  if (path.empty()) {
    error = "replay needs file=F, a FITS, PGM or SER file";
    return nullptr;
  }
  std::optional<RecordedFrames> recording = LoadRecording(path, error);
  if (!recording) return nullptr;
  return std::make_unique<ReplaySource>(std::move(*recording), bayer);
}

std::uint64_t ReplaySource::LineTimeNs() const {
  constexpr std::uint64_t kSampleNs = 7;  // of a sensor that fills a USB 3 link with 16-bit samples
  constexpr std::uint64_t kShortestNs = 5'000;
  return std::max(static_cast<std::uint64_t>(recording_.width) * kSampleNs, kShortestNs);
}

void ReplaySource::Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) {
  std::fill(adu.begin(), adu.end(), std::uint16_t{0});
  if (settings.width <= 0 || settings.height <= 0) return;
  const Frame frame{recording_.Frame(settings.frameNumber), recording_.width, recording_.height};
  const BinGrid grid{HeldBin(settings.bin), bayer_ >= 0};
  const auto width = static_cast<std::size_t>(settings.width);
  const auto height = std::min(static_cast<std::size_t>(settings.height), adu.size() / width);
  if (height == 0) return;
  const Overlap columns = OnSensor(grid, settings.startX, settings.width, frame.width);
  const Overlap rows = OnSensor(grid, settings.startY, static_cast<int>(height), frame.height);
  for (int r = rows.first; r < rows.last; ++r) {
    const int y = settings.startY + grid.First(r);
    std::uint16_t* out = adu.data() + static_cast<std::size_t>(r) * width;
    if (grid.bin == 1) {
      std::copy(frame.Row(y) + settings.startX + columns.first, frame.Row(y) + settings.startX + columns.last,
                out + columns.first);
      continue;
    }
    for (int c = columns.first; c < columns.last; ++c)
      out[c] = Average(frame, grid, settings.startX + grid.First(c), y);
  }
}

}  // namespace orq
