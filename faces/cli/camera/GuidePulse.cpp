#include "camera/GuidePulse.h"

#include "output/Output.h"
#include "output/Signals.h"

namespace orq::cli {

GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms) {
  const StopShield shield;
  return session::SendGuidePulse(camera, direction, ms, WaitForStop, Complain);
}

}  // namespace orq::cli
