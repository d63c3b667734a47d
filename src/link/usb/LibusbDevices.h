// The devices that libusb sees, in an order that stays the same from one listing to the next.
#pragma once

#include <libusb-1.0/libusb.h>

#include <compare>
#include <cstdint>
#include <vector>

#include "link/usb/UsbTypes.h"

namespace orq {

UsbSpeed LibusbSpeed(libusb_device* device);

/// A device of the system's list, held while it is looked at.
class LibusbDevice {
 public:
  /// Where it is plugged in.
  struct Place {
    std::uint8_t bus = 0;
    std::uint64_t path = 0;  ///< port numbers from the root, one byte each, the root's in the highest
    std::uint8_t address = 0;
    auto operator<=>(const Place&) const = default;
  };

  explicit LibusbDevice(libusb_device* device);
  LibusbDevice(LibusbDevice&& other) noexcept;
  LibusbDevice& operator=(LibusbDevice&& other) noexcept;
  ~LibusbDevice();

  libusb_device* Native() const { return device_; }
  const Place& Where() const { return place_; }
  std::uint16_t VendorId() const { return vendorId_; }
  std::uint16_t ProductId() const { return productId_; }
  /// True when the kernel has configured the device: just after plug-in it is still at it.
  bool IsConfigured() const;

 private:
  libusb_device* device_;
  Place place_;
  std::uint16_t vendorId_ = 0;
  std::uint16_t productId_ = 0;
};

/// Adds the devices with this vendor id to `found`, sorted by place. 0 or libusb's error.
int ListLibusbDevices(libusb_context* context, std::uint16_t vendorId, std::vector<LibusbDevice>& found);

}  // namespace orq
