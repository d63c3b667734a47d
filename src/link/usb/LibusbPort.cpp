#include "link/usb/LibusbPort.h"

#include <libusb-1.0/libusb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "link/WireProtocol.h"
#include "link/usb/LibusbDevices.h"
#include "link/usb/LibusbPipe.h"
#include "link/usb/UsbErrors.h"
#include "support/TextSink.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kOpenPatience = std::chrono::seconds(2);
constexpr auto kOpenPause = std::chrono::milliseconds(50);

/// One line of libusb's log, whole.
void PrintLogLine(libusb_context*, libusb_log_level, const char* line) {
  PrintText(TextStream::Error, line);
}

class LibusbPort : public UsbPort {
 public:
  ~LibusbPort() override { CloseDevice(); }

  libusb_context* Context() override;
  void libusb_set_debug(libusb_context* context, int level) override;
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
  std::vector<UsbDeviceEntry> List(std::uint16_t vendorId) override;
  std::string LastError() const override { return lastError_.Text(); }
  UsbError LastErrorCode() const override { return lastError_.Code(); }

 private:
  /// The device itself, once: libusb's error, or success with `handle_` set.
  int TryOpen(libusb_context* context, std::uint16_t vendorId, std::uint16_t productId, std::uint8_t index,
              bool mayBeUnconfigured);
  bool StartEvents();
  void StopEvents();
  void RunEvents();
  /// Remembers a failure, and only that; returns libusb's result as it is.
  int Note(int error);

  libusb_context* context_ = nullptr;
  std::atomic<libusb_device_handle*> handle_{nullptr};
  LibusbPipe pipe_;
  std::atomic<int> refusedClaim_{0};  // 0 or why the interface was not ours to use
  std::thread events_;
  std::atomic<bool> stopEvents_{false};

  LastUsbError lastError_;
};

libusb_context* LibusbPort::Context() {
  if (context_ != nullptr) return context_;
  const int error = libusb_init(&context_);
  if (error == LIBUSB_SUCCESS) return context_;
  context_ = nullptr;
  lastError_.Note(static_cast<UsbError>(error),
                  "USB could not be initialised: see that /dev/bus/usb exists and can be read");
  return nullptr;
}

void LibusbPort::libusb_set_debug(libusb_context* context, int level) {
  // A context's own callback would only add to what libusb writes to standard error, the process's replaces it. So
  // it is left alone until a camera's settings ask for the log.
  if (level > LIBUSB_LOG_LEVEL_NONE) ::libusb_set_log_cb(nullptr, PrintLogLine, LIBUSB_LOG_CB_GLOBAL);
    // Deprecated in favour of an option call, but the call that opening a camera is defined by.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  if (context != nullptr) ::libusb_set_debug(context, level);
#pragma GCC diagnostic pop
}

libusb_device_handle* LibusbPort::libusb_open_device_with_vid_pid_index(libusb_context* context,
                                                                        std::uint16_t vendorId,
                                                                        std::uint16_t productId,
                                                                        std::uint8_t index) {
  if (context == nullptr) return nullptr;
  if (handle_ != nullptr) {
    lastError_.Note(kUsbBusy, "this program has the camera open already");
    return nullptr;
  }
  refusedClaim_ = LIBUSB_SUCCESS;
  const auto deadline = Clock::now() + kOpenPatience;
  int error = LIBUSB_SUCCESS;
  while (true) {
    const bool lastTry = Clock::now() >= deadline;
    error = TryOpen(context, vendorId, productId, index, lastTry);
    // "No device": the list still held one that has just gone, or one that is not configured yet.
    if (error != LIBUSB_ERROR_NO_DEVICE || lastTry) break;
    std::this_thread::sleep_for(kOpenPause);
  }
  Note(error);
  return handle_;
}

int LibusbPort::TryOpen(libusb_context* context, std::uint16_t vendorId, std::uint16_t productId,
                        std::uint8_t index, bool mayBeUnconfigured) {
  std::vector<LibusbDevice> devices;
  const int listed = ListLibusbDevices(context, vendorId, devices);
  if (listed != LIBUSB_SUCCESS) return listed;
  std::erase_if(devices, [productId](const LibusbDevice& device) { return device.ProductId() != productId; });
  if (index >= devices.size()) return LIBUSB_ERROR_NOT_FOUND;
  const LibusbDevice& device = devices[index];
  if (!mayBeUnconfigured && !device.IsConfigured()) return LIBUSB_ERROR_NO_DEVICE;
  libusb_device_handle* handle = nullptr;
  const int error = libusb_open(device.Native(), &handle);
  if (error != LIBUSB_SUCCESS) return error;
  handle_ = handle;
  if (StartEvents()) {
    pipe_.SetHandle(handle);
    return LIBUSB_SUCCESS;
  }
  handle_ = nullptr;
  libusb_close(handle);
  return LIBUSB_ERROR_NO_MEM;
}

