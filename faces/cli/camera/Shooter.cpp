#include "camera/Shooter.h"

#include <algorithm>

#include "output/Progress.h"
#include "output/Signals.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestNap{20};
constexpr milliseconds kVideoWait{100};
constexpr std::chrono::seconds kFrameGrace{10};  // beyond its time: computers stall

}  // namespace

Shooter::Shooter(Session& session) : session_(session) {}

Shooter::~Shooter() {
  Camera().StopCapture();
}

std::string Shooter::Trouble(const std::string& otherwise) {
  std::string trouble = Camera().CaptureTrouble();
  if (trouble.empty()) trouble = Camera().LinkError();
  return trouble.empty() ? otherwise : trouble;
}

bool Shooter::TriggerOverdue(Clock::time_point since, std::uint64_t framesBefore) {
  if (!patience_ || !ExternallyTriggered()) return false;
  // The trigger shows only in the frame that comes after its exposure.
  const auto limit = *patience_ + std::chrono::microseconds(ExposureUs());
  if (Clock::now() - since <= limit || Camera().Counters().started != framesBefore) return false;
  reason_ = "no trigger came within " +
            ExposureText(static_cast<std::uint64_t>(std::chrono::microseconds(*patience_).count()));
  return true;
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
  if (SoftwareTriggered() && !Camera().SoftTrigger(reason_)) return ShotResult::Failed;
  const auto begin = Clock::now();
  // Nobody knows how much of the wait for a trigger is left.
  std::optional<Progress> progress;
  if (!ExternallyTriggered()) progress.emplace(ExposureUs(), number, count);
  const milliseconds nap = std::clamp(milliseconds(ExposureUs() / 10'000), milliseconds(1), kLongestNap);
  // The camera's worker gives up by itself when a frame is overdue.
  while (Camera().expStatus == ExpWorking) {
    if (progress) progress->Update();
    if (WaitForStop(nap)) return ShotResult::Interrupted;
    if (Camera().DeviceLost()) return ShotResult::Lost;
    if (TriggerOverdue(begin, 0)) return ShotResult::Ended;
  }
  const int size = Camera().FrameBytes();
  frame.bytes.resize(static_cast<std::size_t>(size));
  if (Camera().GetImageAfterExp(frame.bytes.data(), size) == 0) return ShotResult::Failed;
  frame.info = Camera().LastFrame();
  frame.clock = ReadClockState();
  return ShotResult::Good;
}

VideoShooter::VideoShooter(Session& session) : Shooter(session) {
  if (session.Camera().StartCapture(false) == 0) session.Fail("cannot start the video");
}

bool VideoShooter::Resume() {
  wasAlive_ = false;
  triggeredAt_.reset();
  if (Camera().StartCapture(false) != 0) return true;
  reason_ = Trouble("cannot start the video");
  return false;
}

bool VideoShooter::Dead() {
  if (Camera().StreamAlive()) {
    wasAlive_ = true;
    return false;
  }
  // Before its first sign of life the stream may still be on its way up.
  return wasAlive_ || Camera().expStatus == ExpFailed || !Camera().IsCaptureRunning();
}

// Sends the trigger of the next frame, unless one is under way; false, with a reason, when that came to nothing.
bool VideoShooter::Trigger() {
  if (!SoftwareTriggered()) return true;
  if (!triggeredAt_) {
    triggeredAt_ = Clock::now();
    return Camera().SoftTrigger(reason_);
  }
  if (Clock::now() - *triggeredAt_ <= Camera().FrameTimeLimit() + kFrameGrace) return true;
  triggeredAt_.reset();
  reason_ = "no frame followed the trigger";
  return false;
}

ShotResult VideoShooter::TakeWithin(FramePtr& frame, std::chrono::milliseconds wait) {
  reason_.clear();
  frame = FramePtr();  // its memory is for the frames to come
  const auto goOn = [] { return true; };
  if (Trigger() &&
      Camera().AwaitFrame(nullptr, static_cast<int>(wait.count()), goOn, frame) == FrameMailbox::Result::Frame) {
    triggeredAt_.reset();
    return ShotResult::Good;
  }
  if (Camera().DeviceLost()) return ShotResult::Lost;
  if (!Dead()) return ShotResult::Failed;
  reason_ = Trouble("the video has stopped");
  return ShotResult::Ended;
}

ShotResult VideoShooter::Take(Frame& frame, std::uint64_t, std::uint64_t) {
  const auto begin = Clock::now();
  const std::uint64_t framesBefore = Camera().Counters().started;
  for (;;) {
    if (StopRequested()) return ShotResult::Interrupted;
    FramePtr shared;
    const ShotResult result = TakeWithin(shared, kVideoWait);
    if (result == ShotResult::Good) {
      frame.bytes.assign(shared->Pixels().begin(), shared->Pixels().end());
      frame.info = shared->Info();
      frame.clock = ReadClockState();
    }
    if (result != ShotResult::Failed || !reason_.empty()) return result;
    if (TriggerOverdue(begin, framesBefore)) return ShotResult::Ended;
  }
}

}  // namespace orq::cli
