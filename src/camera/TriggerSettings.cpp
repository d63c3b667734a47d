#include "camera/TriggerSettings.h"

#include "camera/CameraModeTable.h"
#include "link/CameraFX3.h"

namespace orq {
namespace {

/// The device takes the bits of a time for an unsigned number, negative ones included.
unsigned DeviceTime(std::int32_t us) {
  return static_cast<unsigned>(us);
}

}  // namespace

bool ProgramTriggerInput(CCameraFX3& link, CAM_MODE mode, bool triggerInNormalMode) {
  if (mode < 0 || mode > kLastCameraMode) return true;
  const TriggerInput& input = kTriggerInputs[static_cast<std::size_t>(mode)];
  bool done = link.EnableFPGATriggerMode(mode == 0 ? triggerInNormalMode : input.onTriggerOnly);
  done = link.SelectExtTrigSource(input.external) && done;
  done = link.SelectExtTrigSoftMode(input.ignoresInput) && done;
  if (input.edge) done = link.SelectExtTrigType(*input.edge) && done;
  if (input.activeHigh) done = link.SelectExtTrigValidType(*input.activeHigh) && done;
  return done;
}

void ProgramTriggerOutput(CCameraFX3& link, Trig_Output_Pin pin, const TriggerPulse& pulse) {
  const bool on = pulse.lengthUs > 0;
  if (pin == TRIG_OUTPUT_PINA) {
    link.EnableExtSyncA(on);
    link.SelectExtSyncALevel(pulse.high);
    link.SetExtSyncADelayTime(DeviceTime(pulse.delayUs));
    link.SetExtSyncAKeepTime(DeviceTime(pulse.lengthUs));
  } else {
    link.EnableExtSyncB(on);
    link.SelectExtSyncBLevel(pulse.high);
    link.SetExtSyncBDelayTime(DeviceTime(pulse.delayUs));
    link.SetExtSyncBKeepTime(DeviceTime(pulse.lengthUs));
  }
}

}  // namespace orq
