// A sensor that takes the settings themselves.
#pragma once

#include "virtual/sensor/chips/SensorChip.h"

namespace orq {

/// Gain and offset setting stand in registers, exposure and line time are the FPGA's. It runs when it has power,
/// unless its standby register says otherwise. Registers of its settings wait while the FPGA holds updates.
class PlainChip final : public SensorChip {
 public:
  void PowerUp(Registers registers) override;
  void Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool fpgaHold, Time now) override;
  void EndFpgaHold(Registers registers) override { waiting_.TakeEffect(registers); }
  ChipSetting Setting(std::span<const std::uint8_t> registers) const override;

 private:
  WaitingWrites waiting_;
};

}  // namespace orq
