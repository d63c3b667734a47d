// The four lines of the autoguider socket.
#include <unistd.h>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace wire = orq::wire;

namespace {

/// Switches a line; a direction without one is ignored. Guiding has no use for the camera's answer: the next
/// pulse comes anyway.
void SwitchLine(CCameraBase& camera, unsigned char request, GuideD d) {
  camera.SendCMD(request, static_cast<unsigned short>(d), 0, false, nullptr, 0);
}

bool HasLine(GuideD d) {
  return d >= GUIDE_NORTH && d <= GUIDE_WEST;
}

}  // namespace

bool CCameraBase::PulseGuideOn(GuideD d) {
  DbgPrint(-1, "PulseGuideOn", "PulseGuide Direction On:%d", d);
  if (HasLine(d)) SwitchLine(*this, wire::kReqGuideOn, d);
  return true;
}

bool CCameraBase::PulseGuideOff(GuideD d) {
  DbgPrint(-1, "PulseGuideOff", "PulseGuide Direction Off:%d", d);
  if (HasLine(d)) SwitchLine(*this, wire::kReqGuideOff, d);
  return true;
}

bool CCameraBase::pulseGuide(GuideD d, int ms) {
  DbgPrint(-1, "pulseGuide", "PulseGuide Direction:%d time:%d\n", d, ms);
  if (!HasLine(d)) return true;
  SwitchLine(*this, wire::kReqGuideOn, d);
  // The sleep counts in 32 unsigned bits: it lasts 71.6 minutes at most, also for lengths that do not fit or are
  // negative.
  usleep(static_cast<useconds_t>(ms) * 1000U);
  SwitchLine(*this, wire::kReqGuideOff, d);
  return true;
}
