// Opening and closing.
#include "session/camera/Camera.h"

#include <utility>

#include "models/camera/OwnSettings.h"
#include "session/LinkFailure.h"
#include "session/camera/OpenTrouble.h"
#include "session/controls/FreshValues.h"
#include "settings/XmlStore.h"
#include "support/Hex.h"
#include "virtual/bus/VirtualBus.h"

namespace orq::session {
namespace {

constexpr const char* kClosed = "the camera is closed: open it again first";
constexpr const char* kLost = "the camera is gone: plug it in again and reopen it";

}  // namespace

std::shared_ptr<Camera> Camera::Open(std::string_view name, const OpenOptions& options) {
  std::shared_ptr<Camera> camera(new Camera());
  camera->OpenDevice(name, options);
  return camera;
}

void Camera::OpenDevice(std::string_view name, const OpenOptions& options) {
  options_ = options;
  named_ = FindCamera(name, {options.settings, options.settingsFolder});
  CModelCamera& device = Device();
  if (options.settings != SettingsUse::Off) {
    LoadOwnSettings(device);
    const std::string trouble = TakeXmlTrouble();
    if (!trouble.empty()) events_->Put(EventKind::Settings, "going on without kept settings: " + trouble);
  }
  const bool repairs = device.HPC != 0;
  if (options.frameMemoryBytes != 0) device.Mailbox().Pool().SetLimit(options.frameMemoryBytes);
  device.GiveUpAfterTimeout(true);
  device.ReadWithFrames(true);
  if (device.Model().gps) device.StampFrames(std::chrono::milliseconds(0));
  device.OnCaptureEnd([this] { LookSoon(true); });
  if (device.OpenCamera(named_.openIndex) == 0) throw OpenFailure(device, std::string(name));
  if (repairs && device.HPC == 0)
    events_->Put(EventKind::Uncorrected, "hot pixels are not repaired: their table cannot be loaded");
  KeepFacts(ReadFacts());
  // One that was found on is left on.
  long cools = 0;
  cools_ = device.GetControlValue(ORQ_COOLER_ON, &cools, nullptr) == CTRL_OK && cools == 1;
  const CameraFacts facts = Facts();
  ChangeOrigin([&](FrameOrigin& origin) {
    origin.context.instrument = facts.model;
    origin.context.shortModel = device.Model().key;
    origin.context.serial = facts.serial;
    origin.context.pixelSizeUm = device.Model().pixelSizeUm;
    origin.context.recorded = named_.recorded;
  });
  device.Mailbox().SetDoorbell([events = events_.get()](bool waits) { events->FrameWaits(waits); });
  state_ = State::Open;
  watcher_ = std::thread(&Camera::Watch, this);
}

CameraFacts Camera::ReadFacts() {
  CModelCamera& device = Device();
  CameraFacts facts;
  facts.model = device.modelName;
  _ORQ_ID id{};
  if (device.GetSerialNumber(&id)) facts.serial = Hex(id.id);
  if (device.GetIDFromSPI(&id)) facts.userId = IdText(id);
  const auto& version = device.firmwareVersion;
  facts.firmware =
      std::to_string(version[0]) + "." + std::to_string(version[1]) + "." + std::to_string(version[2]);
  facts.usb3 = device.usb3Host != 0;
  facts.isVirtual = named_.bus != nullptr;
  return facts;
}

void Camera::KeepFacts(CameraFacts facts) {
  const MutexLock lock(factsMutex_);
  facts_ = std::move(facts);
}

void Camera::RefreshFacts() {
  const Use use(*this);
  KeepFacts(ReadFacts());
}

Camera::~Camera() {
  {
    const MutexLock lock(watchMutex_);
    ending_ = true;
  }
  watchChanged_.notify_one();
  if (watcher_.joinable()) watcher_.join();
  if (!named_.camera) return;
  if (state_ == State::Open) {
    Device().StopCapture();
    Device().CloseCamera();
  }
  Device().Mailbox().SetDoorbell({});
  named_.camera.reset();  // its workers call this object
}

void Camera::Close() {
  if (flashWork_)
    throw Failure(Status::Busy, "the camera's flash is being read or written: wait for it, or abort it");
  Leave();
}

void Camera::Leave() {
  state_ = State::Closed;
  CancelAll();
  const std::lock_guard turn(turn_);
  state_ = State::Closed;  // whoever had the turn may have opened it again,
  CancelAll();             // and others may wait since then
  const std::unique_lock life(life_);
  abortWanted_ = false;
  Device().StopCapture();
  Device().CloseCamera();
  capture_ = Capture::None;
  goOn_ = false;
}

void Camera::Reopen() {
  const std::lock_guard turn(turn_);
  if (state_ == State::Open) {
    // The cable may just have been pulled: an open camera that is gone is not open.
    Device().LookForDevice();
    if (!Device().DeviceLost()) return;
    BecomeLost();
  }
  ReopenNow();
  goOn_ = false;
}

// With the turn held.
void Camera::ReopenNow() {
  CModelCamera& device = Device();
  const std::unique_lock life(life_);
  device.StopCapture();
  device.CloseCamera();
  const std::string serial = Facts().serial;
  const auto index = FindAgain(named_, serial);
  if (!index) {
    if (FindAgain(named_, {})) {
      throw Failure(Status::Refused,
                    "another camera of this model is plugged in: plug in the one with serial number " + serial +
                        ", or open the other one as a new camera");
    }
    throw Failure(Status::NotFound, "the camera is not there: plug it in");
  }
  const std::int32_t bandwidth = device.bandwidthPerc;  // opening chooses its own
  if (device.OpenCamera(*index) == 0) throw OpenFailure(device, "serial:" + serial);
  CameraFacts facts = ReadFacts();
  if (facts.serial != serial) {
    device.CloseCamera();
    throw Failure(Status::Refused, "another camera has been plugged in meanwhile");
  }
  KeepFacts(std::move(facts));
  device.SetFPSPerc(bandwidth, device.AutoFPS != 0);
  if (cools_) device.SetControlValue(ORQ_COOLER_ON, 1, false);
  capture_ = Capture::None;
  abortWanted_ = false;
  state_ = State::Open;
}

CameraFacts Camera::Facts() {
  const MutexLock lock(factsMutex_);
  return facts_;
}

std::string Camera::LastBackup() {
  const MutexLock lock(factsMutex_);
  return lastBackup_;
}

void Camera::NoteBackup(const std::string& path) {
  const MutexLock lock(factsMutex_);
  lastBackup_ = path;
}

std::int64_t Camera::DefaultOf(const Control& control) {
  const std::vector<Control> controls = ListControls(*Use(*this));
  const MutexLock lock(factsMutex_);
  if (defaults_.empty()) {
    const FreshValues fresh(Device());
    for (const Control& one : controls) defaults_[one.id] = fresh.Of(one).value_or(0);
  }
  return defaults_[control.id];
}

FrameOrigin Camera::Origin() {
  const MutexLock lock(factsMutex_);
  return origin_;
}

void Camera::ChangeOrigin(const std::function<void(FrameOrigin&)>& change) {
  const MutexLock lock(factsMutex_);
  FrameOrigin changed = origin_;
  change(changed);
  origin_ = changed;
  Frames().SetOrigin(std::make_shared<const FrameOrigin>(std::move(changed)));
}

void Camera::DemandOpen() const {
  switch (state_) {
    case State::Open:
      return;
    case State::Lost:
      throw Failure(Status::Lost, kLost);
    case State::Closed:
      throw Failure(Status::State, kClosed);
  }
}

void Camera::Fail(const std::string& what) {
  LookSoon(false);  // it may be gone
  throw LinkFailure(Device(), what);
}

Camera::Use::Use(Camera& camera) : camera_(camera.Device()) {
  camera.DemandOpen();  // before the lock: whoever closes must not wait for a queue of users
  lock_ = std::shared_lock(camera.life_);
  camera.DemandOpen();
}

Camera::Turn::Turn(Camera& camera) : camera_(camera), lock_(camera.turn_), aborts_(camera.aborts_) {
  camera.DemandOpen();
  camera.FinishAbort();
  // A single exposure's frame is there a moment before its worker has gone, which services take for a capture.
  camera.Device().AwaitEndingWorker();
}

void Camera::UnplugVirtual() {
  if (!named_.bus) throw Failure(Status::Unsupported, "only a virtual camera can be unplugged by a program");
  named_.bus->Unplug(named_.device);
}

void Camera::ReplugVirtual() {
  if (!named_.bus) throw Failure(Status::Unsupported, "only a virtual camera can be plugged in by a program");
  named_.bus->Attach(named_.device);
}

}  // namespace orq::session