int LibusbPort::libusb_set_configuration(libusb_device_handle* handle, int configuration) {
  if (handle == nullptr) return kUsbInvalidParam;
  return Note(::libusb_set_configuration(handle, configuration));
}

int LibusbPort::libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber) {
  if (handle == nullptr) return kUsbInvalidParam;
  refusedClaim_ = Note(::libusb_claim_interface(handle, interfaceNumber));
  return refusedClaim_;
}

int LibusbPort::ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) {
  libusb_device_handle* const handle = handle_;
  if (handle == nullptr) return kUsbNoDevice;
  if (setup.length != data.size()) return kUsbInvalidParam;
  // The reason was noted when the claim was refused.
  if (refusedClaim_ != LIBUSB_SUCCESS) return refusedClaim_;
  const int result = libusb_control_transfer(handle, setup.requestType, setup.request, setup.value, setup.index,
                                             data.data(), setup.length, timeoutMs);
  return result < 0 ? Note(result) : result;
}

UsbSpeed LibusbPort::Speed() {
  libusb_device_handle* const handle = handle_;
  return handle == nullptr ? UsbSpeed::Unknown : LibusbSpeed(libusb_get_device(handle));
}

void LibusbPort::ReleaseInterface(int interfaceNumber) {
  if (handle_ != nullptr) libusb_release_interface(handle_, interfaceNumber);
}

void LibusbPort::CloseDevice() {
  pipe_.SetHandle(nullptr);
  StopEvents();
  if (libusb_device_handle* const handle = handle_.exchange(nullptr)) libusb_close(handle);
  if (context_ != nullptr) libusb_exit(std::exchange(context_, nullptr));
}

std::vector<UsbDeviceEntry> LibusbPort::List(std::uint16_t vendorId) {
  std::vector<UsbDeviceEntry> entries;
  if (Context() == nullptr) return entries;
  std::vector<LibusbDevice> devices;
  if (const int error = ListLibusbDevices(context_, vendorId, devices); error != LIBUSB_SUCCESS) {
    Note(error);
    return entries;
  }
  for (const LibusbDevice& device : devices) {
    UsbDeviceEntry entry;
    entry.vendorId = device.VendorId();
    entry.productId = device.ProductId();
    entry.index =
        static_cast<std::uint8_t>(std::count_if(entries.begin(), entries.end(), [&entry](const auto& other) {
          return other.productId == entry.productId;
        }));
    entry.bus = device.Where().bus;
    entry.address = device.Where().address;
    entry.speed = LibusbSpeed(device.Native());
    entries.push_back(entry);
  }
  return entries;
}

bool LibusbPort::StartEvents() {
  stopEvents_ = false;
  try {
    events_ = std::thread(&LibusbPort::RunEvents, this);
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void LibusbPort::StopEvents() {
  if (!events_.joinable()) return;
  stopEvents_ = true;
  libusb_interrupt_event_handler(context_);
  events_.join();
}

void LibusbPort::RunEvents() {
  while (!stopEvents_) {
    timeval patience{1, 0};
    const int error = libusb_handle_events_timeout_completed(context_, &patience, nullptr);
    // A failing poll must not spin.
    if (error != LIBUSB_SUCCESS && error != LIBUSB_ERROR_INTERRUPTED) std::this_thread::sleep_for(kOpenPause);
  }
}

int LibusbPort::Note(int error) {
  if (error != LIBUSB_SUCCESS) lastError_.Note(static_cast<UsbError>(error));
  return error;
}

}  // namespace

std::shared_ptr<UsbPort> MakeLibusbPort() {
  return std::make_shared<LibusbPort>();
}

std::string LibusbVersion() {
  const libusb_version* version = libusb_get_version();
  return std::to_string(version->major) + "." + std::to_string(version->minor) + "." +
         std::to_string(version->micro);
}

}  // namespace orq
