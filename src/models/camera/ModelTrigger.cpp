// Trigger modes of a model camera.
#include "camera/CameraModeTable.h"
#include "camera/TriggerSettings.h"
#include "link/WireProtocol.h"
#include "models/camera/ModelWorker.h"

namespace orq {
namespace {

// A stream starts within milliseconds; a computer that swaps takes longer.
constexpr int kStartMs = 5000;

}  // namespace

// A trigger unit that could not be asked counts as none. False when it still cannot be asked.
bool CModelCamera::AskAgainForTriggers() {
  unsigned char type = 0;
  if (!ReadFPGAREG(wire::kFpgaType, &type)) return false;
  if (TriggerSupportOf(type).any) CameraModeCheck();
  return true;
}

// Another program may have left the camera waiting for triggers, and a replug takes the mode away: what is stored
// counts. Another camera may have been plugged in, too, that does not offer the mode. False when the camera may go
// on waiting for what it waited for: no frame would come, and nobody would know why. Outputs only tell others.
bool CModelCamera::ProgramTriggers() {
  if (supportTrigger == 0 && !AskAgainForTriggers()) {
    WriteFPGAREG(wire::kFpgaTriggerInput, 0);
    camMode = 0;
    return true;
  }
  const TriggerSupport support = TriggerSupportOf(*this);
  if (!IsModeOffered(support, camMode)) camMode = 0;
  if (!support.any) return true;
  const bool done = ProgramTriggerInput(*this, camMode, normalModeFPGATrigger != 0);
  ProgramTriggerOutput(*this, TRIG_OUTPUT_PINA, {pinAHigh != 0, pinADelay, pinADuration});
  ProgramTriggerOutput(*this, TRIG_OUTPUT_PINB, {pinBHigh != 0, pinBDelay, pinBDuration});
  return done;
}

bool CModelCamera::AwaitTriggerReady(int waitMs) {
  if (camMode == 0) return false;
  bool armed = false;
  worker_->mailbox.Await(waitMs, [&] {
    armed = worker_->armed;
    return armed || !MayBringFrames();
  });
  return armed;
}

bool CModelCamera::SoftTrigger(std::string& reason) {
  if (!IsSoftwareTriggered(camMode)) {
    reason = "camera mode " + std::to_string(camMode) + " takes no software triggers: choose mode 1 or 4";
    return false;
  }
  if (!AwaitTriggerReady(kStartMs)) {
    const std::string trouble = CaptureTrouble();
    reason = "no capture waits for a trigger" + (trouble.empty() ? ": start one first" : ": " + trouble);
    return false;
  }
  worker_->triggeredAt = std::chrono::steady_clock::now();  // before the frame can be there
  if (SendSoftTrigger()) return true;
  worker_->triggeredAt = std::chrono::steady_clock::time_point{};
  reason = "the camera refused the trigger: " + LinkError();
  return false;
}

}  // namespace orq
