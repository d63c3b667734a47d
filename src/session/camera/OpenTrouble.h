// Why a camera could not be opened or used, as a failure.
#pragma once

#include <string>

#include "models/camera/ModelCamera.h"
#include "session/CameraList.h"
#include "session/Failure.h"

namespace orq::session {

/// Of a link's last error; Refused for those that say nothing.
Status StatusOf(UsbError error);
/// Why an open failed: what the port or the link says.
std::string OpenTrouble(CModelCamera& camera);
/// The same as a failure of the camera of that name.
Failure OpenFailure(CModelCamera& camera, const std::string& name);
/// The camera that a name means, not yet open; throws what is wrong with the name or that there is none.
NamedCamera FindCamera(std::string_view name, const SettingsChoice& settings);

}  // namespace orq::session
