// When a frame is overdue.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace orq {

/// The longest that a frame takes from the start of its exposure until it is here: the exposure, and the readout
/// on the slowest link that a camera is used on. Nobody is to be blamed for a frame before that.
constexpr std::chrono::microseconds LongestFrameTime(std::uint64_t exposureUs, std::size_t frameBytes) {
  constexpr std::uint64_t kSlowestBytesPerSecond = 5'000'000;
  return std::chrono::microseconds(exposureUs + frameBytes * 1'000'000 / kSlowestBytesPerSecond);
}

/// Judges how long a frame may take: the longest that it takes, and a grace. An exposure that is set while frames
/// are under way may or may not apply to them, and the next frame may have begun before the last one arrived: the
/// longest exposure set since the frame before the last counts, so that a long exposure is never given up early.
/// Worker-only.
class Overdue {
 public:
  using Time = std::chrono::steady_clock::time_point;

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
    return LongestFrameTime(std::max(before_, current_), frameBytes_) + grace;
  }
  bool Reached(std::chrono::microseconds grace, Time now) const { return now - since_ > Limit(grace); }

 private:
  std::uint64_t before_;   ///< longest exposure while the frame before was awaited, µs
  std::uint64_t current_;  ///< longest since, µs
  std::size_t frameBytes_;
  Time since_;
};

}  // namespace orq
