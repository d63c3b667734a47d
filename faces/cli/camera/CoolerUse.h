// The cooler as the commands use it.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"

namespace orq::cli {

/// Switches the cooler on; without a target it keeps the camera's. What is beyond the limits is clamped, and
/// standard error says so. The cooler is off again when the camera is closed, unless `keep`. Throws Error: no
/// cooler, refused.
void StartCooler(Device& camera, const std::optional<std::string>& target, bool keep);

/// Waits until the sensor has kept within 0.2 °C of the target for five seconds of the camera's time. Throws
/// Error: interrupted, lost, out of reach (with what is in reach), or not there after `seconds` of the computer's
/// time (with the reason).
void AwaitTarget(Device& camera, double seconds);

/// Warms the sensor up at the ramp until the cooler has nothing left to do, and switches it off. Nothing when it
/// is off. Throws Error: interrupted or not done after `seconds` (it goes off with the camera), lost.
void WarmUp(Device& camera, double seconds);

/// Tells the user once about each new trouble of a running cooler.
class CoolerTeller {
 public:
  void Look(Device& camera);

 private:
  std::string told_;
};

}  // namespace orq::cli
