// Why the camera did not do what it was told, as a failure.
#pragma once

#include <string>

#include "models/camera/ModelCamera.h"
#include "session/Failure.h"

namespace orq::session {

/// `what` could not be done: Lost when the camera is gone, else the status and the words of the link's last error.
Failure LinkFailure(CModelCamera& camera, const std::string& what);

}  // namespace orq::session
