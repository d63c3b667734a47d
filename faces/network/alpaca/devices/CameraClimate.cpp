// Cooling, and the guide port.
#include <cmath>

#include "alpaca/devices/CameraDevice.h"

namespace orq::network::alpaca {
namespace {

constexpr int kLongestPulseMs = 60000;

}  // namespace

bool CameraDevice::can(std::uint32_t ability) const {
  return (info().abilities & ability) != 0;
}

double CameraDevice::temperature() const {
  double celsius = 0;
  if (can(ORQ_ABILITY_COOLER))
    celsius = camera()->cooler().sensor_c;
  else if (can(ORQ_ABILITY_THERMOMETER))
    celsius = camera()->temperature();
  else
    throw CallError(kNotImplemented, "this camera has no thermometer");
  if (std::isnan(celsius)) throw CallError(kDriverError, "the thermometer does not answer");
  return celsius;
}

void CameraDevice::addClimate() {
  const auto demandCooler = [this] {
    if (!can(ORQ_ABILITY_COOLER)) throw CallError(kNotImplemented, "this camera has no cooler");
  };
  addGet("ccdtemperature", [this](const Call&) { return temperature(); });
  addMissing("heatsinktemperature");
  for (const char* const name : {"cansetccdtemperature", "cangetcoolerpower"})
    addGet(name, [this](const Call&) { return can(ORQ_ABILITY_COOLER); });
  addGet("coolerpower", [this, demandCooler](const Call&) {
    demandCooler();
    return camera()->cooler().power;
  });
  addGet("cooleron", [this, demandCooler](const Call&) {
    demandCooler();
    return camera()->cooler().on != 0;
  });
  addPut("cooleron", [this, demandCooler](const Call& call) -> std::optional<Json> {
    const bool on = call.truth("CoolerOn");
    demandCooler();
    const std::scoped_lock lock(mutex_);
    const orq_cooler_state now = camera()->cooler();
    if (on && now.on == 0) camera()->cool(coolerTarget_.value_or(now.target_c));
    if (!on) camera()->coolerOff();
    return std::nullopt;
  });
  addGet("setccdtemperature", [this, demandCooler](const Call&) {
    demandCooler();
    const std::scoped_lock lock(mutex_);
    const orq_cooler_state now = camera()->cooler();
    return now.on != 0 ? now.target_c : coolerTarget_.value_or(now.target_c);
  });
  // While the cooler is off the target waits for it: setting it does not switch anything on.
  addPut("setccdtemperature", [this, demandCooler](const Call& call) -> std::optional<Json> {
    const double wanted = call.number("SetCCDTemperature");
    demandCooler();
    if (const auto range = controlInfo(ORQ_CONTROL_TARGET_TEMPERATURE)) {
      if (wanted < static_cast<double>(range->minimum) || wanted > static_cast<double>(range->maximum))
        throw CallError(kInvalidValue, "the cooler takes targets from " + std::to_string(range->minimum) + " to " +
                                           std::to_string(range->maximum) + " degrees");
    }
    const double whole = std::round(wanted);
    const std::scoped_lock lock(mutex_);
    if (camera()->cooler().on != 0) camera()->cool(whole);
    coolerTarget_ = whole;
    return std::nullopt;
  });
}

void CameraDevice::addGuiding() {
  const auto demandPort = [this] {
    if (!can(ORQ_ABILITY_GUIDE_PORT)) throw CallError(kNotImplemented, "this camera has no guide port");
  };
  addGet("canpulseguide", [this](const Call&) { return can(ORQ_ABILITY_GUIDE_PORT); });
  addGet(
      "ispulseguiding",
      [this, demandPort](const Call&) {
        demandPort();
        return guiding_.isUnderWay();
      });
  addPut("pulseguide", [this, demandPort](const Call& call) -> std::optional<Json> {
    const int direction = call.integer("Direction");  // north, south, east, west: as the library numbers them
    const int length = call.integer("Duration");
    demandPort();
    if (direction < ORQ_GUIDE_NORTH || direction > ORQ_GUIDE_WEST) {
      throw CallError(kInvalidValue, "there is no direction " + std::to_string(direction));
    }
    if (length < 0 || length > kLongestPulseMs) {
      throw CallError(kInvalidValue, "a pulse takes from 0 to " + std::to_string(kLongestPulseMs) + " ms");
    }
    if (length > 0) guiding_.pulse(direction, std::chrono::milliseconds(length));
    return std::nullopt;
  });
}

}  // namespace orq::network::alpaca
