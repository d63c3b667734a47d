// Kept settings of this library's cameras, beside those that the camera object keeps itself.
#pragma once

#include "models/camera/ModelCamera.h"

namespace orq {

/// Controls that `SaveSetting` does not know, in the same place: gamma and mono bin. Before the camera is opened.
/// What is not kept, or not to be had from this camera, changes nothing.
void LoadOwnSettings(CModelCamera& camera);
/// Keeps them, for a user who asked for it. Trouble is the store's (`TakeXmlTrouble`).
void KeepOwnSettings(CModelCamera& camera);

}  // namespace orq
