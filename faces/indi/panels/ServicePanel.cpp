#include "panels/ServicePanel.h"

#include <indilogger.h>

#include <cstdlib>
#include <cstring>

namespace orq::indi {
namespace {

constexpr const char* kTab = "Corrections";

void fillPair(INDI::PropertySwitch& property, const char* device, const char* name, const char* label,
              const char* tab, bool on) {
  property[0].fill("INDI_ENABLED", "On", on ? ISS_ON : ISS_OFF);
  property[1].fill("INDI_DISABLED", "Off", on ? ISS_OFF : ISS_ON);
  property.fill(device, name, label, tab, IP_RW, ISR_1OFMANY, 60, IPS_IDLE);
}

void fillStart(INDI::PropertySwitch& property, const char* device, const char* name, const char* label,
               const char* button) {
  property[0].fill("START", button, ISS_OFF);
  property.fill(device, name, label, kTab, IP_RW, ISR_ATMOST1, 60, IPS_IDLE);
}

std::string defaultDark() {
  const char* const home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "/tmp") + "/dark.bmp";
}

}  // namespace

void ServicePanel::connected(Camera& camera) {
  camera_ = &camera;
  const orq_camera_info info = camera.info();
  const char* const name = device_.getDeviceName();
  std::int32_t major = 0;
  std::int32_t minor = 0;
  std::int32_t patch = 0;
  orq_library_version(&major, &minor, &patch);
  identity_[0].fill("MODEL", "Model", info.model);
  identity_[1].fill("SERIAL", "Serial number", info.serial);
  identity_[2].fill("FIRMWARE", "Firmware", info.firmware);
  identity_[3].fill("LIBRARY", "Library",
                    (std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch)).c_str());
  identity_.fill(name, "ORQ_IDENTITY", "Camera", INFO_TAB, IP_RO, 60, IPS_IDLE);
  id_[0].fill("ID", "Your name for it", info.user_id);
  id_.fill(name, "ORQ_ID", "Kept in the camera", INFO_TAB, IP_RW, 60, IPS_IDLE);
  dark_[0].fill("FILE", "File (.bmp), empty: none", "");
  dark_.fill(name, "ORQ_DARK", "Dark to subtract", kTab, IP_RW, 60, IPS_IDLE);
  fillStart(takeDark_, name, "ORQ_DARK_TAKE", "Take a dark (cover the sensor)", "Take and use");
  fillPair(hotPixels_, name, "ORQ_HOT_PIXELS", "Repair hot pixels", kTab, false);
  fillStart(saveHotPixels_, name, "ORQ_HOT_PIXELS_SAVE", "Hot pixels of the dark", "Keep in the camera");
  fillPair(timeMark_, name, "ORQ_TIME_MARK", "Time in 8-bit frames", kTab, false);
  for (INDI::PropertyText& property : texts()) device_.defineProperty(property);
  for (INDI::PropertySwitch& property : switches()) device_.defineProperty(property);
  hub_ = false;
  for (const orq_control_info& control : camera.controls()) hub_ = hub_ || control.id == ORQ_CONTROL_HUB_RESET;
  if (!hub_) return;
  fillPair(hubPower_, name, "ORQ_USB_HUB", "Power of the USB hub", MAIN_CONTROL_TAB,
           camera.control(ORQ_CONTROL_HUB_RESET) != 0);
  device_.defineProperty(hubPower_);
}

void ServicePanel::disconnected() {
  if (camera_ == nullptr) return;
  camera_ = nullptr;
  for (INDI::PropertyText& property : texts()) device_.deleteProperty(property);
  for (INDI::PropertySwitch& property : switches()) device_.deleteProperty(property);
  if (hub_) device_.deleteProperty(hubPower_);
}

/// A switch that does its work at once; on failure it stays as it was.
void ServicePanel::setOn(INDI::PropertySwitch& property, bool on, const std::function<void()>& set) {
  property.setState(IPS_OK);
  try {
    set();
    property[0].setState(on ? ISS_ON : ISS_OFF);
    property[1].setState(on ? ISS_OFF : ISS_ON);
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
    property.setState(IPS_ALERT);
  }
  property.apply();
}

void ServicePanel::start(INDI::PropertySwitch& property, const SwitchRequest& request, const std::string& what,
                         std::function<void(Camera&)> job) {
  if (property.getState() == IPS_BUSY || request.chosen() != "START") return property.apply();
  property.setState(IPS_BUSY);
  property.apply();
  runLong_(what, std::move(job), [&property](bool done) {
    property.reset();
    property.setState(done ? IPS_OK : IPS_ALERT);
    property.apply();
  });
}

bool ServicePanel::set(const SwitchRequest& request) {
  if (camera_ == nullptr) return false;
  const bool on = request.chosen() == "INDI_ENABLED";
  if (request.property == "ORQ_HOT_PIXELS") {
    setOn(
        hotPixels_, on, [&] { camera_->repairHotPixels(on); });
  } else if (request.property == "ORQ_TIME_MARK") {
    setOn(
        timeMark_, on, [&] { camera_->timeMark(on); });
  } else if (request.property == "ORQ_USB_HUB" && hub_) {
    setOn(
        hubPower_, on, [&] { camera_->control(ORQ_CONTROL_HUB_RESET, on ? 1 : 0); });
  } else if (request.property == "ORQ_HOT_PIXELS_SAVE") {
    start(
        saveHotPixels_, request, "hot pixels are being kept", [](Camera& camera) { camera.saveHotPixels(); });
  } else if (request.property == "ORQ_DARK_TAKE") {
    const std::string file = dark_[0].getText()[0] != '\0' ? dark_[0].getText() : defaultDark();
    start(takeDark_, request, "a dark is being taken", [file](Camera& camera) {
      orq_dark_options options = sized<orq_dark_options>();
      options.overwrite = 1;
      camera.takeDark(file, options);
      camera.useDark(file);
    });
  } else {
    return false;
  }
  return true;
}

bool ServicePanel::set(const TextRequest& request) {
  if (camera_ == nullptr || request.values.empty()) return false;
  const std::string& text = request.values.front().text;
  if (request.property == "ORQ_DARK") {
    useDark(text);
    return true;
  }
  if (request.property != "ORQ_ID") return false;
  id_.setState(IPS_BUSY);
  id_.apply();
  runLong_(
      "the id is being kept", [text](Camera& camera) { camera.userId(text); },
      [this, text](bool done) {
        if (done) id_[0].setText(text.c_str());
        id_.setState(done ? IPS_OK : IPS_ALERT);
        id_.apply();
      });
  return true;
}

void ServicePanel::useDark(const std::string& file) {
  dark_.setState(IPS_OK);
  try {
    if (file.empty())
      camera_->noDark();
    else
      camera_->useDark(file);
    dark_[0].setText(file.c_str());
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
    dark_.setState(IPS_ALERT);
  }
  dark_.apply();
}

}  // namespace orq::indi
