// When a frame was exposed: by the camera's GPS where that is asked for and has it, else by the computer's clock.
#include <algorithm>

#include "models/camera/ModelWorker.h"

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
  return {.begin = firstEnd - exposure, .end = lastEnd, .uncertainty = info.uncertaintyUs * kTenthsPerMicrosecond};
}

/// Unless the computer knows it better.
void UseGpsTimes(std::optional<RowTimes> times, FrameInfo& info) {
  if (!times) return;
  times->uncertainty += info.gps.predictionError;
  if (times->uncertainty <= info.times.uncertainty)
    info.times = *times;
  else
    info.gps.state = info.gps.state == GpsState::Fix ? GpsState::Uncertain : GpsState::Missed;
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
  GpsLatchReader& reader = *worker.gps;
  info.gps = reader.Read(latch);
  const FrameSetup& setup = worker.setup;
  const RowOrder order = OrderOf(setup, setup.rawPattern >= 0 && !mono, info.flipVertical);
  const RowPace pace = NominalPace(setup, reader.Found().rowInterval, usb3Host != 0);
  const auto timesOf = [&](const FrameGps& gps) { return TimesOfRows(order, gps.latched, pace, info.exposureUs); };
  if (info.gps.state == GpsState::Fix && !timesOf(info.gps)) info.gps.state = GpsState::Contradictory;
  // Triggers come when they like.
  if (snapMode == 0 && camMode == 0) {
    worker.cadence.Promise(NominalCadence(info.exposureUs, setup.WireFormat().height, pace));
    FollowCadence(latch, timesOf, info);
  }
  UseGpsTimes(HasGpsTimes(info.gps.state) ? timesOf(info.gps) : std::nullopt, info);
  if (info.gps.state == GpsState::Predicted) worker.cadence.Count();
  info.gps.predictions = worker.cadence.Counts();
}

// Keeps what the cadence knows up to date, and lets it fill the gap of a missed latch. No frame waits for a later
// latch, but where one is there instead of the frame's own, it serves.
void CModelCamera::FollowCadence(std::uint32_t latch, const TimesOf& timesOf, FrameInfo& info) {
  GpsCadence& cadence = worker_->cadence;
  const FrameNumbers frame{info.sequence, latch};
  switch (info.gps.state) {
    case GpsState::Fix:
      cadence.See(frame, info.gps);
      break;
    case GpsState::Missed: {
      // The frame that it belongs to may have another exposure when that was just changed.
      const bool steady = info.exposureUs == exposureUs;
      const auto other = worker_->gps->ReadOther(!cadence.KnowsALatch());
      if (other && steady && timesOf(other->gps)) {
        const auto ahead = static_cast<std::uint32_t>(LatchSteps(latch, other->latch));
        cadence.See({frame.sequence + ahead, other->latch}, other->gps);
      }
      [[fallthrough]];
    }
    case GpsState::Unreadable:
      if (const auto predicted = latch != 0 ? cadence.Predict(frame) : std::nullopt) info.gps = *predicted;
      break;
    default:
      cadence.Forget();
      break;
  }
}

}  // namespace orq
