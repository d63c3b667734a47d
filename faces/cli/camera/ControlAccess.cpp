#include "camera/ControlAccess.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "models/cooling/Cooler.h"
#include "session/text/Units.h"
#include "settings/XmlStore.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

// The camera's controls for which a message lists the names.
std::string NamesOf(CModelCamera& camera) {
  std::vector<std::string> names;
  for (const Control& control : ListControls(camera)) names.push_back(control.Name());
  return Join(names);
}

bool IsSwitch(const Control& control) {
  return control.caps.minValue == 0 && control.caps.maxValue == 1;
}

std::string ValueText(const Control& control, std::int64_t raw) {
  if (control.id == ORQ_EXPOSURE && raw >= 0) return ExposureText(static_cast<std::uint64_t>(raw));
  return ScaledValue(control.id, raw).dump();
}

std::int64_t ParseTenths(const Control& control, std::string_view text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(std::abs(number) < 1e6)) {
    throw CliError(kExitUsage, control.Name() + " '" + std::string(text) + "' is not a number");
  }
  return std::llround(number * UnitOf(control.id).scale);
}

// What the program keeps no value of: the camera's state after power-up is the catalogue's default.
bool IsHeldByDevice(ORQ_CONTROL_TYPE id) {
  constexpr std::array kHeld = {ORQ_FAN_ON,        ORQ_FAN_SPEED_ADJUST, ORQ_POWER_LED_BRIGHT,
                                ORQ_USB_HUB_RESET, ORQ_GPS_START_LINE,   ORQ_GPS_END_LINE};
  return std::ranges::find(kHeld, id) != kHeld.end();
}

std::unique_ptr<CModelCamera> MakeWithoutSettings(const Session& session) {
  EnableXmlStore(false);
  auto camera = std::make_unique<CModelCamera>(session.Model());
  EnableXmlStore(session.UsesSettings());
  return camera;
}

// Which limit `raw` is beyond, in words; nothing when it is within both.
std::optional<std::string> Beyond(const Control& control, std::int64_t raw) {
  const bool below = raw < control.caps.minValue;
  if (!below && raw <= control.caps.maxValue) return std::nullopt;
  return control.Name() + " " + ValueText(control, raw) +
         (below ? " is below the minimum " + ValueText(control, control.caps.minValue)
                : " is above the maximum " + ValueText(control, control.caps.maxValue));
}

std::int64_t Clamped(const Control& control, std::int64_t raw) {
  const auto beyond = Beyond(control, raw);
  if (!beyond) return raw;
  const auto limit = std::clamp<std::int64_t>(raw, control.caps.minValue, control.caps.maxValue);
  Complain(*beyond + ": set to " + ValueText(control, limit));
  return limit;
}

}  // namespace

ControlUnit UnitOf(ORQ_CONTROL_TYPE id) {
  switch (id) {
    case ORQ_EXPOSURE:
      return {"us", 1};
    case ORQ_AUTO_EXP_MAX_EXP_MS:
      return {"ms", 1};
    case ORQ_TEMPERATURE:
      return {"C", 10};
    case ORQ_TARGET_TEMP:
      return {"C", 1};
    case ORQ_BAND_WIDTH:
    case ORQ_OVER_CLK:
    case ORQ_COOL_POWER_PERC:
      return {"%", 1};
    case ORQ_ROLLING_INTERVAL:
      return {"us", 10};
    default:
      return {"", 1};
  }
}

Json ScaledValue(ORQ_CONTROL_TYPE id, std::int64_t raw) {
  const int scale = UnitOf(id).scale;
  if (scale == 1) return raw;
  return static_cast<double>(raw) / scale;
}

std::vector<Control> ListControls(CModelCamera& camera) {
  std::vector<Control> controls;
  const int count = camera.controlCount;
  for (int index = 0; index < count; ++index) {
    Control control;
    if (camera.GetControlCaps(index, &control.caps) == 0) continue;
    control.id = control.caps.controlType;
    controls.push_back(control);
  }
  return controls;
}

Control FindControl(CModelCamera& camera, std::string_view name) {
  const std::string wanted = Lower(name);
  for (const Control& control : ListControls(camera)) {
    if (Lower(control.caps.name) == wanted) return control;
  }
  for (int id = 0; id < kControlTypes; ++id) {
    _ORQ_CONTROL_CAPS caps{};
    camera.GetCtrllCaps(static_cast<ORQ_CONTROL_TYPE>(id), &caps);
    if (Lower(caps.name) == wanted) {
      throw CliError(Status::Unsupported,
                     std::string(caps.name) + " is not supported by this camera; it has " + NamesOf(camera));
    }
  }
  throw CliError(kExitUsage, "unknown control '" + std::string(name) + "'; this camera has " + NamesOf(camera));
}

Control FindControl(CModelCamera& camera, ORQ_CONTROL_TYPE id) {
  _ORQ_CONTROL_CAPS caps{};
  camera.GetCtrllCaps(id, &caps);
  return FindControl(camera, caps.name);
}

FreshValues::FreshValues(Session& session) : camera_(MakeWithoutSettings(session)) {
  if (session.Camera().usb3Host != 0) camera_->bandwidthPerc = camera_->usb3Bandwidth.Load();
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

std::optional<ControlReading> TryReadControl(Session& session, const Control& control) {
  // The camera repeats the last temperature then, which at first is 0.
  if (control.id == ORQ_TEMPERATURE && !ThermometerAnswers(session.Camera())) {
    if (session.Camera().DeviceLost()) session.Fail("cannot read " + control.Name());
    return ControlReading{.trouble = "the thermometer does not answer"};
  }
  long value = 0;
  ORQ_BOOL automatic = 0;
  const int result = session.Camera().GetControlValue(control.id, &value, &automatic);
  if (result == CTRL_NOT_SUPPORTED) return std::nullopt;
  if (result != CTRL_OK) session.Fail("cannot read " + control.Name());
  return ControlReading{value, automatic == 1};
}

ControlReading ReadControl(Session& session, const Control& control) {
  const auto reading = TryReadControl(session, control);
  if (!reading) throw CliError(Status::Unsupported, control.Name() + " is not supported by this camera");
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
  if (const auto beyond = Beyond(control, setting.raw)) throw CliError(Status::Range, *beyond);
}

void WriteControl(Session& session, const Control& control, const ControlSetting& setting) {
  if (control.caps.isWritable == 0) throw CliError(Status::Unsupported, control.Name() + " is read-only");
  if (setting.automatic && control.caps.isAutoSupported == 0) {
    throw CliError(Status::Unsupported, control.Name() + " cannot be automatic; give a value from " +
                                            ValueText(control, control.caps.minValue) + " to " +
                                            ValueText(control, control.caps.maxValue));
  }
  if (session.Strict()) DemandWithin(control, setting);
  const std::int64_t raw = setting.automatic ? ReadControl(session, control).raw : Clamped(control, setting.raw);
  const int result = session.Camera().SetControlValue(control.id, static_cast<long>(raw), setting.automatic);
  if (result == CTRL_NOT_SUPPORTED) {
    throw CliError(Status::Unsupported, control.Name() + " is not supported by this camera");
  }
  if (result != CTRL_OK) session.Fail("the camera refused " + control.Name() + " " + ValueText(control, raw));
}

void ApplyControl(Session& session, ORQ_CONTROL_TYPE id, const std::optional<std::string>& text) {
  if (!text) return;
  const Control control = FindControl(session.Camera(), id);
  WriteControl(session, control, ParseSetting(control, *text));
}

}  // namespace orq::cli
