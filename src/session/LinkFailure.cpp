#include "session/LinkFailure.h"

#include "session/camera/OpenTrouble.h"

namespace orq::session {

Failure LinkFailure(CModelCamera& camera, const std::string& what) {
  if (camera.DeviceLost()) return {Status::Lost, what + ": the camera was lost; check its cable"};
  const std::string reason = camera.LinkError();
  return {StatusOf(camera.Port().LastErrorCode()), reason.empty() ? what : what + ": " + reason};
}

}  // namespace orq::session
