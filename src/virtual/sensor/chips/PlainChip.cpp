#include "virtual/sensor/chips/PlainChip.h"

#include <algorithm>

#include "link/WireProtocol.h"

namespace orq {
namespace {

int Word(std::span<const std::uint8_t> registers, std::size_t reg) {
  return registers[reg] | registers[reg + 1] << 8;
}

}  // namespace

void PlainChip::PowerUp(Registers registers) {
  std::ranges::fill(registers, std::uint8_t{0});
  waiting_.Forget();
}

void PlainChip::Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool fpgaHold, Time) {
  const bool setting = reg >= wire::kSensorGain && reg <= wire::kSensorBlackLevel + 1;
  if (fpgaHold && setting)
    waiting_.Add(reg, value);
  else
    registers[reg] = value;
}

ChipSetting PlainChip::Setting(std::span<const std::uint8_t> registers) const {
  ChipSetting setting;
  setting.running = (registers[wire::kSensorStandby] & 1U) == 0;
  setting.warm = setting.running;
  setting.gain = Word(registers, wire::kSensorGain);
  setting.blackLevel = Word(registers, wire::kSensorBlackLevel);
  return setting;
}

}  // namespace orq
