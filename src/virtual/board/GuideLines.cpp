#include "virtual/board/GuideLines.h"

namespace orq {

bool GuideLines::Switch(int line, bool on, Time now) {
  if (line < 0 || line >= kLines) return false;
  const auto at = static_cast<std::size_t>(line);
  if (!on)
    Open(at, now, false);
  else if (!closedAt_[at])
    closedAt_[at] = now;
  return true;
}

void GuideLines::PowerOff(Time now) {
  for (std::size_t line = 0; line < closedAt_.size(); ++line) Open(line, now, true);
}

void GuideLines::Open(std::size_t line, Time now, bool cut) {
  if (!closedAt_[line]) return;
  pulses_.push_back({static_cast<int>(line), *closedAt_[line], now - *closedAt_[line], cut});
  closedAt_[line].reset();
  if (pulses_.size() > kLoggedPulses) pulses_.pop_front();
}

std::array<bool, GuideLines::kLines> GuideLines::Closed() const {
  std::array<bool, kLines> closed{};
  for (std::size_t line = 0; line < closed.size(); ++line) closed[line] = closedAt_[line].has_value();
  return closed;
}

}  // namespace orq
