// Endpoint 0 of an emulated camera: standard requests are answered here, all others by the firmware.
#pragma once

#include <memory>
#include <span>

#include "emulation/common/Descriptors.h"
#include "virtual/VirtualCamera.h"

namespace orq {

/// Caller-serialised.
class ControlEndpoint {
 public:
  ControlEndpoint(std::shared_ptr<VirtualCamera> camera, UsbIdentity identity)
      : camera_(std::move(camera)), identity_(std::move(identity)) {}

  /// Bytes moved or a `UsbError`, as `VirtualCamera::Control`.
  int Execute(const SetupPacket& setup, std::span<std::uint8_t> data);

  /// What the frame endpoint says of itself in GET_STATUS; the request that clears it is the port's to make.
  void SetHalted(bool halted) { halted_ = halted; }
  void SetConfiguration(int configuration);
  int Configuration() const { return configuration_; }
  const UsbIdentity& Identity() const { return identity_; }

 private:
  int Standard(const SetupPacket& setup, std::span<std::uint8_t> data);

  std::shared_ptr<VirtualCamera> camera_;
  UsbIdentity identity_;
  int configuration_ = 0;
  bool halted_ = false;
};

}  // namespace orq
