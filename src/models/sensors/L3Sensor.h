// The L3: its shutter counts lines, its gain is a code of 0.3 dB steps. docs/sensors/l3.md is its data sheet.
#pragma once

#include "models/sensors/Sensor.h"

namespace orq {

class L3Sensor final : public Sensor {
 public:
  static constexpr int kTenthsPerCode = 3;  ///< of a decibel
  static constexpr int kHighestCode = 100;

  std::span<const SensorStep> PowerUp() const override;
  std::span<const SensorStep> Wake() const override;
  std::span<const SensorStep> Standby() const override;
  std::span<const SensorStep> BeginTogether() const override;
  std::span<const SensorStep> EndTogether() const override;

  std::uint64_t NearestExposure(std::uint64_t us, std::uint32_t lineNs) const override;
  void AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t lineNs) const override;
  int ExposureLines(std::uint64_t us, std::uint32_t lineNs) const override;

  int NearestGain(int setting) const override;
  void AddGain(RegisterBatch& batch, int setting) const override;
  int GainOf(std::uint16_t code) const override { return code * kTenthsPerCode; }

  void AddBlackLevel(RegisterBatch& batch, int setting) const override;
};

inline constexpr L3Sensor kL3Sensor;

}  // namespace orq
