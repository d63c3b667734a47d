// How a virtual camera presents itself on a bus.
#pragma once

#include "emulation/common/Descriptors.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {

/// What the camera's descriptors are made from. Power cycles it, because only a camera that is plugged in tells
/// its serial number.
UsbIdentity Identify(VirtualCamera& camera);

}  // namespace orq
