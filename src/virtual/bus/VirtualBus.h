// A bus to which virtual cameras are attached.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "link/usb/UsbTypes.h"
#include "support/threads/Mutex.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {

/// Cameras in the order in which they were attached. One with `replug=` comes back by itself when somebody looks
/// for cameras after that time. Thread rule: any-thread.
class VirtualBus {
 public:
  /// One plugged-in camera; gone for good after an unplug (a replug makes a new one).
  struct Attachment {
    std::shared_ptr<VirtualCamera> camera;
    std::uint8_t address = 0;
    bool present = true;   ///< guarded by the bus
    bool claimed = false;  ///< some port has claimed the interface; guarded by the bus
  };

  /// Plugs the camera in (power cycles it); one that is plugged in already is pulled out first. False when the bus
  /// is full (255 cameras).
  bool Attach(std::shared_ptr<VirtualCamera> camera);
  /// Pulls it out: everything under way on it ends with no-device.
  void Unplug(const std::shared_ptr<VirtualCamera>& camera);
  /// The same for an attachment that turned out to be dead; nothing when the camera has been plugged in anew.
  void Unplug(const Attachment& attachment);
  std::vector<UsbDeviceEntry> List(std::uint16_t vendorId);
  /// The `index`-th attachment with these ids, or null.
  std::shared_ptr<Attachment> Find(std::uint16_t vendorId, std::uint16_t productId, std::uint8_t index);
  bool Present(const Attachment& attachment) const;
  /// False when another port holds the interface.
  bool Claim(Attachment& attachment);
  void Release(Attachment& attachment);
  bool Claimed(const Attachment& attachment) const;
  /// Refuses every open from now on with this code (0: none): a user without access, say.
  void RefuseOpens(UsbError error);
  UsbError OpenRefusal() const;

 private:
  void PullOut(const VirtualCamera& camera);
  void Return();
  std::uint8_t FreeAddress() ORQ_REQUIRES(mutex_);

  /// A camera that comes back by itself, and when.
  struct Absent {
    std::shared_ptr<VirtualCamera> camera;
    std::chrono::steady_clock::time_point until;
  };

  Mutex plugMutex_;  ///< one camera is plugged in or pulled out at a time
  mutable Mutex mutex_;
  std::vector<std::shared_ptr<Attachment>> attachments_ ORQ_GUARDED_BY(mutex_);
  std::vector<Absent> absent_ ORQ_GUARDED_BY(mutex_);
  std::uint8_t nextAddress_ ORQ_GUARDED_BY(mutex_) = 1;
  UsbError refusal_ ORQ_GUARDED_BY(mutex_) = kUsbOk;
};

}  // namespace orq
