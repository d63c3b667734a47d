#include "session/DarkSession.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <thread>

#include "image/hotpixels/HotPixelTable.h"
#include "models/cooling/SensorTemperature.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kNap{5};
constexpr int kMostFailuresInARow = 3;

DarkOutcome Fail(DarkResult result, std::string reason) {
  return {result, std::move(reason)};
}

std::uint64_t MicrosecondsSince(Clock::time_point begin) {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin).count());
}

std::int64_t NowUnixUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

FrameRegion WholeSensor(const CModelCamera& camera) {
  const ModelData& model = camera.Model();
  return {0, 0, model.maxWidth, model.maxHeight, 1, ORQ_IMG_RAW8};
}

}  // namespace

DarkSession::~DarkSession() {
  Restore();
}

DarkOutcome DarkSession::Failed(const std::string& what) const {
  std::string reason = camera_.CaptureTrouble();
  if (reason.empty() || camera_.DeviceLost()) reason = camera_.LinkError();
  return Fail(DarkResult::CameraFailed, reason.empty() ? what : what + ": " + reason);
}

DarkOutcome DarkSession::Collect(int frames, const DarkWatcher& watcher, DarkFacts& facts) {
  if (camera_.bOpened == 0) return Fail(DarkResult::Refused, "the camera is not open");
  if (frames < 0 || frames > kMostDarkFrames) {
    return Fail(DarkResult::Refused,
                "a dark is made of 1 to " + std::to_string(kMostDarkFrames) + " frames (0: by the exposure time)");
  }
  const FrameRegion whole = WholeSensor(camera_);
  FrameRegion fitted;
  std::string reason;
  const bool offered = camera_.FitRegion(whole, fitted, reason);
  if (!offered || fitted != whole) {
    return Fail(DarkResult::Refused,
                "a dark needs 8-bit frames of the whole sensor" + (offered ? "" : ": " + reason));
  }
  if (DarkOutcome outcome = Prepare(whole); !outcome.Done()) return outcome;

  // No frame can come before the first exposure: nobody sees a collection that is half set up.
  camera_.iDarkFrameCount = 0;
  const int usual = camera_.GettingDark(true, camera_.exposureUs);
  const int wanted = frames == 0 ? usual : frames;
  camera_.iDarkFrames = wanted;
  int taken = 0;
  DarkOutcome outcome = TakeFrames(wanted, watcher, taken);
  if (outcome.Done())
    Describe(taken, facts);
  else
    EndCollection();
  return outcome;
}

DarkOutcome DarkSession::Prepare(const FrameRegion& whole) {
  if (!before_) {
    before_ = Before{.region = camera_.Region(),
                     .mode = camera_.camMode,
                     .capturing = camera_.IsCaptureRunning(),
                     .snap = camera_.snapMode != 0,
                     .autoControl = camera_.autoThr.IsActive()};
  }
  camera_.StopAutoControlThr();  // it would change the exposure between frames
  camera_.StopCapture();
  constexpr CAM_MODE kFreeRunning = 0;
  if (camera_.camMode != kFreeRunning && camera_.SetCameraMode(kFreeRunning) != MODE_OK)
    return Failed("cannot leave the trigger mode");
  FrameRegion applied;
  std::string reason;
  if (!camera_.SetRegion(whole, applied, reason)) return Fail(DarkResult::CameraFailed, reason);
  return {};
}

DarkOutcome DarkSession::TakeFrames(int frames, const DarkWatcher& watcher, int& taken) {
  int failuresInARow = 0;
  int before = 0;
  while (camera_.bGettingDark != 0) {
    before = camera_.iDarkFrameCount;
    const DarkProgress next{
        .frame = taken + 1, .frames = frames, .elapsedUs = 0, .exposureUs = camera_.exposureUs};
    switch (Expose(next, watcher)) {
      case Shot::Good:
        ++taken;
        failuresInARow = 0;
        break;
      case Shot::Failed:
        if (++failuresInARow == kMostFailuresInARow)
          return Failed(std::to_string(failuresInARow) + " frames of the dark in a row failed");
        break;
      case Shot::Cancelled:
        return Fail(DarkResult::Cancelled, "stopped while the dark was collected");
      case Shot::Lost:
        return Failed("the camera was lost while the dark was collected");
    }
  }
  // A collection that has come to its end has put the count back.
  const bool complete = before + 1 >= camera_.iDarkFrames && camera_.iDarkFrameCount == 0;
  return complete ? DarkOutcome{} : Fail(DarkResult::Cancelled, "somebody else ended the collection");
}

