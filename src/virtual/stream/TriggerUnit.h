// The FPGA's trigger unit: what starts an exposure when the sensor does not run freely.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace orq {

class FpgaRegisters;

/// How the unit listens.
struct TriggerSetting {
  bool listens = false;  ///< exposures begin on triggers only; else the sensor runs freely
  bool external = false;
  bool edge = false;
  bool activeHigh = false;
  bool operator==(const TriggerSetting&) const = default;
};

TriggerSetting TriggerSettingOf(const FpgaRegisters& fpga);

/// Takes software requests and the input line, and says when an exposure is due. An edge, or a level's beginning,
/// that meets a busy sensor is missed unless the level lasts until the sensor is free; a software request has no
/// length and is an edge in either type. Caller-serialised.
class TriggerUnit {
 public:
  using Time = std::chrono::steady_clock::time_point;
  enum class Sensor : std::uint8_t { Off, Busy, Ready };

  /// Another setting forgets a trigger that was taken and not yet served.
  void Set(const TriggerSetting& setting);
  void Forget() { taken_.reset(); }

  void SoftwareRequest(Sensor sensor, Time now);
  void SetLine(bool high, Sensor sensor, Time now);

  /// Whether an exposure is to begin now, on a sensor that is free from `freeAt` on.
  bool Due(Time freeAt, Time now) const;
  /// True when an exposure becomes due without a further trigger, as soon as the sensor is free.
  bool AtLevel() const;
  /// Begins the exposure that is due: its start.
  Time Serve(Time freeAt);

  /// Triggers that met a busy sensor.
  std::uint64_t Missed() const { return missed_; }

 private:
  bool Active() const { return line_ == setting_.activeHigh; }
  void Arrive(Sensor sensor, Time now);

  TriggerSetting setting_;
  bool line_ = false;
  Time lineSince_{};
  bool levelWaits_ = false;    ///< the level came while the sensor was busy and has not been served yet
  std::optional<Time> taken_;  ///< a trigger that is to be served
  std::uint64_t missed_ = 0;
};

}  // namespace orq
