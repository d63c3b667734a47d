#include "Shooter.h"

#include <algorithm>

#include "Progress.h"
#include "Signals.h"
#include "Text.h"

namespace orq::cli {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestNap{20};
constexpr milliseconds kVideoWait{100};

}  // namespace

Shooter::Shooter(Session& session) : session_(session) {}

Shooter::~Shooter() {
  session_.Camera().StopCapture();
}

std::string Shooter::Trouble(const std::string& otherwise) {
  std::string trouble = Camera().CaptureTrouble();
  if (trouble.empty()) trouble = Camera().LinkError();
  return trouble.empty() ? otherwise : trouble;
}

ShotResult SingleShooter::Take(Frame& frame, std::uint64_t number, std::uint64_t count) {
  reason_.clear();
  const ShotResult result = Expose(frame, number, count);
  // Joins the worker, and makes the camera forget an exposure that did not end well.
  Camera().StopCapture();
  if (result == ShotResult::Failed && Camera().DeviceLost()) return ShotResult::Lost;
  if (result == ShotResult::Failed && reason_.empty()) {
    reason_ = Trouble("the camera reported a failed exposure");
  }
  return result;
}

ShotResult SingleShooter::Expose(Frame& frame, std::uint64_t number, std::uint64_t count) {
  if (StopRequested()) return ShotResult::Interrupted;
  if (Camera().StartExposure() == 0) return ShotResult::Failed;
  Progress progress(ExposureUs(), number, count);
  const milliseconds nap = std::clamp(milliseconds(ExposureUs() / 10'000), milliseconds(1), kLongestNap);
  // The camera's worker gives up by itself when a frame is overdue.
  while (Camera().expStatus == ExpWorking) {
    progress.Update();
    if (WaitForStop(nap)) return ShotResult::Interrupted;
    if (Camera().DeviceLost()) return ShotResult::Lost;
  }
  const int size = Camera().FrameBytes();
  frame.bytes.resize(static_cast<std::size_t>(size));
  if (Camera().GetImageAfterExp(frame.bytes.data(), size) == 0) return ShotResult::Failed;
  frame.info = Camera().LastFrame();
  return ShotResult::Good;
}

VideoShooter::VideoShooter(Session& session) : Shooter(session) {
  if (session.Camera().StartCapture(false) == 0) session.Fail("cannot start the video");
}

bool VideoShooter::Dead() {
  if (Camera().StreamAlive()) {
    wasAlive_ = true;
    return false;
  }
  // Before its first sign of life the stream may still be on its way up.
  return wasAlive_ || Camera().expStatus == ExpFailed || !Camera().IsCaptureRunning();
}

ShotResult VideoShooter::TakeWithin(Frame& frame, std::chrono::milliseconds wait) {
  reason_.clear();
  const int size = Camera().FrameBytes();
  frame.bytes.resize(static_cast<std::size_t>(size));
  if (Camera().GetFrame(frame.bytes.data(), size, static_cast<int>(wait.count()), frame.info) != 0) {
    return ShotResult::Good;
  }
  if (Camera().DeviceLost()) return ShotResult::Lost;
  if (!Dead()) return ShotResult::Failed;
  reason_ = Trouble("the video has stopped");
  return ShotResult::Ended;
}

ShotResult VideoShooter::Take(Frame& frame, std::uint64_t, std::uint64_t) {
  for (;;) {
    if (StopRequested()) return ShotResult::Interrupted;
    const ShotResult result = TakeWithin(frame, kVideoWait);
    if (result != ShotResult::Failed) return result;
  }
}

}  // namespace orq::cli
