// The two ways to a virtual camera: over an unmodified libusb, and in-process. The same tests run on both.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emulation/bus/EmulatedBus.h"
#include "link/usb/LibusbPort.h"
#include "unit/virtual/TestCamera.h"
#include "virtual/bus/VirtualBus.h"
#include "virtual/bus/VirtualPort.h"

namespace orq::test {

/// An emulated bus below libusb.
class LibusbDoor {
 public:
  static constexpr const char* kName = "Libusb";

  LibusbDoor() {
    std::string error;
    bus_ = EmulatedBus::Make(error);
    if (bus_ == nullptr) {
      ADD_FAILURE() << error;
      std::abort();  // nothing else can be tested
    }
  }

  std::size_t Attach(std::shared_ptr<VirtualCamera> camera, const EmulatedDevice::PlugOptions& options = {}) {
    std::string error;
    EXPECT_NE(bus_->Attach(std::move(camera), error, options), nullptr) << error;
    return bus_->Devices().size() - 1;
  }
  void Unplug(std::size_t number) { Device(number).Unplug(); }
  void Replug(std::size_t number) {
    std::string error;
    EXPECT_TRUE(Device(number).Plug({}, error)) << error;
  }
  std::shared_ptr<UsbPort> MakePort() { return MakeLibusbPort(); }

  EmulatedBus& Bus() { return *bus_; }
  EmulatedDevice& Device(std::size_t number) { return *bus_->Devices().at(number); }

 private:
  std::unique_ptr<EmulatedBus> bus_;
};

/// The in-process bus and its port.
class VirtualDoor {
 public:
  static constexpr const char* kName = "Virtual";

  std::size_t Attach(std::shared_ptr<VirtualCamera> camera) {
    bus_->Attach(camera);
    cameras_.push_back(std::move(camera));
    return cameras_.size() - 1;
  }
  void Unplug(std::size_t number) { bus_->Unplug(cameras_.at(number)); }
  void Replug(std::size_t number) { bus_->Attach(cameras_.at(number)); }
  std::shared_ptr<UsbPort> MakePort() { return MakeVirtualPort(bus_); }

  VirtualBus& Bus() { return *bus_; }

 private:
  std::shared_ptr<VirtualBus> bus_ = std::make_shared<VirtualBus>();
  std::vector<std::shared_ptr<VirtualCamera>> cameras_;
};

using BothDoors = ::testing::Types<LibusbDoor, VirtualDoor>;

struct DoorNames {
  template <typename Door>
  static std::string GetName(int) {
    return Door::kName;
  }
};

}  // namespace orq::test
