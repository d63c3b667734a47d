// The descriptors with which an emulated camera presents itself on the bus.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "link/usb/UsbTypes.h"

namespace orq {

/// What the descriptors of one camera are made from.
struct UsbIdentity {
  std::uint16_t productId = 0;
  bool superSpeed = true;  ///< USB 3 connection; else high speed
  std::string product;
  std::string serial;  ///< empty: no serial number string
};

/// Bytes in a packet of the frame endpoint.
int PacketBytes(const UsbIdentity& identity);

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::string_view kManufacturer = "orqcam";
inline constexpr std::uint8_t kVendorClass = 0xFF;  ///< of the interface: no class but our own

/// One vendor interface with one bulk IN endpoint.
Bytes DeviceDescriptor(const UsbIdentity& identity);
Bytes ConfigurationDescriptor(const UsbIdentity& identity);
/// Device capabilities: what the camera can do at other speeds.
Bytes BosDescriptor();
/// Text in the form of a string descriptor; characters beyond ASCII become question marks.
Bytes StringDescriptor(std::string_view text);

/// The answer to GET_DESCRIPTOR with this value; empty when there is no such descriptor.
Bytes FindDescriptor(const UsbIdentity& identity, std::uint16_t value);

}  // namespace orq
