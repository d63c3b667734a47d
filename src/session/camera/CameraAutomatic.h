// Automatic exposure, gain and white balance of an open camera.
#pragma once

#include "session/autocontrol/AutomaticControl.h"
#include "session/camera/Camera.h"

namespace orq::session {

struct AutomaticState {
  AutoReading reading;
  bool settled = false;   ///< nothing has had to be changed for some frames
  bool onTarget = false;  ///< the brightness is as near its target as it is brought
};

/// Lets it run when a control is automatic, not yet settled, or else ends it. With the camera's turn held.
void RunAutomatic(CModelCamera& device);
/// Throws Failure (State) when no control is automatic.
AutomaticState AutomaticNow(Camera& camera);
/// Blocks until nothing has had to be changed for some frames of the running video, `seconds` have passed
/// (Timeout) or somebody aborts (Cancelled). State: no control is automatic, or no video runs. Refused: the video
/// has failed.
void AwaitSettled(Camera& camera, double seconds);

}  // namespace orq::session
