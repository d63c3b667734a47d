// The two sensor lines at which a camera's GPS takes the time.
#pragma once

#include <optional>
#include <string>

#include "camera/CameraBase.h"

namespace orq::cli {

struct GpsLines {
  int start = 0;
  int end = 0;
  bool operator==(const GpsLines&) const = default;
};

/// Nothing when the camera does not answer.
std::optional<GpsLines> ReadGpsLines(CCameraBase& camera);

/// Sets both lines or none; a ControlResult. When the camera refuses, both are put back, and `left` says as the
/// end of a sentence what holds now. Lines outside the sensor touch nothing.
int SetGpsLines(CCameraBase& camera, const GpsLines& wanted, std::string& left);

}  // namespace orq::cli
