// When exposures begin, and what the camera tells others about them.
#pragma once

#include <cstdint>
#include <vector>

#include "camera/CameraModeTypes.h"
#include "camera/TriggerSettings.h"
#include "session/camera/Camera.h"

namespace orq::session {

/// The modes that the camera offers, 0 (free-running) first.
std::vector<CAM_MODE> TriggerModes(Camera& camera);
CAM_MODE TriggerMode(Camera& camera);
/// State: a capture runs. Unsupported: the camera does not offer it.
void SetTriggerMode(Camera& camera, CAM_MODE mode);

/// Output 0 (A) or 1 (B). Range: another one, negative times. Unsupported: the camera has none.
TriggerPulse TriggerOutput(Camera& camera, int output);
void SetTriggerOutput(Camera& camera, int output, const TriggerPulse& pulse);

/// A software trigger for the capture that runs. State: none listens for it.
void SendTrigger(Camera& camera);

}  // namespace orq::session
