// The USB hub in the camera.
#pragma once

#include <cstdint>
#include <limits>

namespace orq {

/// Bit 2 of its state register switches the ports. A reset is asked for by the command 2 and then cuts the ports
/// by that bit; power returns by itself one second later. Times are device seconds. Caller-serialised.
class UsbHub {
 public:
  static constexpr std::uint8_t kPowerBit = 0x04;
  static constexpr std::uint8_t kResetCommand = 2;
  static constexpr double kResetSeconds = 1.0;

  /// Ports on, no reset under way.
  void PowerUp() { *this = UsbHub(); }
  /// The host wrote the command register; anything but a reset does nothing.
  void Command(std::uint8_t command, double now);
  /// The host wrote the state register.
  void WriteState(std::uint8_t state, double now);

  bool On(double now) const { return on_ || now >= backAt_; }
  bool Resetting(double now) const { return resetting_ && now < backAt_; }

 private:
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  bool on_ = true;
  bool resetting_ = false;
  double backAt_ = kNever;  ///< when power returns
};

}  // namespace orq
