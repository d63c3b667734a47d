// Cooling the sensor, as long as the command runs or longer.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"
#include "camera/Session.h"
#include "options/CommandLine.h"

namespace orq::cli {

/// Switches the cooler on; without a target it keeps the camera's. What is beyond the limits is clamped, and
/// standard error says so. The cooler is off again when the session ends, unless `keep`. Throws Failure: no
/// cooler, refused.
void StartCooler(Session& session, const std::optional<std::string>& target, bool keep);

/// Waits until the sensor has kept within 0.2 °C of the target for five seconds of the camera's time. Throws
/// Failure: interrupted, lost, out of reach (with what is in reach), or not there after `seconds` of the
/// computer's time (with the reason).
void AwaitTarget(Session& session, double seconds);

/// Warms the sensor up at the ramp until the cooler has nothing left to do, and switches it off. Nothing when it
/// is off. Throws Failure: interrupted or not done after `seconds` (it goes off with the session), lost.
void WarmUp(Session& session, double seconds);

/// Tells the user once about each new trouble of a running cooler.
class CoolerWatch {
 public:
  void Look(Session& session);

 private:
  std::string told_;
};

/// The cooling options of commands that take frames.
struct CoolSettings {
  std::optional<std::string> target;
  bool wait = false;
  bool keep = false;
  std::string timeout = "1800";

  void AddTo(const Command& command);
  /// Throws Failure (usage) for what is wrong whatever the camera.
  void Check() const;
  /// Throws Failure.
  void Apply(Session& session) const;
  /// Throws Error.
  void Apply(Device& camera) const;
};

}  // namespace orq::cli
