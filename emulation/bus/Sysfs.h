// What the system's device tree says of an emulated camera.
#pragma once

#include <string>

#include "emulation/common/Descriptors.h"

namespace orq {

struct SysfsPlace {
  int bus = 0;
  int address = 0;
  int port = 0;
  bool configured = true;
};

/// Path of the device below /sys, and of its interface.
std::string SysfsPath(const SysfsPlace& place);
std::string SysfsInterfacePath(const SysfsPlace& place);

/// The device and its interface in the form that umockdev's test bed reads.
std::string SysfsDescription(const SysfsPlace& place, const UsbIdentity& identity);

/// The value of bConfigurationValue; empty text while the device is not configured.
std::string SysfsConfiguration(bool configured);

}  // namespace orq
