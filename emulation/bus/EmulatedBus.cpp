#include "emulation/bus/EmulatedBus.h"

#include <umockdev.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "emulation/bus/Uevents.h"
#include "emulation/common/Identify.h"

namespace orq {
namespace {

constexpr std::uint8_t kLastAddress = 127;

std::filesystem::path NodeName(const SysfsPlace& place) {
  char name[32];
  std::snprintf(name, sizeof name, "dev/bus/usb/%03d/%03d", place.bus, place.address);
  return name;
}

/// A failed open keeps a place in the preloaded library's table, which has few, until its "descriptor" is closed.
void ForgetFailedOpens() {
  constexpr int kPlaces = 50;
  for (int i = 0; i < kPlaces; ++i) ::close(-1);
}

}  // namespace

std::unique_ptr<EmulatedBus> EmulatedBus::Make(std::string& error) {
  if (::getenv("UMOCKDEV_DIR") != nullptr) {
    error = "an emulated bus exists already in this process or around it";
    return nullptr;
  }
  std::unique_ptr<EmulatedBus> bus(new EmulatedBus);
  if (!umockdev_in_mock_environment()) {
    error = "the program does not run with libumockdev-preload.so.0";
    return nullptr;
  }
  return bus;
}

EmulatedBus::EmulatedBus() : testbed_(umockdev_testbed_new()) {
  gchar* root = umockdev_testbed_get_root_dir(testbed_);
  root_ = root;
  g_free(root);
  // Other users' programs may look, and find out that a camera's node is not theirs.
  std::filesystem::permissions(root_, std::filesystem::perms(0755));
}

EmulatedBus::~EmulatedBus() {
  for (const auto& device : devices_) {
    device->Unplug();
    std::vector<std::unique_ptr<DeviceNode>> nodes;  // their threads may wait for the mutex
    const std::lock_guard lock(mutex_);
    nodes.swap(device->old_);
  }
  g_object_unref(testbed_);
}

std::shared_ptr<EmulatedDevice> EmulatedBus::Attach(std::shared_ptr<VirtualCamera> camera, std::string& error,
                                                    const EmulatedDevice::PlugOptions& options) {
  UsbIdentity identity = Identify(*camera);
  std::shared_ptr<EmulatedDevice> device;
  {
    const std::lock_guard lock(mutex_);
    const int port = static_cast<int>(devices_.size()) + 1;
    device.reset(new EmulatedDevice(*this, std::move(camera), port, std::move(identity)));
    devices_.push_back(device);
  }
  return device->Plug(options, error) ? device : nullptr;
}

std::vector<PlugPoint*> EmulatedBus::PlugPoints() const {
  std::vector<PlugPoint*> all;
  for (const auto& device : devices_) all.push_back(device.get());
  return all;
}

/// Device numbers are given in turn, so that a camera comes back under another one; 1 is the root hub's.
std::uint8_t EmulatedBus::NextAddress(int busNumber) {
  std::uint8_t& last = lastAddress_.try_emplace(busNumber, std::uint8_t{1}).first->second;
  do {
    last = last < kLastAddress ? static_cast<std::uint8_t>(last + 1) : std::uint8_t{2};
  } while (std::filesystem::exists(std::filesystem::symlink_status(root_ / NodeName({busNumber, last, 0, true}))));
  return last;
}

std::string EmulatedBus::MakeSocketPath(const SysfsPlace& place) {
  const std::filesystem::path path = root_ / "ioctl" / NodeName(place);
  std::filesystem::create_directories(path.parent_path());
  return path;
}

bool EmulatedBus::Announce(const SysfsPlace& place, const UsbIdentity& identity, const std::string& terminal,
                           std::string& error) {
  ForgetFailedOpens();
  const std::filesystem::path node = root_ / NodeName(place);
  std::error_code failure;
  std::filesystem::create_directories(node.parent_path(), failure);
  std::filesystem::create_symlink(terminal, node, failure);
  if (failure) {
    error = "no device node: " + failure.message();
    return false;
  }
  GError* trouble = nullptr;
  const TellingListeners telling;
  if (!umockdev_testbed_add_from_string(testbed_, SysfsDescription(place, identity).c_str(), &trouble)) {
    error = std::string("no device: ") + (trouble != nullptr ? trouble->message : "unknown");
    g_clear_error(&trouble);
    std::filesystem::remove(node, failure);
    return false;
  }
  return true;
}

void EmulatedBus::ShowConfiguration(const SysfsPlace& place) {
  umockdev_testbed_set_attribute(testbed_, SysfsPath(place).c_str(), "bConfigurationValue",
                                 SysfsConfiguration(place.configured).c_str());
}

void EmulatedBus::Withdraw(const SysfsPlace& place) {
  std::error_code failure;
  std::filesystem::remove(root_ / NodeName(place), failure);
  const TellingListeners telling;
  for (const std::string& path : {SysfsInterfacePath(place), SysfsPath(place)}) {
    umockdev_testbed_uevent(testbed_, path.c_str(), "remove");
    umockdev_testbed_remove_device(testbed_, path.c_str());
  }
}

}  // namespace orq
