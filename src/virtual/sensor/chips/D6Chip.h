// The D6 by its data sheet, docs/sensors/d6.md.
#pragma once

#include "virtual/sensor/chips/SensorChip.h"

namespace orq {

class D6Chip final : public SensorChip {
 public:
  void PowerUp(Registers registers) override;
  void TakeUp(Registers registers) override;
  void SetClock(bool on, Time now) override;
  void Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool fpgaHold, Time now) override;
  ChipSetting Setting(std::span<const std::uint8_t> registers) const override;

 private:
  void WriteControl(Registers registers, std::uint8_t value, Time now);
  void WritePll(Registers registers, std::uint8_t value, Time now);

  WaitingWrites waiting_;
  bool grouping_ = false;
  Time readyAt_{};                      ///< after a reset: writes before are lost
  std::optional<Time> pllReadyAt_;      ///< it can be set from then on; none: it has no power
  std::optional<Time> pllLocksAt_;      ///< none: it never does as it is set
  std::optional<Time> blackSettlesAt_;  ///< awake with a locked PLL; none: it does not work
  bool blackSettled_ = false;           ///< it had when the stream was started
  int mode_ = 0;                        ///< taken up by waking
};

}  // namespace orq
