// A scripted port with a flash chip that can be told to fail at numbered requests.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/RecordingCamera.h"

namespace orq::test {

class FlashPort : public FakePort {
 public:
  // The script: ordinals count from 1.
  std::set<int> refusedReads;
  std::set<int> refusedErases;
  std::set<int> flippedWrites;    ///< one bit of their first byte is stored wrong
  std::set<int> forgottenWrites;  ///< accepted, but nothing is stored
  bool refusesWritesAfterStoring = false;
  bool erasesNothing = false;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (result < 0) return result;
    if (setup.request == 0xC3 && refusedReads.contains(++reads_)) return kUsbPipe;
    if (setup.request == 0xC4) return Erase(setup.value);
    if (setup.request == 0xC2) {
      Store(std::uint32_t{setup.value} << 16U | setup.index, data);
      if (refusesWritesAfterStoring) return kUsbPipe;
    }
    return result;
  }

  std::vector<std::uint8_t> Bytes(std::uint32_t address, std::size_t count) const {
    std::vector<std::uint8_t> bytes(count, 0xFF);
    for (std::uint32_t i = 0; i < count; ++i)
      if (const auto found = flash.find(address + i); found != flash.end()) bytes[i] = found->second;
    return bytes;
  }
  void SetBytes(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    for (const std::uint8_t byte : bytes) flash[address++] = byte;
  }

  /// The setup stages of the transfers so far, without their data; forgets them.
  std::vector<std::string> TakeSetups() {
    std::vector<std::string> setups = TakeEvents();
    for (std::string& setup : setups) setup.resize(std::min<std::size_t>(setup.size(), 23));
    return setups;
  }

 private:
  int Erase(std::uint32_t sector) {
    if (refusedErases.contains(++erases_)) return kUsbPipe;
    if (!erasesNothing)
      flash.erase(flash.lower_bound(sector * 0x10000), flash.lower_bound((sector + 1) * 0x10000));
    return 0;
  }
  void Store(std::uint32_t address, std::span<const std::uint8_t> data) {
    ++writes_;
    if (forgottenWrites.contains(writes_)) return;
    for (std::uint32_t i = 0; i < data.size(); ++i) flash[address + i] = data[i];
    if (flippedWrites.contains(writes_)) flash[address] ^= 0x10U;
  }

  int reads_ = 0;
  int writes_ = 0;
  int erases_ = 0;
};

/// An opened camera on such a port.
class FlashCamera : public BareCamera {
 public:
  FlashCamera() {
    port = flash;
    UsePort(flash);
    OpenCamera(0);
    flash->TakeEvents();
  }
  std::shared_ptr<FlashPort> flash = std::make_shared<FlashPort>();
};

}  // namespace orq::test
