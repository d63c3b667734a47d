#include "camera/Shooter.h"

#include <algorithm>

#include "options/TriggerOptions.h"
#include "output/Progress.h"
#include "output/Signals.h"
#include "session/text/Units.h"

namespace orq::cli {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestNap{20};
constexpr milliseconds kVideoWait{100};
constexpr std::chrono::seconds kFrameGrace{10};  // beyond its time: computers stall

// Why a capture could not be started: the link's reason behind the library's words.
std::string ReasonOf(const Error& error, const std::string& otherwise) {
  const std::string text = error.what();
  const std::size_t colon = text.find(": ");
  return colon == std::string::npos ? otherwise : text.substr(colon + 2);
}

}  // namespace

Shooter::Shooter(Device& camera) : camera_(camera), mode_(camera->triggerMode()) {}

bool Shooter::SoftwareTriggered() const {
  return IsSoftwareTriggered(mode_);
}

bool Shooter::ExternallyTriggered() const {
  return mode_ != ORQ_MODE_FREE && !SoftwareTriggered();
}

bool Shooter::TriggerOverdue(Clock::time_point since, std::uint64_t framesBefore) {
  if (!patience_ || !ExternallyTriggered()) return false;
  // The trigger shows only in the frame that comes after its exposure.
  const auto limit = *patience_ + camera_->exposure();
  if (Clock::now() - since <= limit || camera_->counters().started != framesBefore) return false;
  reason_ = "no trigger came within " +
            session::ExposureText(static_cast<std::uint64_t>(std::chrono::microseconds(*patience_).count()));
  return true;
}

ShotResult SingleShooter::Take(Frame& frame, std::uint64_t number, std::uint64_t count) {
  reason_.clear();
  frame = Frame();  // its memory is for the frames to come
  if (StopRequested()) return ShotResult::Interrupted;
  try {
    if (!Start()) return ShotResult::Failed;
    const ShotResult result = Expose(frame, number, count);
    if (result != ShotResult::Good) camera_->abort();
    return result;
  } catch (const LostError&) {
    return ShotResult::Lost;
  }
}

// False, with a reason, when the camera does not expose.
bool SingleShooter::Start() {
  constexpr const char* kFailed = "the camera reported a failed exposure";
  try {
    camera_->startExposure();
  } catch (const LostError&) {
    throw;
  } catch (const Error& error) {
    reason_ = ReasonOf(error, kFailed);
    return false;
  }
  if (!SoftwareTriggered()) return true;
  try {
    camera_->trigger();
    return true;
  } catch (const LostError&) {
    throw;
  } catch (const Error& error) {
    reason_ = error.what();
    camera_->abort();
    return false;
  }
}

ShotResult SingleShooter::Expose(Frame& frame, std::uint64_t number, std::uint64_t count) {
  const auto begin = Clock::now();
  const auto exposure = static_cast<std::uint64_t>(camera_->exposure().count());
  // Nobody knows how much of the wait for a trigger is left.
  std::optional<Progress> progress;
  if (!ExternallyTriggered()) progress.emplace(exposure, number, count);
  const milliseconds nap = std::clamp(milliseconds(exposure / 10'000), milliseconds(1), kLongestNap);
  // The library gives up by itself when a frame is overdue.
  for (;;) {
    try {
      frame = camera_->wait(nap);
      return ShotResult::Good;
    } catch (const TimeoutError&) {
      if (progress) progress->Update();
      if (StopRequested()) return ShotResult::Interrupted;
      if (TriggerOverdue(begin, 0)) return ShotResult::Ended;
    } catch (const LostError&) {
      throw;
    } catch (const Error& error) {
      reason_ = error.what();
      return ShotResult::Failed;
    }
  }
}

VideoShooter::VideoShooter(Device& camera) : Shooter(camera) {
  camera.Do(
      "cannot start the video", [this](Camera& open) { video_.emplace(open.get()); });
}

bool VideoShooter::Resume() {
  triggeredAt_.reset();
  video_.reset();
  try {
    video_.emplace(camera_->get());
    return true;
  } catch (const Error& error) {
    reason_ = ReasonOf(error, "cannot start the video");
    return false;
  }
}

// Sends the trigger of the next frame, unless one is under way; false, with a reason, when that came to nothing.
bool VideoShooter::Trigger() {
  if (!SoftwareTriggered()) return true;
  if (!triggeredAt_) {
    triggeredAt_ = Clock::now();
    try {
      camera_->trigger();
      return true;
    } catch (const LostError&) {
      throw;
    } catch (const Error& error) {
      reason_ = error.what();
      return false;
    }
  }
  const std::chrono::microseconds limit(camera_->progress().limit_us);
  if (Clock::now() - *triggeredAt_ <= limit + kFrameGrace) return true;
  triggeredAt_.reset();
  reason_ = "no frame followed the trigger";
  return false;
}

ShotResult VideoShooter::TakeWithin(Frame& frame, std::chrono::milliseconds wait) {
  reason_.clear();
  frame = Frame();  // its memory is for the frames to come
  try {
    if (!Trigger()) return ShotResult::Failed;
    frame = camera_->wait(wait);
    triggeredAt_.reset();
    return ShotResult::Good;
  } catch (const TimeoutError&) {
    return ShotResult::Failed;
  } catch (const LostError&) {
    return ShotResult::Lost;
  } catch (const StateError&) {
    reason_ = "the video has stopped";
  } catch (const Error& error) {
    reason_ = error.what();
  }
  return ShotResult::Ended;
}

ShotResult VideoShooter::Take(Frame& frame, std::uint64_t, std::uint64_t) {
  const auto begin = Clock::now();
  const std::uint64_t framesBefore = camera_->counters().started;
  for (;;) {
    if (StopRequested()) return ShotResult::Interrupted;
    const ShotResult result = TakeWithin(frame, kVideoWait);
    if (result != ShotResult::Failed || !reason_.empty()) return result;
    if (TriggerOverdue(begin, framesBefore)) return ShotResult::Ended;
  }
}

}  // namespace orq::cli
