// What is kept of cameras from one run to the next.
#pragma once

#include <string>

#include "session/camera/Camera.h"

namespace orq::session {

/// Where they are kept unless a camera is opened with another folder. Throws Failure (File) when the environment
/// names no place for them.
std::string UsersSettingsFolder();
/// The file in it. Throws as that.
std::string SettingsPath();
/// Keeps the controls as they are now in the folder that the camera was opened with. Throws Failure (File); what
/// went wrong without harm becomes an event.
void KeepSettings(Camera& camera);

}  // namespace orq::session
