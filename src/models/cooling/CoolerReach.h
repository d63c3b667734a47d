// Noticing that a cooler can do no more.
#pragma once

#include <optional>

namespace orq {

/// Watches a cooler at full power: when the sensor has got hardly colder for a minute, that is what it can reach.
/// Temperatures in degrees Celsius. Pure: no clock, no device.
class CoolerReach {
 public:
  /// One reading, `seconds` after the last one, with the drive that it was answered with. What the cooler can
  /// reach, when the target is colder; nothing while that is not known.
  std::optional<double> Look(double temperature, double target, double percent, double seconds);

 private:
  struct Window {
    double from = 0.0;     ///< temperature at its begin
    double seconds = 0.0;  ///< since then
  };
  std::optional<Window> window_;
  std::optional<double> reach_;
};

}  // namespace orq
