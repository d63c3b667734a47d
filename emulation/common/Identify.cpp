#include "emulation/common/Identify.h"

#include <array>
#include <cstdio>

#include "link/WireProtocol.h"

namespace orq {
namespace {

/// The camera's serial number as text; empty when it does not tell.
std::string SerialNumber(VirtualCamera& camera) {
  std::array<std::uint8_t, 8> bytes{};
  const SetupPacket setup{kVendorIn, wire::kReqSerialNumber, 0, 0, bytes.size()};
  const bool told = camera.Control(setup, bytes) == static_cast<int>(bytes.size());
  camera.ClearRequests();  // this was nobody's request
  if (!told) return camera.Options().serial;
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

}  // namespace

UsbIdentity Identify(VirtualCamera& camera) {
  camera.PowerCycle();
  return {camera.ProductId(), camera.Speed() >= UsbSpeed::Super, "Virtual camera " + camera.Options().model,
          SerialNumber(camera)};
}

}  // namespace orq
