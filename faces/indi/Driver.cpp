// The driver: a device that is always there, and one for every further camera that is plugged in.
#include "Driver.h"

#include <indidevapi.h>

#include <algorithm>
#include <cstdio>

namespace orq::indi {
namespace {

/// "Tavix ORQ-K1C guider", or with the serial number where the user has not named it.
std::string deviceNameOf(const orq_camera_entry& camera) {
  const char* const own = camera.user_id[0] != '\0' ? camera.user_id : camera.serial;
  return std::string(camera.model) + " " + (own[0] != '\0' ? own : camera.name);
}

}  // namespace

Driver::Driver() : first_("ORQ Camera", {{}, true}) {
  first_.onReleased([this] { posts_.poster().post([this] { tidy(); }); });
  posts_.poster().post([this] { start(); });
}

Driver::~Driver() {
  release();
}

void Driver::release() {
  watch_.reset();
  first_.release();
  for (const auto& device : further_) device->release();
}

// Once the event loop runs: clients are to hear of cameras after they have heard of the driver.
void Driver::start() {
  try {
    watch_.emplace([this, poster = posts_.poster()](bool pluggedInNow, const orq_camera_entry& camera) {
      poster.post([this, pluggedInNow, camera] {
        if (pluggedInNow)
          pluggedIn(camera);
        else
          unplugged(camera.name);
      });
    });
  } catch (const Error& failure) {
    std::fprintf(stderr, "indi_orqcam_ccd: cameras that are plugged in are not noticed: %s\n", failure.what());
  }
}

bool Driver::isPresent(const std::string& cameraName) const {
  return std::any_of(
      present_.begin(), present_.end(), [&](const auto& one) { return one.second == cameraName; });
}

std::vector<CameraDevice*> Driver::devices() {
  std::vector<CameraDevice*> all{std::addressof(first_)};  // INDI's devices have an operator & of their own
  for (const auto& device : further_) all.push_back(device.get());
  return all;
}

void Driver::pluggedIn(const orq_camera_entry& camera) {
  const std::string name = camera.name;
  present_[name] = name;
  for (CameraDevice* device : devices()) {
    // A camera that was in use may have been opened again before anybody could read its serial number.
    const bool reopened = camera.serial[0] == '\0' && device->isUsed() && device->model() == camera.model &&
                          !isPresent(device->cameraName());
    if (reopened) present_[name] = device->cameraName();
    if (reopened || device->cameraName() == name) return;
  }
  if (!first_.isUsed() && !isPresent(first_.cameraName())) return first_.choose(name);
  auto device = std::make_unique<CameraDevice>(deviceNameOf(camera), CameraChoice{name, false});
  device->onReleased([this] { posts_.poster().post([this] { tidy(); }); });
  device->ISGetProperties(nullptr);  // clients that are there already hear of it
  further_.push_back(std::move(device));
}

void Driver::unplugged(const std::string& reported) {
  present_.erase(reported);
  tidy();
}

void Driver::tidy() {
  if (!first_.cameraName().empty() && !first_.isUsed() && !isPresent(first_.cameraName())) first_.choose({});
  const auto gone = std::stable_partition(further_.begin(), further_.end(), [this](const auto& device) {
    return device->isUsed() || isPresent(device->cameraName());
  });
  for (auto device = gone; device != further_.end(); ++device)
    IDDelete((*device)->getDeviceName(), nullptr, nullptr);
  further_.erase(gone, further_.end());
}

}  // namespace orq::indi
