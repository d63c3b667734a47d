// One emulated camera that can be plugged in, pulled out and plugged in again.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "emulation/bus/DeviceNode.h"
#include "emulation/bus/Sysfs.h"
#include "emulation/common/PlugPoint.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {

class EmulatedBus;

/// Made by `EmulatedBus::Attach`. Any-thread.
class EmulatedDevice : public PlugPoint, public std::enable_shared_from_this<EmulatedDevice> {
 public:
  /// How the next plug-in goes.
  struct PlugOptions {
    bool configured = true;  ///< false: the system has not yet chosen a configuration; see `Configure`
    unsigned mode = 0666;    ///< access rights of the device node
    CopyMode copy = CopyMode::Best;
  };

  VirtualCamera& Camera() const override { return *camera_; }
  const UsbIdentity& Identity() const { return identity_; }
  bool Plugged() const override;
  /// Bus and device number, as in lsusb; 0 while pulled out.
  int BusNumber() const { return identity_.superSpeed ? 2 : 1; }
  int Address() const;

  /// Plugs the camera in, power cycled and under a new device number; it must be pulled out. False with a reason
  /// in `error`.
  bool Plug(const PlugOptions& options, std::string& error);
  bool Replug(std::string& error) override;
  void Unplug() override;

  /// The system has set the configuration of a camera that was plugged in without one.
  void Configure();
  /// Access rights of the device node, as chmod.
  void SetMode(unsigned mode);
  void HaltFrames() override;
  void FailNextTransfer(int error) override;
  void Silence() override;

 private:
  friend class EmulatedBus;
  EmulatedDevice(EmulatedBus& bus, std::shared_ptr<VirtualCamera> camera, int port, UsbIdentity identity);

  SysfsPlace Place(bool configured) const;
  template <typename Action>
  void WithNode(Action&& action) const;

  EmulatedBus& bus_;
  const std::shared_ptr<VirtualCamera> camera_;
  const int port_;
  const UsbIdentity identity_;

  // Guarded by the bus.
  std::uint8_t address_ = 0;
  std::unique_ptr<DeviceNode> node_;
  std::vector<std::unique_ptr<DeviceNode>> old_;  ///< pulled out, perhaps still open in a client
};

}  // namespace orq
