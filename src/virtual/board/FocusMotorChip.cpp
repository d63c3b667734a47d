#include "virtual/board/FocusMotorChip.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

constexpr std::uint16_t kId = 0;
constexpr std::uint16_t kPositionHigh = 3;
constexpr std::uint16_t kPositionLow = 4;
constexpr std::uint16_t kStatus = 5;
constexpr std::uint16_t kMarks = 5063;
constexpr int kLargestPosition = 1023;
// Marks of a camera whose serial number ends in zeros; each camera's own lie up to 63 steps above.
constexpr int kUpperMark = 768;
constexpr int kLowerMark = 128;

}  // namespace

FocusMotorChip::FocusMotorChip(std::span<const std::uint8_t, 8> serial) {
  const int upper = kUpperMark + serial[7] % 64;
  const int lower = kLowerMark + serial[6] % 64;
  marks_ = {static_cast<std::uint8_t>(upper >> 8), static_cast<std::uint8_t>(upper),
            static_cast<std::uint8_t>(lower >> 8), static_cast<std::uint8_t>(lower)};
}

void FocusMotorChip::PowerUp() {
  high_ = 0;
  wanted_ = 0;
  from_ = 0;
}

std::uint8_t FocusMotorChip::Read(std::uint16_t reg, double now) const {
  switch (reg) {
    case kId:
      return kChipId;
    case kPositionHigh:
      return static_cast<std::uint8_t>(wanted_ >> 8);
    case kPositionLow:
      return static_cast<std::uint8_t>(wanted_);
    case kStatus:
      return Moving(now) ? 1 : 0;
    default:
      return reg >= kMarks && reg < kMarks + marks_.size() ? marks_[static_cast<std::size_t>(reg - kMarks)]
                                                           : std::uint8_t{0};
  }
}

void FocusMotorChip::Write(std::uint16_t reg, std::uint8_t value, double now) {
  if (reg == kPositionHigh) {
    high_ = value;
  } else if (reg == kPositionLow) {
    from_ = Position(now);
    startedAt_ = now;
    wanted_ = (high_ << 8 | value) & kLargestPosition;
  }
}

double FocusMotorChip::Position(double now) const {
  return wanted_ + (from_ - wanted_) * std::exp(-std::max(now - startedAt_, 0.0) / kSettleSeconds);
}

bool FocusMotorChip::Moving(double now) const {
  return std::abs(Position(now) - wanted_) >= 0.5;
}

}  // namespace orq
