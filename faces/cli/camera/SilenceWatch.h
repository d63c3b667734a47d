// Notices a camera that runs freely and yet sends nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace orq::cli {

/// Compares the time since the last sign of a frame with what a frame may take. One thread.
class SilenceWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// Whether it has lasted too long. `started` counts the frames that have begun to arrive; `limit` is what one
  /// may take with the present settings.
  bool Overdue(Clock::time_point now, std::uint64_t started, Clock::duration limit);
  /// Begins anew with the next look.
  void Restart() { since_.reset(); }

 private:
  std::optional<Clock::time_point> since_;  ///< the last sign
  std::uint64_t started_ = 0;               ///< frames then
  Clock::duration limitThen_{};
  /// The longest since the sign before: a frame may still be under way with its settings.
  Clock::duration limit_{};
};

}  // namespace orq::cli
