#include "session/flash/FlashFailure.h"

#include "session/LinkFailure.h"

namespace orq::session {

Failure FlashFailure(CModelCamera& camera, const FlashOutcome& outcome) {
  switch (outcome.result) {
    case FlashResult::CameraFailed:
      return LinkFailure(camera, outcome.reason);
    case FlashResult::Cancelled:
      return {Status::Cancelled, outcome.reason};
    case FlashResult::FileFailed:
      return {Status::File, outcome.reason};
    default:
      return {Status::State, outcome.reason};
  }
}

void DemandDone(CModelCamera& camera, const FlashOutcome& outcome) {
  if (!outcome.Done()) throw FlashFailure(camera, outcome);
}

}  // namespace orq::session
