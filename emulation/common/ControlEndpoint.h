// Endpoint 0 of an emulated camera: standard requests are answered here, all others by the firmware.
#pragma once

#include <memory>
#include <span>

#include "emulation/common/Descriptors.h"
#include "emulation/common/FrameEndpoint.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {

/// Caller-serialised.
class ControlEndpoint {
 public:
  ControlEndpoint(std::shared_ptr<VirtualCamera> camera, UsbIdentity identity, FrameEndpoint& frames)
      : camera_(std::move(camera)), identity_(std::move(identity)), frames_(frames) {}

  /// Bytes moved or a `UsbError`, as `VirtualCamera::Control`; `kUsbTimeout`: there is never an answer.
  int Execute(const SetupPacket& setup, std::span<std::uint8_t> data);

  void SetConfiguration(int configuration);
  int Configuration() const { return configuration_; }
  const UsbIdentity& Identity() const { return identity_; }
  /// Leaves all requests without an answer from now on.
  void Silence() { silent_ = true; }
  bool Silent() const { return silent_; }

 private:
  int Standard(const SetupPacket& setup, std::span<std::uint8_t> data);
  int EndpointFeature(const SetupPacket& setup, bool set);

  std::shared_ptr<VirtualCamera> camera_;
  UsbIdentity identity_;
  FrameEndpoint& frames_;
  int configuration_ = 0;
  bool silent_ = false;
};

}  // namespace orq
