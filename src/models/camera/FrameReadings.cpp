// What the camera's instruments say with a frame.
#include <chrono>

#include "models/camera/ModelWorker.h"
#include "models/cooling/SensorTemperature.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;

// Temperatures change slowly, and the requests would cost a fast video its frames.
constexpr std::chrono::seconds kVideoInterval{1};
// Shorter exposures are as they were set.
constexpr std::uint64_t kCountedFromUs = 1'000'000;

}  // namespace

void CModelCamera::ReadWithFrames(bool on) {
  worker_->readsWithFrames = on;
}

void CModelCamera::TakeReadings(FrameInfo& info) {
  Worker& worker = *worker_;
  if (!worker.readsWithFrames) return;
  const auto now = Clock::now();
  const bool due = snapMode != 0 || worker.readAt == Clock::time_point{} || now - worker.readAt >= kVideoInterval;
  if (due) {
    worker.readAt = now;
    FrameReadings readings;
    readings.sensorC = ReadSensorTemperature(*this);
    if (cooler_) {
      if (cooler_->IsOn()) readings.targetC = TargetTemp.Load();
      long power = 0;
      if (GetControlValue(ORQ_COOL_POWER_PERC, &power, nullptr) == CTRL_OK)
        readings.coolerPower = static_cast<int>(power);
    }
    if (snapMode != 0 && info.exposureUs >= kCountedFromUs) readings.realExposureMs = RealExposureMs();
    worker.readings = readings;
  }
  info.readings = worker.readings;
}

}  // namespace orq
