// Exposures, videos, and the frames that come of them.
#include <algorithm>

#include "session/camera/Camera.h"

namespace orq::session {
namespace {

using std::chrono::microseconds;
using Clock = std::chrono::steady_clock;

constexpr int kMemoryWaitMs = 2000;  // so long, others may hold all frames

}  // namespace

void Camera::StartExposure(microseconds exposure) {
  const Turn turn(*this);
  if (Device().IsCapturing()) {
    throw Failure(Status::State, capture_ == Capture::Video
                                     ? "a video runs: stop it before exposing"
                                     : "an exposure is under way: wait for it, or abort it");
  }
  if (exposure.count() != 0) {
    const ControlLimits& limits = Device().limits;
    if (exposure.count() < limits.exposureMin || exposure.count() > limits.exposureMax) {
      throw Failure(Status::Range, "the exposure must be from " + std::to_string(limits.exposureMin) + " to " +
                                       std::to_string(limits.exposureMax) + " us");
    }
    if (Device().SetControlValue(ORQ_EXPOSURE, static_cast<long>(exposure.count()), false) != CTRL_OK)
      Fail("the camera refused the exposure");
  }
  Start(Capture::Exposure);
}

void Camera::StartVideo() {
  const Turn turn(*this);
  if (Device().IsCapturing()) {
    throw Failure(Status::State, capture_ == Capture::Video
                                     ? "a video runs already"
                                     : "an exposure is under way: wait for it, or abort it");
  }
  Start(Capture::Video);
}

// With the turn held, and no capture under way.
void Camera::Start(Capture capture) {
  CModelCamera& device = Device();
  device.StopCapture();  // the last one's worker may still have to return
  device.Mailbox().Mute(false);
  device.Mailbox().SetGap(goOn_);
  capture_ = capture;
  exposureBegan_ = Clock::now();
  exposure_ = microseconds(device.exposureUs);
  const bool started =
      capture == Capture::Exposure ? device.StartExposure() != 0 : device.StartCapture(false) != 0;
  if (started) {
    goOn_ = false;
    return;
  }
  capture_ = Capture::None;
  Fail("the capture could not be started");
}

ExposureProgress Camera::Progress() {
  const std::unique_lock turn(turn_, std::try_to_lock);
  const Use use(*this);
  ExposureProgress progress;
  progress.running = use->IsCapturing();
  progress.exposure = microseconds(use->exposureUs);
  progress.limit = std::chrono::ceil<microseconds>(use->FrameTimeLimit());
  if (!turn.owns_lock() || capture_ == Capture::None) return progress;
  if (capture_ == Capture::Exposure) progress.exposure = exposure_;
  const auto elapsed = std::chrono::duration_cast<microseconds>(Clock::now() - exposureBegan_);
  progress.elapsed = progress.running ? std::min(elapsed, progress.exposure) : progress.exposure;
  return progress;
}

bool Camera::IsCapturing() {
  return Use(*this)->IsCapturing();
}

StreamCounters Camera::Counters() {
  const std::shared_lock life(life_);
  return Device().Counters();
}

void Camera::StopVideo() {
  const Turn turn(*this);
  if (capture_ != Capture::Video) return;
  StopNow();
}

// With the turn held.
void Camera::StopNow() {
  abortWanted_ = false;
  Device().Mailbox().Mute(true);
  WakeWaiters();
  EndCapture();
}

// With the turn held.
void Camera::EndCapture() {
  Device().StopCapture();
  capture_ = Capture::None;
  goOn_ = false;
}

// A frame that nobody has fetched yet is left alone when its exposure is over. Whoever begins to wait after this
// is not cancelled by the device's part of it, which comes later.
void Camera::Abort() {
  Abort(true);
}

void Camera::AbortCapture() {
  Abort(false);
}

void Camera::Abort(bool all) {
  DemandOpen();
  FrameMailbox& mailbox = Device().Mailbox();
  mailbox.Notify([this, all] {
    if (all) ++aborts_;
    ++stops_;
    abortWanted_ = true;
  });
  // None may come after this, however long the device takes; but a capture that has been started meanwhile has
  // finished this abort before.
  if (Device().IsCapturing()) mailbox.MuteIf([this] { return abortWanted_.load(); });
  LookSoon(false);
}

Pause Camera::UntilAborted() {
  return Until(aborts_);
}

Pause Camera::UntilStopped() {
  return Until(stops_);
}

Pause Camera::Until(const std::atomic<std::uint64_t>& count) {
  return [this, &count, before = count.load()](std::chrono::milliseconds time) {
    const auto over = [this, &count, before] { return count != before || state_ != State::Open; };
    Frames().Await(static_cast<int>(time.count()), over);
    return over();
  };
}

// With the turn held.
void Camera::FinishAbort() {
  if (!abortWanted_.exchange(false)) return;
  if (Device().IsCapturing()) Device().Mailbox().Mute(true);
  EndCapture();
}

// What has nothing to do with the video (a guide pulse, a warm-up, the focus motor) goes on.
void Camera::WakeWaiters() {
  Device().Mailbox().Notify([this] { ++stops_; });
}

void Camera::CancelAll() {
  Device().Mailbox().Notify([this] {
    ++aborts_;
    ++stops_;
  });
}

std::shared_ptr<FrameReader> Camera::OpenReader(ReadMode mode, std::size_t depth) {
  DemandOpen();
  auto reader = Device().Mailbox().OpenReader(mode, depth);
  if (!reader) {
    throw Failure(Status::Memory, "a camera has at most " + std::to_string(FrameMailbox::kMostReaders) +
                                      " readers: release one first");
  }
  return reader;
}

// Whoever waits for ever may be the one who holds all frames: that wait would never end.
FramePtr Camera::AwaitFrame(FrameReader* reader, int waitMs) {
  if (reader == nullptr) DemandOpen();
  const std::uint64_t stops = stops_;
  const auto goOn = [this, stops] { return stops_ == stops && state_ == State::Open; };
  for (;;) {
    const std::uint64_t noBuffer = Device().Mailbox().NoBuffer();
    FramePtr frame;
    const FrameMailbox::Result result =
        Device().AwaitFrame(reader, waitMs < 0 ? kMemoryWaitMs : waitMs, goOn, frame);
    if (result == FrameMailbox::Result::Frame) return frame;
    const bool starved = Device().Mailbox().NoBuffer() > noBuffer;
    if (result != FrameMailbox::Result::TimedOut || waitMs >= 0 || starved) FailWait(result, stops, starved);
  }
}

void Camera::FailWait(FrameMailbox::Result result, std::uint64_t stopsBefore, bool starved) {
  if (result == FrameMailbox::Result::Closed) throw Failure(Status::Cancelled, "the reader was released");
  if (result == FrameMailbox::Result::TimedOut) {
    if (starved) {
      throw Failure(Status::Memory,
                    "all memory for frames is in use: release frames that are no longer needed, or allow more");
    }
    throw Failure(Status::Timeout, "no frame came in time: wait again");
  }
  if (stops_ != stopsBefore) throw Failure(Status::Cancelled, "the capture was ended");
  DemandOpen();
  if (Device().DeviceLost()) Fail("no more frames come");
  const std::string trouble = Device().CaptureTrouble();
  if (!trouble.empty()) throw Failure(Device().CaptureLackedMemory() ? Status::Memory : Status::Refused, trouble);
  throw Failure(Status::State, "no capture runs: start an exposure or a video first");
}

void Camera::FitRegion(const FrameRegion& wanted, FrameRegion& fitted) {
  std::string reason;
  if (!Use(*this)->FitRegion(wanted, fitted, reason)) throw Failure(Status::Range, reason);
}

void Camera::SetRegion(const FrameRegion& wanted, FrameRegion& applied) {
  const Turn turn(*this);
  FrameRegion fitted;
  std::string reason;
  if (!turn->FitRegion(wanted, fitted, reason)) throw Failure(Status::Range, reason);
  if (turn->SetRegion(fitted, applied, reason)) return;
  if (turn->DeviceLost()) Fail("the region was not set");
  throw Failure(Status::Refused, reason);
}

FrameRegion Camera::Region() {
  return Use(*this)->Region();
}

}  // namespace orq::session
