// A USB bus on which virtual cameras appear to an unmodified libusb, in this process and in others.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "emulation/bus/EmulatedDevice.h"
#include "emulation/bus/UrbQueue.h"
#include "virtual/bus/VirtualCamera.h"

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace orq {

/// The process must run with umockdev's preload library, linked or preloaded. One bus per process: from its
/// making on, libusb here and in child processes that preload the library sees the bus's devices and no others.
/// One client process at a time hears of arrivals and departures. Any-thread.
class EmulatedBus {
 public:
  /// Null with a reason in `error`.
  static std::unique_ptr<EmulatedBus> Make(std::string& error);
  /// Pulls out every device; they must not be used any more.
  ~EmulatedBus();
  EmulatedBus(const EmulatedBus&) = delete;
  EmulatedBus& operator=(const EmulatedBus&) = delete;

  /// Plugs the camera in. It must not be on another bus. Null with a reason in `error`.
  std::shared_ptr<EmulatedDevice> Attach(std::shared_ptr<VirtualCamera> camera, std::string& error,
                                         const EmulatedDevice::PlugOptions& options = {});
  /// The devices in the order in which they were attached, plugged in or not. Not while another thread attaches.
  const std::vector<std::shared_ptr<EmulatedDevice>>& Devices() const { return devices_; }
  /// The same devices for commands.
  std::vector<PlugPoint*> PlugPoints() const;
  /// What all requests together may hold, and hold now.
  UsbMemory& Memory() { return memory_; }
  /// The folder of the emulated system.
  const std::filesystem::path& Root() const { return root_; }

 private:
  friend class EmulatedDevice;
  EmulatedBus();

  // With the mutex held.
  std::uint8_t NextAddress(int busNumber);
  /// Where the preloaded library calls for the device at this place; its folder exists.
  std::string MakeSocketPath(const SysfsPlace& place);
  /// Makes the system aware of a device whose node is at `terminal`.
  bool Announce(const SysfsPlace& place, const UsbIdentity& identity, const std::string& terminal,
                std::string& error);
  void ShowConfiguration(const SysfsPlace& place);
  void Withdraw(const SysfsPlace& place);

  std::mutex mutex_;  ///< guards all below, and the plugs of the devices
  UMockdevTestbed* testbed_ = nullptr;
  std::filesystem::path root_;
  UsbMemory memory_;
  std::map<int, std::uint8_t> lastAddress_;
  std::vector<std::shared_ptr<EmulatedDevice>> devices_;
};

}  // namespace orq
