#include "models/frametime/GpsCadence.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

// The camera's clock against the receiver's: how far a time that was set may be off, and how far the same time may
// differ from one frame to another.
constexpr double kClockError = 50e-6;
constexpr double kClockDrift = 1e-6;
// Whatever a camera says its numbers are: nobody misses as many latches in a row.
constexpr std::int32_t kMostSteps = 100'000;

}  // namespace

std::int32_t LatchSteps(std::uint32_t from, std::uint32_t to) {
  const auto difference = static_cast<std::int32_t>(to - from);
  if (difference > 0 && to < from) return difference - 1;
  if (difference < 0 && to > from) return difference + 1;
  return difference;
}

RowPace NominalCadence(std::uint64_t exposureUs, int rows, const RowPace& rowPace) {
  const double exposure = static_cast<double>(exposureUs) * kTenthsPerMicrosecond;
  const auto cadenceAt = [&](double rowInterval) { return std::max(exposure, rows * rowInterval); };
  const double interval = cadenceAt(rowPace.interval);
  const double rounding = std::max(cadenceAt(rowPace.interval + rowPace.error) - interval,
                                   interval - cadenceAt(rowPace.interval - rowPace.error));
  return {interval, rounding + interval * kClockError};
}

void GpsCadence::Begin() {
  Forget();
  nominal_.reset();
  counts_ = {};
}

void GpsCadence::Forget() {
  last_.reset();
  other_.reset();
  slip_ = 0.0;
  unjudged_ = 0;
  if (nominal_) pace_ = *nominal_;
}

void GpsCadence::Promise(const RowPace& nominal) {
  if (nominal_ && nominal_->interval == nominal.interval && nominal_->error == nominal.error) return;
  nominal_ = nominal;
  Forget();
}

void GpsCadence::See(const FrameNumbers& frame, const FrameGps& fix) {
  if (last_) {
    const std::int32_t steps = LatchSteps(last_->frame.latch, frame.latch);
    if (steps == 0) return;
    if (steps == static_cast<std::int32_t>(frame.sequence - last_->frame.sequence))
      Judge(steps, fix.latched.start - last_->fix.latched.start);
    else
      Forget();
  }
  last_ = Latch{frame, fix};
}

/// Of a frame so many steps away, beyond the error of the latch that it is carried from.
double GpsCadence::ErrorAfter(double steps) const {
  return std::abs(steps) * (pace_.error + pace_.interval * kClockDrift);
}

/// Both latches may be early by the latch error. A camera that had to wait for something may be late once; one
/// that is off by the same again follows another pace than was promised.
void GpsCadence::Judge(std::int32_t steps, UtcTenths span) {
  const RowPace measured{static_cast<double>(span) / steps, kLatchError / std::abs(static_cast<double>(steps))};
  const double off = std::abs(static_cast<double>(span) - steps * pace_.interval);
  const bool asPredicted = off <= static_cast<double>(kLatchError) + ErrorAfter(steps);
  (asPredicted ? counts_.confirmed : counts_.wrong) += unjudged_;
  unjudged_ = 0;
  if (asPredicted) {
    slip_ = 0.0;
    if (measured.error < pace_.error) pace_ = measured;
    return;
  }
  const bool again = other_ && std::abs(measured.interval - other_->interval) <= measured.error + other_->error;
  slip_ = again ? 0.0 : off;
  if (again) pace_ = measured;
  other_ = measured;
}

std::optional<FrameGps> GpsCadence::Predict(const FrameNumbers& frame) const {
  if (!last_) return std::nullopt;
  const std::int32_t steps = LatchSteps(last_->frame.latch, frame.latch);
  if (steps != static_cast<std::int32_t>(frame.sequence - last_->frame.sequence)) return std::nullopt;
  if (steps < -kMostSteps || steps > kMostSteps) return std::nullopt;
  FrameGps gps = last_->fix;
  gps.state = GpsState::Predicted;
  const UtcTenths shift = std::llround(steps * pace_.interval);
  gps.latched.start += shift;
  gps.latched.end += shift;
  gps.predictionError = static_cast<UtcTenths>(std::ceil(ErrorAfter(steps) + slip_));
  return gps;
}

void GpsCadence::Count() {
  ++counts_.predicted;
  ++unjudged_;
}

}  // namespace orq
