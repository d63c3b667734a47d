// The guide port: four lines to the mount, and what was sent through them.
#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <optional>

#include "virtual/device/DeviceReadings.h"

namespace orq {

/// A line stays closed until it is opened. Caller-serialised; times of one object never fall.
class GuideLines {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr int kLines = 4;
  static constexpr std::size_t kLoggedPulses = 1024;  ///< older ones are forgotten

  /// Closes (on) or opens a line; false when there is no such line. Closing a closed line goes on with its pulse.
  bool Switch(int line, bool on, Time now);
  /// The power is gone: all lines open.
  void PowerOff(Time now);

  std::array<bool, kLines> Closed() const;
  const std::deque<GuidePulse>& Pulses() const { return pulses_; }

 private:
  void Open(std::size_t line, Time now, bool cut);

  std::array<std::optional<Time>, kLines> closedAt_;
  std::deque<GuidePulse> pulses_;
};

}  // namespace orq
