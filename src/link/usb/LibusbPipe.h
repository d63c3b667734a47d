// The frame endpoint on libusb.
#pragma once

#include "link/usb/BulkPipe.h"

struct libusb_device_handle;

namespace orq {

class LibusbPipe : public BulkPipe {
 public:
  /// The handle of the open device, or null. Only while no transfer exists.
  void SetHandle(libusb_device_handle* handle) { handle_ = handle; }

  std::unique_ptr<BulkTransfer> MakeTransfer(int bytes) override;
  UsbError Submit(BulkTransfer& transfer) override;
  void Cancel(BulkTransfer& transfer) override;
  UsbError ClearHalt() override;
  bool Gone() override;

 private:
  libusb_device_handle* handle_ = nullptr;
};

}  // namespace orq
