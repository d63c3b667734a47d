#include "session/controls/ControlValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "models/cooling/Cooler.h"
#include "session/LinkFailure.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

bool IsSwitch(const Control& control) {
  return control.caps.minValue == 0 && control.caps.maxValue == 1;
}

std::int64_t ParseTenths(const Control& control, std::string_view text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(std::abs(number) < 1e6)) {
    throw Failure(Status::Invalid, control.Name() + " '" + std::string(text) + "' is not a number");
  }
  return std::llround(number * UnitOf(control.id).scale);
}

// Which limit `raw` is beyond, in words; nothing when it is within both.
std::optional<std::string> Beyond(const Control& control, std::int64_t raw) {
  const bool below = raw < control.caps.minValue;
  if (!below && raw <= control.caps.maxValue) return std::nullopt;
  return control.Name() + " " + ValueText(control, raw) +
         (below ? " is below the minimum " + ValueText(control, control.caps.minValue)
                : " is above the maximum " + ValueText(control, control.caps.maxValue));
}

Failure NotSupported(const Control& control) {
  return {Status::Unsupported, control.Name() + " is not supported by this camera"};
}

void DemandWritable(const Control& control, const ControlSetting& setting) {
  if (control.caps.isWritable == 0) throw Failure(Status::Unsupported, control.Name() + " is read-only");
  if (!setting.automatic || control.caps.isAutoSupported != 0) return;
  throw Failure(Status::Unsupported, control.Name() + " cannot be automatic; give a value from " +
                                         ValueText(control, control.caps.minValue) + " to " +
                                         ValueText(control, control.caps.maxValue));
}

}  // namespace

std::optional<ControlReading> TryReadControl(CModelCamera& camera, const Control& control) {
  // The camera repeats the last temperature then, which at first is 0.
  if (control.id == ORQ_TEMPERATURE && !ThermometerAnswers(camera)) {
    if (camera.DeviceLost()) throw LinkFailure(camera, "cannot read " + control.Name());
    return ControlReading{.trouble = "the thermometer does not answer"};
  }
  long value = 0;
  ORQ_BOOL automatic = 0;
  const int result = camera.GetControlValue(control.id, &value, &automatic);
  if (result == CTRL_NOT_SUPPORTED) return std::nullopt;
  if (result != CTRL_OK) throw LinkFailure(camera, "cannot read " + control.Name());
  return ControlReading{value, automatic == 1};
}

ControlReading ReadControl(CModelCamera& camera, const Control& control) {
  const auto reading = TryReadControl(camera, control);
  if (!reading) throw NotSupported(control);
  return *reading;
}

ControlSetting ParseSetting(const Control& control, std::string_view text) {
  const std::string word = Lower(text);
  if (word == "auto") return {0, true};
  if (IsSwitch(control) && (word == "on" || word == "off")) return {word == "on" ? 1 : 0, false};
  if (control.id == ORQ_EXPOSURE) return {static_cast<std::int64_t>(ParseExposure(text)), false};
  if (UnitOf(control.id).scale != 1) return {ParseTenths(control, text), false};
  return {ParseInteger(text, control.Name()), false};
}

void DemandWithin(const Control& control, const ControlSetting& setting) {
  if (setting.automatic) return;
  if (const auto beyond = Beyond(control, setting.raw)) throw Failure(Status::Range, *beyond);
}

std::string WriteControl(CModelCamera& camera, const Control& control, const ControlSetting& setting,
                         Limits limits) {
  DemandWritable(control, setting);
  if (limits == Limits::Demand) DemandWithin(control, setting);
  std::int64_t raw = setting.raw;
  std::string word;
  if (setting.automatic) {
    raw = ReadControl(camera, control).raw;
  } else if (const auto beyond = Beyond(control, raw)) {
    raw = std::clamp<std::int64_t>(raw, control.caps.minValue, control.caps.maxValue);
    word = *beyond + ": set to " + ValueText(control, raw);
  }
  const int result = camera.SetControlValue(control.id, static_cast<long>(raw), setting.automatic);
  if (result == CTRL_NOT_SUPPORTED) throw NotSupported(control);
  if (result != CTRL_OK) {
    throw LinkFailure(camera, "the camera refused " + control.Name() + " " + ValueText(control, raw));
  }
  return word;
}

}  // namespace orq::session
