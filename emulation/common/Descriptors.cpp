#include "emulation/common/Descriptors.h"

#include "link/WireProtocol.h"

namespace orq {
namespace {

enum DescriptorType : std::uint8_t {
  kDevice = 0x01,
  kConfigurationType = 0x02,
  kString = 0x03,
  kInterfaceType = 0x04,
  kEndpoint = 0x05,
  kQualifier = 0x06,
  kBos = 0x0F,
  kCapability = 0x10,
  kCompanion = 0x30,
};

constexpr std::uint8_t kManufacturerString = 1;
constexpr std::uint8_t kProductString = 2;
constexpr std::uint8_t kSerialString = 3;

std::uint8_t Low(int value) {
  return static_cast<std::uint8_t>(value & 0xFF);
}
std::uint8_t High(int value) {
  return static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

/// What a device on a high-speed connection says of its other speed.
Bytes QualifierDescriptor() {
  return {10, kQualifier, 0x10, 0x02, 0, 0, 0, 64, 1, 0};
}

}  // namespace

int PacketBytes(const UsbIdentity& identity) {
  return identity.superSpeed ? wire::kSuperSpeedPacket : wire::kHighSpeedPacket;
}

Bytes DeviceDescriptor(const UsbIdentity& identity) {
  const int usbVersion = identity.superSpeed ? 0x0300 : 0x0210;
  const std::uint8_t controlPacket = identity.superSpeed ? 9 : 64;  // SuperSpeed states the exponent
  return {18,
          kDevice,
          Low(usbVersion),
          High(usbVersion),
          0,
          0,
          0,
          controlPacket,
          Low(wire::kVendorId),
          High(wire::kVendorId),
          Low(identity.productId),
          High(identity.productId),
          0x00,
          0x01,
          kManufacturerString,
          kProductString,
          identity.serial.empty() ? std::uint8_t{0} : kSerialString,
          1};
}

Bytes ConfigurationDescriptor(const UsbIdentity& identity) {
  const int packet = PacketBytes(identity);
  const std::uint8_t power = identity.superSpeed ? 112 : 250;  // 896 mA in units of 8 mA, 500 mA in units of 2 mA
  Bytes all = {9,
               kConfigurationType,
               0,
               0,
               1,
               Low(wire::kConfiguration),
               0,
               0x80,
               power,  //
               9,
               kInterfaceType,
               Low(wire::kInterface),
               0,
               1,
               kVendorClass,
               0,
               0,
               0,  //
               7,
               kEndpoint,
               wire::kFrameEndpoint,
               0x02,
               Low(packet),
               High(packet),
               0};
  if (identity.superSpeed) {
    const std::uint8_t burst = 15;
    for (const std::uint8_t byte :
         {std::uint8_t{6}, std::uint8_t{kCompanion}, burst, std::uint8_t{0}, std::uint8_t{0}, std::uint8_t{0}})
      all.push_back(byte);
  }
  all[2] = Low(static_cast<int>(all.size()));
  return all;
}

Bytes BosDescriptor() {
  return {5,  kBos,        22,   0,    2,                            //
          7,  kCapability, 0x02, 0x02, 0,    0, 0,                   // USB 2 extension: link power management
          10, kCapability, 0x03, 0,    0x0E, 0, 1, 10, 0xFF, 0x07};  // full, high and SuperSpeed; exit latencies
}

Bytes StringDescriptor(std::string_view text) {
  constexpr std::size_t kLongest = 126;
  Bytes all = {0, kString};
  for (const char c : text.substr(0, kLongest)) {
    const auto code = static_cast<unsigned char>(c);
    all.push_back(code < 0x80 ? code : static_cast<std::uint8_t>('?'));
    all.push_back(0);
  }
  all[0] = static_cast<std::uint8_t>(all.size());
  return all;
}

Bytes FindDescriptor(const UsbIdentity& identity, std::uint16_t value) {
  const int index = value & 0xFF;
  switch (value >> 8) {
    case kDevice:
      return index == 0 ? DeviceDescriptor(identity) : Bytes{};
    case kConfigurationType:
      return index == 0 ? ConfigurationDescriptor(identity) : Bytes{};
    case kBos:
      return BosDescriptor();
    case kQualifier:
      return identity.superSpeed ? Bytes{} : QualifierDescriptor();
    case kString:
      switch (index) {
        case 0:
          return {4, kString, 0x09, 0x04};  // English
        case kManufacturerString:
          return StringDescriptor(kManufacturer);
        case kProductString:
          return StringDescriptor(identity.product);
        case kSerialString:
          return identity.serial.empty() ? Bytes{} : StringDescriptor(identity.serial);
        default:
          return {};
      }
    default:
      return {};
  }
}

}  // namespace orq
