#include "session/camera/Triggers.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace orq::session {
namespace {

Trig_Output_Pin PinOf(const Camera::Use& device, int output) {
  if (device->supportTrigger == 0) throw Failure(Status::Unsupported, "this camera has no trigger outputs");
  if (output != 0 && output != 1) throw Failure(Status::Range, "there are the trigger outputs 0 (A) and 1 (B)");
  return output == 0 ? TRIG_OUTPUT_PINA : TRIG_OUTPUT_PINB;
}

}  // namespace

std::vector<CAM_MODE> TriggerModes(Camera& camera) {
  _ORQ_SUPPORTED_MODE list;
  Camera::Use(camera)->GetCameraSupportedMode(&list);
  return {std::begin(list.modes), std::find(std::begin(list.modes), std::end(list.modes), -1)};
}

CAM_MODE TriggerMode(Camera& camera) {
  return Camera::Use(camera)->camMode;
}

void SetTriggerMode(Camera& camera, CAM_MODE mode) {
  const Camera::Turn turn(camera);
  switch (turn->SetCameraMode(mode)) {
    case MODE_OK:
      break;
    case MODE_CAPTURE_RUNNING:
      throw Failure(Status::State, "a capture runs: stop it before changing the camera mode");
    default:
      throw Failure(Status::Unsupported, "this camera does not offer camera mode " + std::to_string(mode));
  }
  if (turn->DeviceLost()) camera.Fail("the camera mode was not set");
}

TriggerPulse TriggerOutput(Camera& camera, int output) {
  const Camera::Use device(camera);
  ORQ_BOOL high = 0;
  long delay = 0;
  long length = 0;
  device->GetTrigOutPinConf(PinOf(device, output), &high, &delay, &length);
  return {high != 0, static_cast<std::int32_t>(delay), static_cast<std::int32_t>(length)};
}

void SetTriggerOutput(Camera& camera, int output, const TriggerPulse& pulse) {
  const Camera::Use device(camera);
  const Trig_Output_Pin pin = PinOf(device, output);
  if (pulse.delayUs < 0 || pulse.lengthUs < 0)
    throw Failure(Status::Range, "delay and length of a pulse must be 0 us or more");
  device->SetTrigOutPinConf(pin, pulse.high, pulse.delayUs, pulse.lengthUs);
  if (device->DeviceLost()) camera.Fail("the trigger output was not set");
}

void SendTrigger(Camera& camera) {
  const Camera::Use device(camera);
  std::string reason;
  if (device->SoftTrigger(reason)) return;
  if (device->DeviceLost()) camera.Fail("no trigger was sent");
  throw Failure(Status::State, reason);
}

}  // namespace orq::session
