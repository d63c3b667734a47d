#include "session/camera/CameraFiles.h"

#include <chrono>

namespace orq::session {

FrameFacts ExpectedFrame(Camera& camera) {
  const Camera::Use device(camera);
  FrameFacts frame;
  frame.context = std::make_shared<const FileContext>(camera.Origin().context);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  frame.info.times.begin =
      std::chrono::duration_cast<std::chrono::microseconds>(now).count() * kTenthsPerMicrosecond;
  frame.info.region = device->Region();
  frame.info.bayerPattern = device->FramePattern();
  frame.info.exposureUs = device->exposureUs;
  frame.info.gain = device->gain;
  frame.info.offset = device->Brightness;
  return frame;
}

void CheckSaving(Camera& camera, const SaveOptions& options, std::uint64_t count) {
  const Pause aborted = camera.UntilAborted();
  bool goOn = true;
  FrameSaver(options).CheckBeforehand(ExpectedFrame(camera), count, [&] {
    goOn = !aborted(std::chrono::milliseconds(0));
    return goOn;
  });
  if (!goOn) throw Failure(Status::Cancelled, "interrupted before all file names were looked at");
}

}  // namespace orq::session
