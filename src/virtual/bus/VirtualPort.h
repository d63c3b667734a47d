// The USB port on a virtual bus.
#pragma once

#include <memory>

#include "link/usb/UsbPort.h"
#include "virtual/bus/VirtualBus.h"

namespace orq {

/// A port onto the cameras of `bus`, with the completions on a thread of its own. Behaves as `UsbPort` says.
std::shared_ptr<UsbPort> MakeVirtualPort(std::shared_ptr<VirtualBus> bus);

}  // namespace orq
