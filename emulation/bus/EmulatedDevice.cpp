#include "emulation/bus/EmulatedDevice.h"

#include <utility>

#include "emulation/bus/EmulatedBus.h"
#include "link/WireProtocol.h"

namespace orq {

EmulatedDevice::EmulatedDevice(EmulatedBus& bus, std::shared_ptr<VirtualCamera> camera, int port,
                               UsbIdentity identity)
    : bus_(bus), camera_(std::move(camera)), port_(port), identity_(std::move(identity)) {}

bool EmulatedDevice::Plugged() const {
  return Address() != 0;
}

int EmulatedDevice::Address() const {
  const std::lock_guard lock(bus_.mutex_);
  return node_ != nullptr ? address_ : 0;
}

SysfsPlace EmulatedDevice::Place(bool configured) const {
  return {BusNumber(), address_, port_, configured};
}

bool EmulatedDevice::Plug(const PlugOptions& options, std::string& error) {
  std::vector<std::unique_ptr<DeviceNode>> done;  // their threads may wait for the bus: destroyed without it
  const std::lock_guard lock(bus_.mutex_);
  if (node_ != nullptr) {
    error = "the camera is plugged in already";
    return false;
  }
  for (auto& node : old_)
    if (!node->InUse()) done.push_back(std::move(node));
  std::erase(old_, nullptr);

  address_ = bus_.NextAddress(BusNumber());
  camera_->PowerCycle();
  DeviceNode::Settings settings;
  settings.identity = identity_;
  settings.address = address_;
  settings.copy = options.copy;
  settings.socketPath = bus_.MakeSocketPath(Place(options.configured));
  settings.onVanished = [device = weak_from_this()] {
    if (const auto self = device.lock()) self->Unplug();
  };
  auto node = DeviceNode::Make(settings, camera_, bus_.Memory(), error);
  if (node == nullptr) return false;
  node->SetMode(options.mode);
  node->Configure(options.configured ? wire::kConfiguration : 0);
  if (!bus_.Announce(Place(options.configured), identity_, node->Terminal(), error)) {
    node->Disconnect();
    old_.push_back(std::move(node));
    return false;
  }
  node_ = std::move(node);
  return true;
}

bool EmulatedDevice::Replug(std::string& error) {
  Unplug();
  return Plug({}, error);
}

void EmulatedDevice::Unplug() {
  const std::lock_guard lock(bus_.mutex_);
  if (node_ == nullptr) return;
  node_->Disconnect();
  camera_->Disconnect();
  bus_.Withdraw(Place(true));
  old_.push_back(std::move(node_));
}

template <typename Action>
void EmulatedDevice::WithNode(Action&& action) const {
  const std::lock_guard lock(bus_.mutex_);
  if (node_ != nullptr) action(*node_);
}

void EmulatedDevice::Configure() {
  WithNode([this](DeviceNode& node) {
    node.Configure(wire::kConfiguration);
    bus_.ShowConfiguration(Place(true));
  });
}

void EmulatedDevice::SetMode(unsigned mode) {
  WithNode([mode](DeviceNode& node) { node.SetMode(mode); });
}

void EmulatedDevice::HaltFrames() {
  WithNode([](DeviceNode& node) { node.HaltFrames(); });
}

void EmulatedDevice::FailNextTransfer(int error) {
  WithNode([error](DeviceNode& node) { node.FailNextTransfer(error); });
}

void EmulatedDevice::Silence() {
  WithNode([](DeviceNode& node) { node.Silence(); });
}

}  // namespace orq
