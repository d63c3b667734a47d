#include "virtual/board/UsbHub.h"

namespace orq {

void UsbHub::Command(std::uint8_t command, double now) {
  if (command != kResetCommand) return;
  on_ = On(now);
  resetting_ = true;
  backAt_ = on_ ? kNever : now + kResetSeconds;
}

void UsbHub::WriteState(std::uint8_t state, double now) {
  const bool wasOn = On(now);
  const bool resetting = Resetting(now);
  const bool on = (state & kPowerBit) != 0;
  if (on == wasOn) return;
  on_ = on;
  resetting_ = resetting && !on;
  backAt_ = resetting_ ? now + kResetSeconds : kNever;
}

}  // namespace orq
