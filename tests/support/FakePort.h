// A USB port that a test scripts: it answers opens, claims and control transfers and remembers all of them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "link/usb/UsbPort.h"

namespace orq::test {

/// The eight bytes of a control transfer's setup stage as they go over the wire, followed by its data bytes (out
/// only), as one string of hex pairs: "40 B5 00 00 01 00 00 00".
inline std::string WireText(const SetupPacket& setup, std::span<const std::uint8_t> data) {
  std::vector<std::uint8_t> bytes{setup.requestType,
                                  setup.request,
                                  static_cast<std::uint8_t>(setup.value & 0xFFU),
                                  static_cast<std::uint8_t>(setup.value >> 8U),
                                  static_cast<std::uint8_t>(setup.index & 0xFFU),
                                  static_cast<std::uint8_t>(setup.index >> 8U),
                                  static_cast<std::uint8_t>(setup.length & 0xFFU),
                                  static_cast<std::uint8_t>(setup.length >> 8U)};
  if (!setup.In()) bytes.insert(bytes.end(), data.begin(), data.end());
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 4> pair{};
    std::snprintf(pair.data(), pair.size(), "%02X", byte);
    if (!text.empty()) text += ' ';
    text += pair.data();
  }
  return text;
}

/// The endpoint of a device that streams nothing.
class DeadPipe : public BulkPipe {
 public:
  std::unique_ptr<BulkTransfer> MakeTransfer(int) override { return nullptr; }
  UsbError Submit(BulkTransfer&) override { return kUsbNoDevice; }
  void Cancel(BulkTransfer&) override {}
  UsbError ClearHalt() override { return kUsbNoDevice; }
  bool Gone() override { return false; }
};

class FakePort : public UsbPort {
 public:
  // The script.
  bool openFails = false;
  int configurationResult = kUsbOk;
  int claimResult = kUsbOk;
  UsbSpeed speed = UsbSpeed::Super;
  std::map<std::uint16_t, std::uint8_t> fpga;                         ///< registers; 0 unless set or written
  std::map<std::uint8_t, std::vector<std::uint8_t>> answers;          ///< data stage of an `in` request
  std::map<std::uint32_t, std::uint8_t> flash;                        ///< bytes by address; 0xFF unless set
  std::set<std::uint8_t> refusedRequests;                             ///< answered with a stall
  std::set<std::pair<std::uint8_t, std::uint16_t>> refusedRegisters;  ///< request and value, stalled
  bool unplugged = false;                                             ///< every transfer: no device

  /// Calls and control transfers in order, the transfers as hex. Cleared by `TakeEvents`.
  std::vector<std::string> TakeEvents() {
    const std::lock_guard lock(mutex_);
    return std::exchange(events_, {});
  }

  libusb_context* Context() override { return reinterpret_cast<libusb_context*>(&contextTag_); }
  libusb_device_handle* Handle() { return reinterpret_cast<libusb_device_handle*>(&handleTag_); }

  void libusb_set_debug(libusb_context* context, int level) override {
    Record("debug " + std::to_string(level) + (context == Context() ? "" : " of another context"));
  }
  libusb_device_handle* libusb_open_device_with_vid_pid_index(libusb_context* context, std::uint16_t vendorId,
                                                              std::uint16_t productId,
                                                              std::uint8_t index) override {
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "open %04X:%04X #%u%s", vendorId, productId, index,
                  context == Context() ? "" : " in another context");
    Record(text.data());
    return openFails ? nullptr : Handle();
  }
  int libusb_set_configuration(libusb_device_handle* handle, int configuration) override {
    Record("configuration " + std::to_string(configuration) + (handle == Handle() ? "" : " of another handle"));
    return configurationResult;
  }
  int libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber) override {
    Record("claim " + std::to_string(interfaceNumber) + (handle == Handle() ? "" : " of another handle"));
    return claimResult;
  }

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned) override {
    Record(WireText(setup, data));
    const std::lock_guard lock(mutex_);
    if (unplugged) return kUsbNoDevice;
    if (refusedRequests.contains(setup.request) || refusedRegisters.contains({setup.request, setup.value}))
      return kUsbPipe;
    return setup.In() ? Answer(setup, data) : Accept(setup);
  }

  UsbSpeed Speed() override { return speed; }
  BulkPipe& Pipe() override { return pipe_; }
  void ReleaseInterface(int interfaceNumber) override { Record("release " + std::to_string(interfaceNumber)); }
  void CloseDevice() override { Record("close"); }
  std::vector<UsbDeviceEntry> List(std::uint16_t) override { return {}; }
  std::string LastError() const override { return unplugged ? "unplugged" : ""; }
  UsbError LastErrorCode() const override { return unplugged ? kUsbNoDevice : kUsbOk; }

 private:
  void Record(std::string event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }

  int Answer(const SetupPacket& setup, std::span<std::uint8_t> data) {
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    if (setup.request == 0xD0 && !data.empty()) {
      data[0] = fpga[setup.value];
    } else if (setup.request == 0xC3) {
      const std::uint32_t address = std::uint32_t{setup.value} << 16U | setup.index;
      for (std::uint32_t i = 0; i < data.size(); ++i) {
        const auto found = flash.find(address + i);
        data[i] = found == flash.end() ? std::uint8_t{0xFF} : found->second;
      }
    } else if (const auto found = answers.find(setup.request); found != answers.end()) {
      const std::size_t count = std::min(found->second.size(), data.size());
      std::copy_n(found->second.begin(), count, data.begin());
      return static_cast<int>(count);
    }
    return static_cast<int>(data.size());
  }

  int Accept(const SetupPacket& setup) {
    if (setup.request == 0xD1) fpga[setup.value] = static_cast<std::uint8_t>(setup.index & 0xFFU);
    return setup.length;
  }

  mutable std::mutex mutex_;
  std::vector<std::string> events_;
  DeadPipe pipe_;
  int contextTag_ = 0;
  int handleTag_ = 0;
};

}  // namespace orq::test
