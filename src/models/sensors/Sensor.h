// One type of image sensor, as its data sheet describes it to a driver.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "models/camera/RegisterBatch.h"

namespace orq {

/// One write of a power sequence, and the time that the sensor needs after it.
struct SensorStep {
  std::uint16_t reg = 0;
  std::uint8_t value = 0;
  std::uint32_t waitUs = 0;
};

/// One way to read a sensor out.
struct ReadoutMode {
  std::string_view name;              ///< for users and files: "Low noise"
  std::uint32_t lineTimeNs = 10'000;  ///< time to read one row at full bandwidth
  float baseElectronsPerAdu = 1.0F;   ///< electrons per ADC unit at gain setting 0; 0: unknown
  double fullWellElectrons = 0.0;     ///< that a pixel holds; 0: unknown
};

/// What a driver has to know of a sensor: its power sequences, and which registers a setting becomes. Settings are
/// the library's: exposure in µs, gain in 0.1 dB, offset in steps. An object of it has no state and stands in the
/// program's constant data; `ModelData` points to it. Any-thread.
///
/// What a sensor cannot do exactly it rounds, and the `Nearest…` functions say to what: that is what is stored,
/// shown and used from then on. Applied to their own result they change nothing.
class Sensor {
 public:
  // Power. Steps are written in order, each after the time that the one before it asks for.

  /// From any state in which a camera may be found, clock running, to standby with everything set that never
  /// changes. Settings and readout mode are written after it.
  virtual std::span<const SensorStep> PowerUp() const { return {}; }
  /// From standby to frames.
  virtual std::span<const SensorStep> Wake() const { return {}; }
  /// From frames to standby.
  virtual std::span<const SensorStep> Standby() const { return {}; }

  // Registers that take effect together.

  /// Written before and after the registers of one setting: the sensor takes up all that was written between the
  /// two at one frame boundary. Empty where the FPGA's update hold does that.
  virtual std::span<const SensorStep> BeginTogether() const { return {}; }
  virtual std::span<const SensorStep> EndTogether() const { return {}; }

  // Readout modes.

  /// By number from 0; empty for a sensor with one only, whose numbers are those of the model's table row.
  virtual std::span<const ReadoutMode> Modes() const { return {}; }
  /// Written in standby.
  virtual void AddMode(RegisterBatch&, int) const {}

  // Exposure, µs. `lineNs` is the line time of the readout mode.

  virtual std::uint64_t NearestExposure(std::uint64_t us, std::uint32_t) const { return us; }
  virtual void AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t lineNs) const;
  /// Whole lines of an exposure.
  virtual int ExposureLines(std::uint64_t us, std::uint32_t lineNs) const;

  // Gain, 0.1 dB.

  virtual int NearestGain(int setting) const { return setting; }
  virtual void AddGain(RegisterBatch& batch, int setting) const;
  /// The setting of what a frame's header states.
  virtual int GainOf(std::uint16_t code) const { return code; }
  /// Electrons per ADC unit at a setting, `base` at setting 0.
  virtual float ElectronsPerAdu(float base, int setting) const;

  // Offset.

  virtual void AddBlackLevel(RegisterBatch& batch, int setting) const;
  /// The setting of what a frame's header states.
  virtual int BlackLevelOf(std::uint16_t code) const { return code; }

 protected:
  constexpr Sensor() = default;
  ~Sensor() = default;  // nobody owns one
};

}  // namespace orq
