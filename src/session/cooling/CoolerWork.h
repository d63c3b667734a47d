// Cooling a sensor down and warming it up, to the end.
#pragma once

#include <functional>
#include <optional>

#include "models/camera/ModelCamera.h"
#include "session/Pause.h"

namespace orq::session {

/// Where it is.
struct CoolingProgress {
  std::optional<double> sensorC;  ///< empty when the thermometer does not answer
  double targetC = 0.0;
  double power = 0.0;    ///< percent of the full drive
  double seconds = 0.0;  ///< since the work began, of the computer's time
};

/// Who looks on while it goes on.
struct CoolingWatch {
  std::function<void(const CoolingProgress&)> tell;  ///< once per reading, on the working thread; may be empty
  Pause pause = SleepThrough;                        ///< between two readings
};

/// Throws Failure (Unsupported) when the camera has no cooler.
void DemandCooler(const CModelCamera& camera);
/// Whether the cooler is on.
bool IsCoolerOn(CModelCamera& camera);

/// Switches the cooler on, or off at once; `keep`: it stays on when the camera is closed. Throws Failure.
void SwitchCooler(CModelCamera& camera, bool on, bool keep);

/// Waits until the sensor has kept within 0.2 °C of the target for five seconds of the camera's time. Throws
/// Failure: Cancelled, Lost, the target is out of reach (Range, with what is in reach), the cooler has stopped
/// (Refused), or not there after `seconds` of the computer's time (Timeout, with the reason).
void AwaitTarget(CModelCamera& camera, double seconds, const CoolingWatch& watch);

/// Warms the sensor up at the ramp until the cooler has nothing left to do, and switches it off; the target is
/// then what it was. Nothing when it is off. Throws Failure: Cancelled or Timeout (after `seconds`; it is still on
/// then, and goes off when the camera is closed), Lost.
void WarmUp(CModelCamera& camera, double seconds, const CoolingWatch& watch);

}  // namespace orq::session
