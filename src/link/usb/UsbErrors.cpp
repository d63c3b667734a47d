#include "link/usb/UsbErrors.h"

#include <utility>

namespace orq {

std::string DescribeUsbError(UsbError error) {
  switch (error) {
    case kUsbAccess:
      return "permission denied: install the package orqcam, or its udev rule 70-orqcam.rules in "
             "/etc/udev/rules.d, "
             "join the group plugdev (sudo adduser $USER plugdev), log in again, and plug the camera in again";
    case kUsbBusy:
      return "the camera is in use by another program: close it and try again";
    case kUsbNoDevice:
      return "the camera was unplugged: plug it in and open it again";
    case kUsbNotFound:
      return "no such camera found: see that it is plugged in and has power";
    case kUsbTimeout:
      return "the camera did not answer in time: close and open it again";
    case kUsbPipe:
      return "the camera refused a request: its firmware may not know it";
    case kUsbNoMem:
      return "not enough memory for a USB transfer: close other programs";
    default:
      return "USB error " + std::to_string(static_cast<int>(error)) + ": plug the camera in again";
  }
}

UsbError LastUsbError::Note(UsbError error, std::string text) {
  const MutexLock lock(mutex_);
  code_ = error;
  text_ = std::move(text);
  return error;
}

std::string LastUsbError::Text() const {
  const MutexLock lock(mutex_);
  return text_;
}

UsbError LastUsbError::Code() const {
  const MutexLock lock(mutex_);
  return code_;
}

}  // namespace orq
