// The D6: two conversion gains, two readout modes, an analog gain that is a fraction, a digital one behind it, and
// a shutter that is set by when it starts. docs/sensors/d6.md is its data sheet.
#pragma once

#include "models/sensors/Sensor.h"

namespace orq {

class D6Sensor final : public Sensor {
 public:
  std::span<const SensorStep> PowerUp() const override;
  std::span<const SensorStep> Wake() const override;
  std::span<const SensorStep> Standby() const override;
  std::span<const SensorStep> BeginTogether() const override;
  std::span<const SensorStep> EndTogether() const override;

  std::span<const ReadoutMode> Modes() const override;
  void AddMode(RegisterBatch& batch, int mode) const override;

  std::uint64_t NearestExposure(std::uint64_t us, std::uint32_t lineNs) const override;
  void AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t lineNs) const override;
  int ExposureLines(std::uint64_t us, std::uint32_t lineNs) const override;

  int NearestGain(int setting) const override;
  void AddGain(RegisterBatch& batch, int setting) const override;
  int GainOf(std::uint16_t code) const override;
  float ElectronsPerAdu(float base, int setting) const override;

  void AddBlackLevel(RegisterBatch& batch, int setting) const override;
};

inline constexpr D6Sensor kD6Sensor;

}  // namespace orq
