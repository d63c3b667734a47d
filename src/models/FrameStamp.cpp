// When a frame was exposed: by the camera's GPS where that is asked for and has it, else by the computer's clock.
#include <algorithm>

#include "models/ModelWorker.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;

// GetRollingInterval rounds to its unit.
constexpr double kIntervalRounding = 0.5;

/// The readout's pace as the settings have it. On USB 2 the port may slow it down.
RowPace NominalPace(const FrameSetup& setup, int rollingInterval, bool usb3) {
  RowPace pace{static_cast<double>(rollingInterval), kIntervalRounding};
  if (!usb3) pace.error = std::max(pace.error, Usb2RowTenths(setup) - pace.interval);
  return pace;
}

RowOrder OrderOf(const FrameSetup& setup, bool sameColour, bool flipped) {
  return {.startLine = setup.region.startY,
          .rows = setup.region.height,
          .hardwareBin = setup.stages.hardware,
          .hostBin = setup.stages.host,
          .sameColour = sameColour,
          .flipped = flipped};
}

/// The first rows are read when the frame's first bytes come, the last ones when its last do.
RowTimes ComputerTimes(const FrameInfo& info, std::uint64_t durationNs) {
  const UtcTenths exposure = static_cast<UtcTenths>(info.exposureUs) * kTenthsPerMicrosecond;
  const UtcTenths firstEnd = info.startUnixUs * kTenthsPerMicrosecond + exposure;
  const UtcTenths lastEnd = firstEnd + static_cast<UtcTenths>(durationNs / 100);
  RowTimes times{.begin = firstEnd - exposure, .end = lastEnd};
  if (info.flipVertical) times = {.begin = lastEnd - exposure, .end = firstEnd};
  times.uncertainty = info.uncertaintyUs * kTenthsPerMicrosecond;
  return times;
}

}  // namespace

void CModelCamera::StampFrames(std::optional<std::chrono::milliseconds> every) {
  constexpr std::chrono::milliseconds kLongest{3'600'000};
  worker_->stampEveryMs =
      every ? static_cast<int>(std::clamp(*every, std::chrono::milliseconds(0), kLongest).count())
            : Worker::kNoStamps;
}

void CModelCamera::StampFrame(const CirBuf::Frame& frame, std::uint32_t latch, bool mono, FrameInfo& info) {
  Worker& worker = *worker_;
  info.times = ComputerTimes(info, frame.endNs - frame.beginNs);
  const int every = worker.stampEveryMs;
  const auto now = Clock::now();
  if (!worker.gps || every < 0) return;
  if (worker.stampedAt != Clock::time_point{} && now - worker.stampedAt < std::chrono::milliseconds(every)) return;
  worker.stampedAt = now;
  info.gps = worker.gps->Read(latch);
  if (info.gps.state != GpsState::Fix) return;
  const FrameSetup& setup = worker.setup;
  const RowOrder order = OrderOf(setup, setup.rawPattern >= 0 && !mono, info.flipVertical);
  const RowPace pace = NominalPace(setup, worker.gps->Found().rowInterval, usb3Host != 0);
  if (const auto times = TimesOfRows(order, info.gps.latched, pace, info.exposureUs)) {
    info.times = *times;
  } else {
    info.gps.state = GpsState::Contradictory;
  }
}

}  // namespace orq
