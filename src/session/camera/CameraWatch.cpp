// The camera's own thread: the device's part of an abort, and what a program is told without asking.
#include <algorithm>
#include <exception>
#include <utility>

#include "link/WireProtocol.h"
#include "session/camera/Camera.h"
#include "session/camera/OpenTrouble.h"
#include "support/DbgPrint.h"

namespace orq::session {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{250};
constexpr std::chrono::seconds kLookAgain{2};  // at a device that is there and could not be opened

}  // namespace

void Camera::Watch() {
  MutexLock lock(watchMutex_);
  while (!ending_) {
    lock.WaitFor(watchChanged_, kLook, [this]() ORQ_REQUIRES(watchMutex_) { return ending_ || look_; });
    if (ending_) return;
    look_ = false;
    const bool ended = std::exchange(captureEnded_, false);
    lock.Unlock();
    try {
      if (abortWanted_) RunAbort();
      Look(ended);
    } catch (const std::exception& trouble) {
      // Without memory, or a port to look at: the next look may have it.
      DbgPrint(-1, "Watch", "the camera could not be looked at: %s\n", trouble.what());
    }
    lock.Lock();
  }
}

void Camera::LookSoon(bool captureEnded) {
  {
    const MutexLock lock(watchMutex_);
    look_ = true;
    captureEnded_ = captureEnded_ || captureEnded;
  }
  watchChanged_.notify_one();
}

void Camera::RunAbort() {
  const std::lock_guard turn(turn_);  // whoever has it now finishes the abort when it is not theirs to be aborted
  if (state_ == State::Open) FinishAbort();
}

void Camera::Look(bool captureEnded) {
  switch (state_) {
    case State::Open: {
      const std::shared_lock life(life_);
      if (state_ != State::Open) return;
      Device().LookForDevice();
      if (Device().DeviceLost()) break;
      if (captureEnded) TellFailure();
      TellCooling();
      TellGps();
      return;
    }
    case State::Lost:
      return LookForReturn();
    case State::Closed:
      return;
  }
  NoticeLoss();
}

void Camera::NoticeLoss() {
  const std::lock_guard turn(turn_);
  if (Device().DeviceLost()) BecomeLost();  // it may have been reopened meanwhile
}

// With the turn held. The device is closed at once, so that it can be looked for; whoever waits learns that it is
// gone.
void Camera::BecomeLost() {
  State open = State::Open;
  if (!state_.compare_exchange_strong(open, State::Lost)) return;
  Frames().Notify([] {});  // who waits with the device in use lets go of it
  const std::unique_lock life(life_);
  Device().StopCapture();
  // One that did not get going after the last loss is still to go on.
  goOn_ = options_.resume && (goOn_ || capture_ == Capture::Video) && !abortWanted_;
  Device().CloseCamera();
  capture_ = Capture::None;
  abortWanted_ = false;
  justLost_ = true;
  events_->Put(EventKind::Lost, "the camera is gone: check its cable and its power");
}

// Each look opens what is there: only when something has changed, or after a while.
void Camera::LookForReturn() {
  if (justLost_.exchange(false)) {
    seen_.clear();
    lookedAt_ = {};
    returned_ = false;
  }
  if (returned_ && !options_.resume) return;
  auto devices = named_.makePort()->List(wire::kVendorId);
  std::erase_if(
      devices,
      [this](const UsbDeviceEntry& device) {
        return device.productId != static_cast<std::uint16_t>(Device().iPID);
      });
  const auto same = [](const UsbDeviceEntry& a, const UsbDeviceEntry& b) {
    return a.bus == b.bus && a.address == b.address;
  };
  const bool changed = !std::ranges::equal(devices, seen_, same);
  seen_ = devices;
  const auto now = Clock::now();
  if (devices.empty() || (!changed && now - lookedAt_ < kLookAgain)) return;
  lookedAt_ = now;
  const std::lock_guard turn(turn_);
  if (state_ != State::Lost) return;
  if (options_.resume) return Resume();
  if (!FindAgain(named_, Facts().serial)) return;
  returned_ = true;
  events_->Put(EventKind::Returned, "the camera is back: reopen it");
}

// With the turn held.
void Camera::Resume() {
  try {
    ReopenNow();
    events_->Put(EventKind::Returned, "the camera is back and open again");
    if (goOn_) Start(Capture::Video);
  } catch (const Failure& failure) {
    // Not there yet, or gone again: looked for until it is.
    if (state_ != State::Open || Device().DeviceLost()) return;
    goOn_ = false;
    events_->Put(EventKind::ExposureFailed, failure.what());
  }
}

void Camera::TellFailure() {
  if (Device().IsCapturing()) return;
  const std::string trouble = Device().CaptureTrouble();
  if (!trouble.empty()) events_->Put(EventKind::ExposureFailed, trouble);
}

void Camera::TellCooling() {
  const std::string trouble = Device().CoolerTrouble();
  if (trouble == coolerTrouble_) return;
  coolerTrouble_ = trouble;
  events_->Put(EventKind::CoolerTrouble, trouble);
}

void Camera::TellGps() {
  const FrameInfo info = Frames().LastPublished();
  if (info.gps.state == GpsState::None) return;
  const bool has = HasGpsTimes(info.gps.state);
  if (gpsTimes_.value_or(true) == has) return;
  gpsTimes_ = has;
  events_->Put(has ? EventKind::GpsBack : EventKind::GpsLost,
               has ? "frames have GPS time again" : "frames have no GPS time: they have the computer's");
}

}  // namespace orq::session
