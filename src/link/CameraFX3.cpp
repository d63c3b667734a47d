// Opening, closing and the frame stream of the device link.
#include "link/CameraFX3.h"

#include <utility>

#include "link/LinkState.h"
#include "link/WireProtocol.h"
#include "link/stream/CirBuf.h"
#include "link/usb/LibusbPort.h"

namespace wire = orq::wire;

std::shared_ptr<orq::UsbPort> orq::LinkState::PortNow() {
  const orq::MutexLock lock(stateMutex);
  if (!port) port = orq::MakeLibusbPort();
  return port;
}

std::shared_ptr<orq::StreamEngine> orq::LinkState::Engine() const {
  const orq::MutexLock lock(stateMutex);
  return engine;
}

void orq::LinkState::SetStreamError(std::string text) {
  const std::string before = PortNow()->LastError();
  const orq::MutexLock lock(stateMutex);
  streamError = std::move(text);
  portErrorBefore = before;
}

CCameraFX3::CCameraFX3() : impl_(std::make_unique<orq::LinkState>(bOpened)) {}

CCameraFX3::~CCameraFX3() {
  CloseDevice();
}

void CCameraFX3::UsePort(std::shared_ptr<orq::UsbPort> port) {
  const orq::MutexLock lock(impl_->stateMutex);
  impl_->port = std::move(port);
}

orq::UsbPort& CCameraFX3::Port() {
  return *impl_->PortNow();
}

void CCameraFX3::CloseDevice() {
  const orq::MutexLock noStream(impl_->streamMutex);
  impl_->StopEngine();
  if (usbHandle != nullptr) {
    const orq::MutexLock lock(impl_->controlMutex);
    const auto port = impl_->PortNow();
    port->ReleaseInterface(wire::kInterface);
    port->CloseDevice();
    usbContext = nullptr;
  }
  usbHandle = nullptr;
  bOpened = 0;
  handleNumber = 0;
}

bool CCameraFX3::GetFirmwareVer(unsigned char* ver) {
  // The first request of every open: what was lost before is no longer.
  impl_->deviceLost = false;
  std::array<std::uint8_t, wire::kFirmwareVersionBytes> version{};
  if (!impl_->In(wire::kReqFirmwareVersion, 0, 0, version)) return false;
  firmwareVersion = version;
  if (ver != nullptr) std::copy(version.begin(), version.end(), ver);
  return true;
}

bool CCameraFX3::IsUSB3Host() {
  return usbHandle != nullptr && Port().Speed() >= orq::UsbSpeed::Super;
}

bool CCameraFX3::StartStream(CirBuf& ring, const orq::StreamFormat& format) {
  const orq::MutexLock lock(impl_->streamMutex);
  if (bOpened == 0) {
    impl_->SetStreamError("the camera is not open: open it first");
    return false;
  }
  if (format.PayloadBytes() == 0 || format.PayloadBytes() > ring.FrameBytes()) {
    impl_->SetStreamError("the frame does not fit the frame buffer: choose a smaller region");
    return false;
  }
  if (impl_->flashOperations != 0) {
    impl_->SetStreamError("the camera's flash is being read or written: start again when that is done");
    return false;
  }
  impl_->StopEngine();
  EnableGPIF32DQ(true);  // a program that died reading flash has left it released
  orq::StreamEngine::Output output{[this] { return FPGAStart(); }, [this] { FPGAStop(); }};
  auto engine = std::make_shared<orq::StreamEngine>(Port().Pipe(), ring, format, std::move(output));
  {
    const orq::MutexLock state(impl_->stateMutex);
    impl_->engine = engine;
    impl_->streamError.clear();
  }
  impl_->streaming = true;
  if (engine->Start()) return true;
  impl_->StopEngine();
  return false;
}

void CCameraFX3::StopStream() {
  const orq::MutexLock lock(impl_->streamMutex);
  impl_->StopEngine();
}

void orq::LinkState::StopEngine() {
  const auto running = Engine();
  if (!running || !streaming) return;
  running->Stop();
  if (running->DeviceLost()) deviceLost = true;
  if (!running->Error().empty()) SetStreamError(running->Error());
  streaming = false;
}

bool CCameraFX3::StreamAlive() const {
  const auto engine = impl_->Engine();
  return engine && engine->Alive();
}

orq::StreamCounters CCameraFX3::Counters() const {
  const auto engine = impl_->Engine();
  return engine ? engine->Counters() : orq::StreamCounters{};
}

bool CCameraFX3::DeviceLost() const {
  if (impl_->deviceLost) return true;
  const auto engine = impl_->Engine();
  return engine && impl_->streaming && engine->DeviceLost();
}

void CCameraFX3::LookForDevice() {
  if (bOpened != 0 && impl_->PortNow()->Pipe().Gone()) impl_->deviceLost = true;
}

void CCameraFX3::GiveUpAfterTimeout(bool on) {
  impl_->givesUp = on;
}

std::string CCameraFX3::LinkError() const {
  const auto engine = impl_->Engine();
  if (engine && impl_->streaming && !engine->Error().empty()) return engine->Error();
  const std::string portError = impl_->PortNow()->LastError();
  const orq::MutexLock lock(impl_->stateMutex);
  const bool portIsNewer = portError != impl_->portErrorBefore;
  return impl_->streamError.empty() || portIsNewer ? portError : impl_->streamError;
}
