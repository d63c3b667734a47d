#include "session/camera/CameraAutomatic.h"

namespace orq::session {
namespace {

constexpr std::chrono::milliseconds kLook{50};

bool IsAutomatic(const CModelCamera& device) {
  return device.AutoExp != 0 || device.AutoGain != 0 || (device.bIsColor != 0 && device.autoWB != 0);
}

void DemandAutomatic(const CModelCamera& device) {
  if (!IsAutomatic(device)) throw Failure(Status::State, "no control is automatic: make one automatic first");
}

// What has settled before says nothing of frames to come.
void BeginAnew(Camera& camera) {
  const Camera::Turn turn(camera);
  DemandAutomatic(*turn);
  if (!turn->IsCapturing())
    throw Failure(Status::State, "automatic control needs the frames of a video: start one");
  turn->StopAutoControlThr();  // a cycle that is under way does not count either
  RunAutomatic(*turn);
}

void DemandCapture(CModelCamera& device) {
  if (device.IsCapturing()) return;
  const std::string trouble = device.CaptureTrouble();
  if (!trouble.empty()) throw Failure(Status::Refused, trouble);
  throw Failure(Status::State, "the video has ended before automatic control had settled");
}

}  // namespace

void RunAutomatic(CModelCamera& device) {
  if (!IsAutomatic(device)) return device.StopAutoControlThr();
  device.autoSteadyCycles = 0;
  if (!device.autoThr.IsActive() && device.StartAutoControlThr() == 0)
    throw Failure(Status::Internal, "automatic control could not be started");
}

AutomaticState AutomaticNow(Camera& camera) {
  const Camera::Use device(camera);
  DemandAutomatic(*device);
  const AutomaticControl control(*device);
  return {control.Read(), control.AtRest(), control.OnTarget()};
}

namespace {

void Settle(Camera& camera, const Pause& pause, double seconds) {
  BeginAnew(camera);
  const Camera::Use device(camera);
  bool ended = false;
  const SettleSteps steps{.takeFrame = [&] { ended = pause(kLook); },
                          .mayGoOn =
                              [&](const AutoReading&) {
                                if (device->DeviceLost()) camera.Fail("automatic control has not settled");
                                if (!ended) DemandCapture(*device);
                                return !ended;
                              }};
  AutomaticControl(*device).Settle(seconds, steps);
}

}  // namespace

void AwaitSettled(Camera& camera, double seconds) {
  const Pause pause = camera.UntilStopped();
  const bool over = pause(std::chrono::milliseconds(0));
  try {
    Settle(camera, pause, seconds);
  } catch (const Failure& failure) {
    // Whoever closes the camera or ends its video cancels the wait, however far that has come.
    if (failure.Code() != Status::State || over || !pause(std::chrono::milliseconds(0))) throw;
    throw Failure(Status::Cancelled, "interrupted before automatic control had settled");
  }
}

}  // namespace orq::session
