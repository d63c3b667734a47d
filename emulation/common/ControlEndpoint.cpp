#include "emulation/common/ControlEndpoint.h"

#include <algorithm>

#include "link/WireProtocol.h"

namespace orq {
namespace {

constexpr std::uint8_t kTypeMask = 0x60;
constexpr std::uint8_t kStandardType = 0x00;

// bmRequestType in the high byte, bRequest in the low one.
enum StandardRequest : unsigned {
  kDeviceStatus = 0x8000,
  kInterfaceStatus = 0x8100,
  kEndpointStatus = 0x8200,
  kGetDescriptor = 0x8006,
  kGetConfiguration = 0x8008,
  kGetInterface = 0x810A,
  kSetConfiguration = 0x0009,
  kSetInterface = 0x010B,
  kClearDeviceFeature = 0x0001,
  kClearInterfaceFeature = 0x0101,
  kClearEndpointFeature = 0x0201,
  kSetDeviceFeature = 0x0003,
  kSetInterfaceFeature = 0x0103,
  kSetEndpointFeature = 0x0203,
  kSetExitLatencies = 0x0030,
  kSetIsochronousDelay = 0x0031,
};

constexpr std::uint16_t kEndpointHalt = 0;

int Answer(std::span<std::uint8_t> data, std::span<const std::uint8_t> bytes) {
  const std::size_t count = std::min(data.size(), bytes.size());
  std::copy_n(bytes.begin(), count, data.begin());
  return static_cast<int>(count);
}

}  // namespace

int ControlEndpoint::Execute(const SetupPacket& setup, std::span<std::uint8_t> data) {
  if (silent_) return kUsbTimeout;
  return (setup.requestType & kTypeMask) == kStandardType ? Standard(setup, data) : camera_->Control(setup, data);
}

void ControlEndpoint::SetConfiguration(int configuration) {
  configuration_ = configuration;
  camera_->SetConfiguration(configuration);
}

int ControlEndpoint::Standard(const SetupPacket& setup, std::span<std::uint8_t> data) {
  const auto pair = [&](int value) {
    return Answer(data, Bytes{static_cast<std::uint8_t>(value), std::uint8_t{0}});
  };
  switch (static_cast<unsigned>(setup.requestType) << 8 | setup.request) {
    case kDeviceStatus:
    case kInterfaceStatus:
      return pair(0);
    case kEndpointStatus:
      return pair(setup.index == wire::kFrameEndpoint && frames_.Halted() ? 1 : 0);
    case kGetDescriptor: {
      const Bytes descriptor = FindDescriptor(identity_, setup.value);
      return descriptor.empty() ? kUsbPipe : Answer(data, descriptor);
    }
    case kGetConfiguration:
      return Answer(data, Bytes{static_cast<std::uint8_t>(configuration_)});
    case kGetInterface:
      return Answer(data, Bytes{0});
    case kSetConfiguration:
      SetConfiguration(setup.value & 0xFF);
      return 0;
    case kSetInterface:
      return setup.value == 0 ? 0 : kUsbPipe;
    case kClearEndpointFeature:
      return EndpointFeature(setup, false);
    case kSetEndpointFeature:
      return EndpointFeature(setup, true);
    case kClearDeviceFeature:  // link power states: they cost nothing here
    case kSetDeviceFeature:
    case kClearInterfaceFeature:
    case kSetInterfaceFeature:
    case kSetExitLatencies:
    case kSetIsochronousDelay:
      return static_cast<int>(data.size());
    default:
      return kUsbPipe;
  }
}

int ControlEndpoint::EndpointFeature(const SetupPacket& setup, bool set) {
  if (setup.index != wire::kFrameEndpoint || setup.value != kEndpointHalt)
    return (setup.index & 0x7F) == 0 ? 0 : kUsbPipe;
  if (set)
    frames_.Halt();
  else
    frames_.ClearHalt();
  return 0;
}

}  // namespace orq
