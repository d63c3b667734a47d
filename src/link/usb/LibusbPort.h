// The USB port on libusb 1.0.
#pragma once

#include <memory>
#include <string>

#include "link/usb/UsbPort.h"

namespace orq {

/// A port with a libusb context of its own, made on first use, and an event thread while a device is open.
std::shared_ptr<UsbPort> MakeLibusbPort();

/// Of the libusb that is in use: "1.0.26".
std::string LibusbVersion();

}  // namespace orq
