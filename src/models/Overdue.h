// When a frame is overdue.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace orq {

/// Judges how long a frame may take: its exposure, its readout on the slowest link that a camera is used on, and a
/// grace. An exposure that is set while frames are under way may or may not apply to them, and the next frame may
/// have begun before the last one arrived: the longest exposure set since the frame before the last counts, so
/// that a long exposure is never given up early. Worker-only.
class Overdue {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr std::uint64_t kSlowestBytesPerSecond = 5'000'000;

  Overdue(std::uint64_t exposureUs, std::size_t frameBytes, Time now)
      : before_(exposureUs), current_(exposureUs), frameBytes_(frameBytes), since_(now) {}

  /// The exposure that is set now.
  void See(std::uint64_t exposureUs) { current_ = std::max(current_, exposureUs); }
  /// Something came: the time counts from here.
  void Progress(Time now) { since_ = now; }
  /// A frame arrived while this exposure was set.
  void NextFrame(std::uint64_t exposureUs, Time now) {
    before_ = current_;
    current_ = exposureUs;
    since_ = now;
  }

  std::chrono::microseconds Limit(std::chrono::microseconds grace) const {
    const std::uint64_t readoutUs = frameBytes_ * 1'000'000 / kSlowestBytesPerSecond;
    return std::chrono::microseconds(std::max(before_, current_) + readoutUs) + grace;
  }
  bool Reached(std::chrono::microseconds grace, Time now) const { return now - since_ > Limit(grace); }

 private:
  std::uint64_t before_;   ///< longest exposure while the frame before was awaited, µs
  std::uint64_t current_;  ///< longest since, µs
  std::size_t frameBytes_;
  Time since_;
};

}  // namespace orq
