// The voice-coil focus motor's driver chip.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace orq {

/// Register 0: chip id. 3 and 4: wanted position, high and low byte, 10 bits; writing register 4 starts the move.
/// 5: bit 0 while the lens moves. 5063 to 5066: the factory's marks of the upper and the lower end of the range,
/// high byte first, which differ from camera to camera. All others read 0. Times are device seconds.
/// Caller-serialised.
class FocusMotorChip {
 public:
  static constexpr std::uint8_t kChipId = 0xF2;
  static constexpr double kSettleSeconds = 0.008;  ///< time constant of a move

  explicit FocusMotorChip(std::span<const std::uint8_t, 8> serial);

  /// No current in the coil: the lens rests at 0.
  void PowerUp();
  std::uint8_t Read(std::uint16_t reg, double now) const;
  /// Writes to registers other than 3 and 4 are ignored.
  void Write(std::uint16_t reg, std::uint8_t value, double now);

  int Wanted() const { return wanted_; }
  /// Where the lens is: it nears the wanted position exponentially.
  double Position(double now) const;
  /// Half a step or more from the wanted position.
  bool Moving(double now) const;

 private:
  std::array<std::uint8_t, 4> marks_{};
  std::uint8_t high_ = 0;  ///< as written; counts when register 4 is written
  int wanted_ = 0;
  double from_ = 0;
  double startedAt_ = 0;
};

}  // namespace orq
