// The USB port: the one door through which a camera object reaches a USB device.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "link/usb/BulkPipe.h"
#include "link/usb/UsbTypes.h"

struct libusb_context;
struct libusb_device_handle;

namespace orq {

/// One context with at most one open device. Two implementations: libusb (`LibusbPort`) and virtual cameras
/// (`VirtualPort`); one process can hold both. The first four operations bear libusb's names because
/// opening a camera is defined as these calls in this order.
///
/// Thread rules: `ControlTransfer`, `LastError` and the pipe's calls as stated there are any-thread; all
/// else is caller-serialised. Completions run on the port's own thread, which lives while a device is open.
class UsbPort {
 public:
  virtual ~UsbPort() = default;

  /// The context to pass to the calls below; opaque, null only when USB could not be initialised.
  virtual libusb_context* Context() = 0;

  virtual void libusb_set_debug(libusb_context* context, int level) = 0;
  /// Opens the `index`-th device (from 0) with the given ids. Waits, bounded, until the system has configured
  /// a device that has just been plugged in, and retries when the list still held a dead one. Null when there is
  /// no such device or it cannot be opened; `LastError` says why.
  virtual libusb_device_handle* libusb_open_device_with_vid_pid_index(libusb_context* context,
                                                                      std::uint16_t vendorId,
                                                                      std::uint16_t productId,
                                                                      std::uint8_t index) = 0;
  virtual int libusb_set_configuration(libusb_device_handle* handle, int configuration) = 0;
  /// A refused claim is remembered: control transfers then fail, and `LastError` says why.
  virtual int libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber) = 0;

  /// A blocking control transfer on endpoint 0: bytes moved, or a `UsbError`. `data` is the data stage
  /// (`setup.length` bytes). Not serialised here.
  virtual int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) = 0;

  /// Speed of the open device's connection.
  virtual UsbSpeed Speed() = 0;
  /// The frame endpoint of the open device.
  virtual BulkPipe& Pipe() = 0;
  virtual void ReleaseInterface(int interfaceNumber) = 0;
  /// Closes the device, ends the port's thread and leaves the context; no transfer may be in flight. The port
  /// can be opened again.
  virtual void CloseDevice() = 0;

  /// Devices with this vendor id, in the order in which the open call counts them.
  virtual std::vector<UsbDeviceEntry> List(std::uint16_t vendorId) = 0;

  /// The last failure as one line for a user: what happened and what to do. Empty when there was none.
  virtual std::string LastError() const = 0;
  virtual UsbError LastErrorCode() const = 0;
};

}  // namespace orq