DarkSession::Shot DarkSession::Expose(DarkProgress progress, const DarkWatcher& watcher) {
  const auto mayGoOn = [&] { return !watcher || watcher(progress); };
  if (!mayGoOn()) return Shot::Cancelled;
  if (camera_.StartExposure() == 0) return camera_.DeviceLost() ? Shot::Lost : Shot::Failed;
  const auto begin = Clock::now();
  bool stopped = false;
  // The camera's worker gives up by itself when a frame is overdue.
  while (camera_.expStatus == ExpWorking && !stopped) {
    std::this_thread::sleep_for(kNap);
    progress.elapsedUs = MicrosecondsSince(begin);
    stopped = !mayGoOn();
  }
  camera_.StopCapture();  // joins the worker: nothing is added to the dark from here on
  if (camera_.expStatus == ExpSuccess) return Shot::Good;  // also when the wish to stop came with the frame
  if (stopped) return Shot::Cancelled;
  return camera_.DeviceLost() ? Shot::Lost : Shot::Failed;
}

// With the worker gone.
void DarkSession::EndCollection() {
  camera_.GettingDark(false, camera_.exposureUs);
  const bool replaced = camera_.iDarkFrameCount != 0;
  camera_.iDarkFrameCount = 0;
  if (replaced) camera_.UsingDark(false);
}

void DarkSession::Describe(int frames, DarkFacts& facts) const {
  facts = DarkFacts{};
  facts.exposureUs = camera_.exposureUs;
  facts.gain = camera_.gain;
  facts.offset = camera_.Brightness;
  facts.sensorC = ReadSensorTemperature(camera_);
  facts.takenUnixUs = NowUnixUs();
  facts.readout = session::ReadoutOf(camera_);
  facts.frames = frames;
  // The worker that wrote these has been joined.
  facts.average = camera_.iDarkAverage;
  const std::span<const std::uint32_t> hot(camera_.pDarkPixList.get(),
                                           static_cast<std::size_t>(camera_.iDarkPixCount));
  const auto width = static_cast<std::uint32_t>(camera_.iDarkWidth);
  const auto rowOf = [width](std::uint32_t position) { return position / width; };
  for (auto first = hot.begin(); first != hot.end();) {
    const std::uint32_t row = rowOf(*first);
    const auto end =
        std::find_if(first, hot.end(), [&](std::uint32_t position) { return rowOf(position) != row; });
    const auto count = static_cast<std::uint32_t>(end - first);
    if (IsBadRow(count, width))
      ++facts.badRows;
    else
      facts.hotPixels += count;
    first = end;
  }
}

DarkOutcome DarkSession::Restore() {
  if (!before_) return {};
  camera_.StopCapture();
  const Before& before = *before_;
  FrameRegion applied;
  std::string reason;
  if (!camera_.SetRegion(before.region, applied, reason))
    return Fail(DarkResult::CameraFailed, "cannot restore the region: " + reason);
  if (camera_.camMode != before.mode && camera_.SetCameraMode(before.mode) != MODE_OK)
    return Failed("cannot restore the trigger mode");
  camera_.snapMode = before.snap ? 1 : 0;
  camera_.expStatus = ExpIdle;  // the last exposure was the dark's, and its frame is nobody's
  if (before.capturing && camera_.StartCapture(before.snap) == 0) return Failed("cannot start the capture again");
  if (before.autoControl && camera_.StartAutoControlThr() == 0)
    return Fail(DarkResult::CameraFailed, "cannot start automatic control again");
  before_.reset();
  return {};
}

}  // namespace orq
