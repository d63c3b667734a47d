// A pulse of the guide port that signals may end.
#pragma once

#include "session/guide/GuideLine.h"

namespace orq::cli {

/// A pulse of at least `ms`, or a shorter one when the user asks to stop. However it ends, by signals or by an
/// exception, the line is switched off; no number of Ctrl-C kills the tool meanwhile. Throws Failure.
session::GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms);

}  // namespace orq::cli
