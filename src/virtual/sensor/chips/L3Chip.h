// The L3 by its data sheet, docs/sensors/l3.md.
#pragma once

#include "virtual/sensor/chips/SensorChip.h"

namespace orq {

class L3Chip final : public SensorChip {
 public:
  void PowerUp(Registers registers) override;
  void TakeUp(Registers registers) override;
  void SetClock(bool on, Time now) override;
  void Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool fpgaHold, Time now) override;
  ChipSetting Setting(std::span<const std::uint8_t> registers) const override;

 private:
  void WritePllEnable(Registers registers, std::uint8_t value, Time now);
  void WriteStandby(Registers registers, std::uint8_t value, Time now);
  int WrongTrims(std::span<const std::uint8_t> registers) const;

  WaitingWrites waiting_;
  Time readyAt_{};                      ///< after a reset: writes before are lost
  std::optional<Time> pllLocksAt_;      ///< none: it never does as it is set
  std::optional<Time> blackSettlesAt_;  ///< out of standby with a locked PLL; none: it does not work
  bool blackSettled_ = false;           ///< it had when the readout was started
};

}  // namespace orq
