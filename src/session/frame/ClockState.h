// Whether the computer's clock keeps UTC, as its kernel knows it.
#pragma once

#include <sys/timex.h>

#include <cstdint>
#include <optional>

namespace orq::session {

struct ClockState {
  bool synchronised = false;    ///< something (NTP, PTP, a receiver) steers the clock
  std::int64_t maxErrorUs = 0;  ///< then: how far it may be off at most, microseconds
  bool operator==(const ClockState&) const = default;
};

/// `result` and `time` as ntp_adjtime gives them; nothing when it failed.
std::optional<ClockState> ClockStateOf(int result, const timex& time);

/// Now. Nothing when the kernel does not tell.
std::optional<ClockState> ReadClockState();

}  // namespace orq::session
