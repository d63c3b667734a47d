// What is kept of cameras from one run to the next.
#pragma once

#include <string>

#include "session/camera/Camera.h"

namespace orq::session {

/// The file. Throws Failure (File) when the environment names no place for it.
std::string SettingsPath();
/// Keeps the controls as they are now. Throws Failure (File); what went wrong without harm becomes an event.
void KeepSettings(Camera& camera);

}  // namespace orq::session
