// The time that passes in a virtual camera.
#pragma once

#include <atomic>
#include <chrono>

namespace orq {

/// Device time runs 1 / time scale as fast as real time, like exposures. At time scale 0 it stands still: only
/// `Advance` moves it. Any-thread.
class DeviceClock {
 public:
  explicit DeviceClock(double timeScale) : rate_(timeScale > 0 ? 1.0 / timeScale : 0.0) {}

  /// Seconds since the clock was made; never falls.
  double Seconds() const { return At(std::chrono::steady_clock::now()); }
  /// What the clock shows, or will show, at this moment if nothing is advanced from now on.
  double At(std::chrono::steady_clock::time_point moment) const;
  /// Seconds of the camera in one of the computer's.
  double Rate() const { return rate_; }
  /// Lets this many seconds pass at once; nothing for a number that is not above 0.
  void Advance(double seconds);

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const double rate_;
  std::atomic<double> advanced_{0.0};
};

}  // namespace orq
