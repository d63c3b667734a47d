// The vocabulary of the USB port.
#pragma once

#include <cstdint>
#include <string>

namespace orq {

/// Results of USB calls; the numbers are libusb's.
enum UsbError : int {
  kUsbOk = 0,
  kUsbIo = -1,
  kUsbInvalidParam = -2,
  kUsbAccess = -3,
  kUsbNoDevice = -4,
  kUsbNotFound = -5,
  kUsbBusy = -6,
  kUsbTimeout = -7,
  kUsbOverflow = -8,
  kUsbPipe = -9,
  kUsbInterrupted = -10,
  kUsbNoMem = -11,
  kUsbNotSupported = -12,
  kUsbOther = -99,
};

/// How a bulk transfer ended; the order is libusb's.
enum class TransferStatus : std::uint8_t { Completed, Error, TimedOut, Cancelled, Stall, NoDevice, Overflow };

enum class UsbSpeed : std::uint8_t { Unknown, Low, Full, High, Super, SuperPlus };

/// The eight bytes that begin a control transfer.
struct SetupPacket {
  std::uint8_t requestType = 0;
  std::uint8_t request = 0;
  std::uint16_t value = 0;
  std::uint16_t index = 0;
  std::uint16_t length = 0;

  bool In() const { return (requestType & 0x80U) != 0; }
};

inline constexpr std::uint8_t kVendorOut = 0x40;  ///< host to device, vendor, device
inline constexpr std::uint8_t kVendorIn = 0xC0;   ///< device to host, vendor, device

/// One camera as a port sees it before it is opened.
struct UsbDeviceEntry {
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::uint8_t index = 0;  ///< place among the devices with the same ids, from 0
  std::uint8_t bus = 0;
  std::uint8_t address = 0;
  UsbSpeed speed = UsbSpeed::Unknown;
};

}  // namespace orq
