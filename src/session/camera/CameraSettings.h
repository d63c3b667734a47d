// What is kept of cameras from one run to the next.
#pragma once

#include "session/camera/Camera.h"

namespace orq::session {

/// Keeps the controls as they are now. Throws Failure (File); what went wrong without harm becomes an event.
void KeepSettings(Camera& camera);

}  // namespace orq::session
