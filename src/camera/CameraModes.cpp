// Camera modes and trigger outputs.
#include "camera/CameraBase.h"
#include "camera/CameraModeTable.h"
#include "camera/TriggerSettings.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"
#include "support/Saturated.h"

namespace {

bool IsOutputPin(Trig_Output_Pin pin) {
  return pin == TRIG_OUTPUT_PINA || pin == TRIG_OUTPUT_PINB;
}

}  // namespace

void CCameraBase::CameraModeCheck() {
  unsigned char fpgaType = 0;
  ReadFPGAREG(orq::wire::kFpgaType, &fpgaType);
  const orq::TriggerSupport support = orq::TriggerSupportOf(fpgaType);
  supportTrigger = support.any;
  supportModes1to3 = support.modes1to3;
  supportModes4to6 = support.modes4to6;
}

int CCameraBase::GetCameraSupportedMode(_ORQ_SUPPORTED_MODE* modes) {
  if (modes == nullptr) return 0;
  orq::ListModes(orq::TriggerSupportOf(*this), *modes);
  return 1;
}

int CCameraBase::SetCameraMode(CAM_MODE mode) {
  DbgPrint(-1, "SetCameraMode", "set camera mode %d\n", mode);
  AwaitEndingWorker();
  if (IsCaptureRunning()) return MODE_CAPTURE_RUNNING;
  if (!orq::IsModeOffered(orq::TriggerSupportOf(*this), mode)) return MODE_NOT_OFFERED;
  if (mode == camMode) return MODE_OK;
  SelectCameraMode(mode);
  camMode = mode;
  return MODE_OK;
}

int CCameraBase::SelectCameraMode(CAM_MODE mode) {
  if (IsCaptureRunning()) StopCapture();
  FPGAStop();
  if (mode != camMode) orq::ProgramTriggerInput(*this, mode, normalModeFPGATrigger != 0);
  camMode = mode;
  SetExp(exposureUs, AutoExp != 0);
  return 1;
}

int CCameraBase::SetTrigOutPinConf(Trig_Output_Pin pin, bool pinHigh, long delay, long duration) {
  if (!IsOutputPin(pin)) return MODE_BAD_PIN;
  const orq::TriggerPulse pulse{pinHigh, orq::Saturated(delay), orq::Saturated(duration)};
  orq::ProgramTriggerOutput(*this, pin, pulse);
  const bool isA = pin == TRIG_OUTPUT_PINA;
  (isA ? pinAHigh : pinBHigh) = pulse.high;
  (isA ? pinADelay : pinBDelay) = pulse.delayUs;
  (isA ? pinADuration : pinBDuration) = pulse.lengthUs;
  return MODE_OK;
}

int CCameraBase::GetTrigOutPinConf(Trig_Output_Pin pin, ORQ_BOOL* pinHigh, long* delay, long* duration) {
  if (!IsOutputPin(pin)) return MODE_BAD_PIN;
  const bool isA = pin == TRIG_OUTPUT_PINA;
  if (pinHigh != nullptr) *pinHigh = (isA ? pinAHigh : pinBHigh) != 0 ? 1 : 0;
  if (delay != nullptr) *delay = isA ? pinADelay : pinBDelay;
  if (duration != nullptr) *duration = isA ? pinADuration : pinBDuration;
  return MODE_OK;
}
