// What came of flash work, as a failure.
#pragma once

#include "models/camera/ModelCamera.h"
#include "models/flash/FlashBackup.h"
#include "session/Failure.h"

namespace orq::session {

/// Of work that is not done.
Failure FlashFailure(CModelCamera& camera, const FlashOutcome& outcome);
/// Throws it; nothing when the work is done.
void DemandDone(CModelCamera& camera, const FlashOutcome& outcome);

}  // namespace orq::session
