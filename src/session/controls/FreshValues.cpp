#include "session/controls/FreshValues.h"

#include <algorithm>
#include <array>

namespace orq::session {

namespace {

// What the program keeps no value of: the camera's state after power-up is the catalogue's default.
bool IsHeldByDevice(ORQ_CONTROL_TYPE id) {
  constexpr std::array kHeld = {ORQ_FAN_ON,        ORQ_FAN_SPEED_ADJUST, ORQ_POWER_LED_BRIGHT,
                                ORQ_USB_HUB_RESET, ORQ_GPS_START_LINE,   ORQ_GPS_END_LINE};
  return std::ranges::find(kHeld, id) != kHeld.end();
}

// A camera object has buffers for its sensor, and no control's value follows from that.
ModelData WithSmallSensor(ModelData model) {
  constexpr int kEdge = 64;
  model.maxWidth = std::min(model.maxWidth, kEdge);
  model.maxHeight = std::min(model.maxHeight, kEdge);
  return model;
}

}  // namespace

FreshValues::FreshValues(const CModelCamera& camera)
    : camera_(std::make_unique<CModelCamera>(WithSmallSensor(camera.Model()), SettingsUse::Off)) {
  if (camera.usb3Host != 0) camera_->bandwidthPerc = camera_->usb3Bandwidth.Load();
}

FreshValues::~FreshValues() = default;

std::optional<std::int64_t> FreshValues::Of(const Control& control) const {
  if (control.caps.isWritable == 0) return std::nullopt;
  // The lines of the GPS follow the region, which is the whole sensor at first.
  if (control.id == ORQ_GPS_END_LINE) return control.caps.maxValue;
  long value = 0;
  if (!IsHeldByDevice(control.id) && camera_->GetControlValue(control.id, &value, nullptr) == CTRL_OK)
    return value;
  return std::clamp<std::int64_t>(control.caps.defaultValue, control.caps.minValue, control.caps.maxValue);
}

}  // namespace orq::session
