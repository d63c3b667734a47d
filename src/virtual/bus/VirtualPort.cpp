#include "virtual/bus/VirtualPort.h"
#include "support/threads/Mutex.h"

#include <utility>

#include "link/WireProtocol.h"
#include "link/usb/UsbErrors.h"
#include "virtual/bus/VirtualPipe.h"

namespace orq {
namespace {

class VirtualPort : public UsbPort {
 public:
  explicit VirtualPort(std::shared_ptr<VirtualBus> bus) : bus_(std::move(bus)), pipe_(bus_) {}
  ~VirtualPort() override { CloseDevice(); }

  libusb_context* Context() override { return reinterpret_cast<libusb_context*>(this); }
  void libusb_set_debug(libusb_context*, int) override {}
  libusb_device_handle* libusb_open_device_with_vid_pid_index(libusb_context* context, std::uint16_t vendorId,
                                                              std::uint16_t productId,
                                                              std::uint8_t index) override;
  int libusb_set_configuration(libusb_device_handle* handle, int configuration) override;
  int libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber) override;
  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override;
  UsbSpeed Speed() override;
  BulkPipe& Pipe() override { return pipe_; }
  void ReleaseInterface(int interfaceNumber) override;
  void CloseDevice() override;
  std::vector<UsbDeviceEntry> List(std::uint16_t vendorId) override { return bus_->List(vendorId); }
  std::string LastError() const override { return lastError_.Text(); }
  UsbError LastErrorCode() const override { return lastError_.Code(); }

 private:
  using Attachment = VirtualBus::Attachment;

  libusb_device_handle* Handle() { return reinterpret_cast<libusb_device_handle*>(&handleTag_); }
  std::shared_ptr<Attachment> Device() const;
  bool Claimed() const;

  const std::shared_ptr<VirtualBus> bus_;
  VirtualPipe pipe_;
  char handleTag_ = 0;

  mutable Mutex mutex_;  ///< never held while a camera or the bus is called
  std::shared_ptr<Attachment> device_ ORQ_GUARDED_BY(mutex_);
  bool claimed_ ORQ_GUARDED_BY(mutex_) = false;
  UsbError claimError_ ORQ_GUARDED_BY(mutex_) = kUsbOk;
  LastUsbError lastError_;
};

// Opening and closing ----------------------------------------------------------------------------------------

libusb_device_handle* VirtualPort::libusb_open_device_with_vid_pid_index(libusb_context* context,
                                                                         std::uint16_t vendorId,
                                                                         std::uint16_t productId,
                                                                         std::uint8_t index) {
  if (context != Context()) return nullptr;
  if (Device() != nullptr) {
    lastError_.Note(kUsbBusy, "this program has the camera open already");
    return nullptr;
  }
  if (const UsbError refusal = bus_->OpenRefusal(); refusal != kUsbOk) {
    lastError_.Note(refusal);
    return nullptr;
  }
  auto found = bus_->Find(vendorId, productId, index);
  if (found == nullptr) {
    lastError_.Note(kUsbNotFound);
    return nullptr;
  }
  if (!pipe_.Start(found)) {
    lastError_.Note(kUsbNoMem);
    return nullptr;
  }
  const MutexLock lock(mutex_);
  device_ = std::move(found);
  claimError_ = kUsbOk;
  return Handle();
}

int VirtualPort::libusb_set_configuration(libusb_device_handle* handle, int configuration) {
  const auto device = Device();
  if (device == nullptr || handle != Handle()) return kUsbInvalidParam;
  if (!bus_->Present(*device)) return lastError_.Note(kUsbNoDevice);
  if (configuration != wire::kConfiguration) return lastError_.Note(kUsbNotFound);
  if (bus_->Claimed(*device)) return lastError_.Note(kUsbBusy);
  device->camera->SetConfiguration(configuration);
  return kUsbOk;
}

int VirtualPort::libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber) {
  const auto device = Device();
  if (device == nullptr || handle != Handle()) return kUsbInvalidParam;
  if (Claimed()) return kUsbOk;
  UsbError error = kUsbOk;
  if (!bus_->Present(*device))
    error = lastError_.Note(kUsbNoDevice);
  else if (interfaceNumber != wire::kInterface)
    error = lastError_.Note(kUsbNotFound);
  else if (!bus_->Claim(*device))
    error = lastError_.Note(kUsbBusy);
  if (error != kUsbOk) {
    const MutexLock lock(mutex_);
    claimError_ = error;
    return error;
  }
  pipe_.Enable(true);
  const MutexLock lock(mutex_);
  claimed_ = true;
  claimError_ = kUsbOk;
  return kUsbOk;
}

void VirtualPort::ReleaseInterface(int interfaceNumber) {
  std::shared_ptr<Attachment> device;
  {
    const MutexLock lock(mutex_);
    if (interfaceNumber != wire::kInterface || !std::exchange(claimed_, false)) return;
    device = device_;
  }
  pipe_.Enable(false);
  bus_->Release(*device);
}

void VirtualPort::CloseDevice() {
  if (Device() == nullptr) return;
  ReleaseInterface(wire::kInterface);
  pipe_.Stop();
  const MutexLock lock(mutex_);
  device_.reset();
}

// Control ----------------------------------------------------------------------------------------------------

int VirtualPort::ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned) {
  const auto device = Device();
  if (device == nullptr) return kUsbNoDevice;
  if (data.size() != setup.length) return kUsbInvalidParam;
  if (!bus_->Present(*device)) return lastError_.Note(kUsbNoDevice);
  if (!Claimed()) {
    const MutexLock lock(mutex_);
    return claimError_ != kUsbOk ? claimError_ : kUsbNotFound;  // the reason was noted when the claim was refused
  }
  const int result = device->camera->Control(setup, data);
  if (result == kUsbNoDevice) bus_->Unplug(*device);
  return result < 0 ? lastError_.Note(static_cast<UsbError>(result)) : result;
}

UsbSpeed VirtualPort::Speed() {
  const auto device = Device();
  return device != nullptr ? device->camera->Speed() : UsbSpeed::Unknown;
}

std::shared_ptr<VirtualBus::Attachment> VirtualPort::Device() const {
  const MutexLock lock(mutex_);
  return device_;
}

bool VirtualPort::Claimed() const {
  const MutexLock lock(mutex_);
  return claimed_;
}

}  // namespace

std::shared_ptr<UsbPort> MakeVirtualPort(std::shared_ptr<VirtualBus> bus) {
  return std::make_shared<VirtualPort>(std::move(bus));
}

}  // namespace orq
