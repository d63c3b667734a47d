// A USB port that records every request and answers as it was told.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "link/usb/UsbPort.h"
#include "unit/link/stream/ScriptedPipe.h"

namespace orq::test {

/// Thread rules as of the port it stands for, but not more: what the link must serialise is not guarded here.
class ScriptedPort : public UsbPort {
 public:
  struct Request {
    SetupPacket setup;
    Bytes data;  ///< as sent, or as answered
    unsigned timeoutMs = 0;
  };

  /// Answers a request: bytes moved or an error; fills `data` of a read. Default: everything works, reads
  /// bring 0xA5.
  std::function<int(const SetupPacket&, std::span<std::uint8_t>)> answer = [](const SetupPacket& setup,
                                                                              std::span<std::uint8_t> data) {
    if (setup.In()) std::fill(data.begin(), data.end(), std::uint8_t{0xA5});
    return static_cast<int>(data.size());
  };
  std::vector<Request> requests;
  ScriptedPipe pipe;
  UsbSpeed speed = UsbSpeed::Super;
  std::string lastError;

  libusb_context* Context() override { return reinterpret_cast<libusb_context*>(this); }
  void libusb_set_debug(libusb_context*, int) override {}
  libusb_device_handle* libusb_open_device_with_vid_pid_index(libusb_context*, std::uint16_t, std::uint16_t,
                                                              std::uint8_t) override {
    return reinterpret_cast<libusb_device_handle*>(this);
  }
  int libusb_set_configuration(libusb_device_handle*, int) override { return 0; }
  int libusb_claim_interface(libusb_device_handle*, int) override { return 0; }
  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = answer(setup, data);
    requests.push_back({setup, Bytes(data.begin(), data.end()), timeoutMs});
    char text[32];
    std::snprintf(text, sizeof text, "%02X %u %u", setup.request, unsigned{setup.value}, unsigned{setup.index});
    pipe.Log(text);
    return result;
  }
  UsbSpeed Speed() override { return speed; }
  BulkPipe& Pipe() override { return pipe; }
  void ReleaseInterface(int number) override { pipe.Log("release " + std::to_string(number)); }
  void CloseDevice() override { pipe.Log("close"); }
  std::vector<UsbDeviceEntry> List(std::uint16_t) override { return {}; }
  std::string LastError() const override { return lastError; }
  UsbError LastErrorCode() const override { return kUsbOk; }
};

}  // namespace orq::test
