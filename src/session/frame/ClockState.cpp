#include "session/frame/ClockState.h"

namespace orq::session {

std::optional<ClockState> ClockStateOf(int result, const timex& time) {
  if (result < 0) return std::nullopt;
  const bool synchronised = result != TIME_ERROR && (time.status & STA_UNSYNC) == 0;
  return ClockState{synchronised, synchronised ? time.maxerror : 0};
}

std::optional<ClockState> ReadClockState() {
  timex time{};  // no mode: nothing is changed
  return ClockStateOf(ntp_adjtime(&time), time);
}

}  // namespace orq::session
