// The two sensor lines at which a camera's GPS takes the time.
#pragma once

#include <optional>
#include <string>

#include "models/camera/ModelCamera.h"

namespace orq::session {

struct GpsLines {
  int start = 0;
  int end = 0;
  bool operator==(const GpsLines&) const = default;
};

/// Throws Failure (Unsupported) when the camera has no GPS.
void DemandGps(CModelCamera& camera);

/// The same, and a Failure (State) when frames of the present region cannot have GPS time, with what to do about
/// it.
void DemandGpsTimes(CModelCamera& camera);

/// Nothing when the camera does not answer.
std::optional<GpsLines> ReadGpsLines(CCameraBase& camera);

/// Sets both lines or none; a ControlResult. When the camera refuses, both are put back, and `left` says as the
/// end of a sentence what holds now. Lines outside the sensor touch nothing.
int SetGpsLines(CCameraBase& camera, const GpsLines& wanted, std::string& left);

}  // namespace orq::session
