#include "alpaca/devices/CameraDevice.h"

#include <utility>

namespace orq::network::alpaca {

CameraDevice::CameraDevice(std::shared_ptr<CameraSlot> own)
    : Device(std::move(own)), exposures_(slot()), guiding_(slot()) {
  addSensor();
  addControls();
  addClimate();
  addGuiding();
  addSubframe();
  addExposure();
}

std::string CameraDevice::name() const {
  const orq_camera_info camera = info();
  const std::string own = camera.user_id;
  return std::string(camera.model) + (own.empty() ? "" : " " + own);
}

std::map<std::string, std::function<Json()>> CameraDevice::stateValues() {
  return {{"CameraState", [this] { return cameraState(); }},
          {"CCDTemperature", [this] { return temperature(); }},
          {"CoolerPower", [this] { return camera()->cooler().power; }},
          {"ImageReady", [this] { return exposures_.image() != nullptr; }},
          {"IsPulseGuiding", [this] { return guiding_.isUnderWay(); }},
          {"PercentCompleted", [this] { return exposures_.standing().percent; }}};
}

}  // namespace orq::network::alpaca
