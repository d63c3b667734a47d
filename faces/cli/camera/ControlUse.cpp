#include "camera/ControlUse.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "options/Quantities.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

bool IsSwitch(const orq_control_info& control) {
  return control.minimum == 0 && control.maximum == 1;
}

// As a user writes it: "200ms" for exposures, "12.0", "300".
std::string ValueText(const orq_control_info& control, std::int64_t raw) {
  if (control.id == ORQ_CONTROL_EXPOSURE && raw >= 0)
    return session::ExposureText(static_cast<std::uint64_t>(raw));
  if (control.scale == 1) return std::to_string(raw);
  const std::string text = Number(static_cast<double>(raw) / control.scale);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::int64_t ParseScaled(const orq_control_info& control, std::string_view text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(std::abs(number) < 1e6))
    throw CliError(kExitUsage, std::string(control.name) + " '" + std::string(text) + "' is not a number");
  return std::llround(number * control.scale);
}

// Which limit `raw` is beyond, in words; nothing when it is within both.
std::optional<std::string> Beyond(const orq_control_info& control, std::int64_t raw) {
  const bool below = raw < control.minimum;
  if (!below && raw <= control.maximum) return std::nullopt;
  return control.name + (" " + ValueText(control, raw)) +
         (below ? " is below the minimum " + ValueText(control, control.minimum)
                : " is above the maximum " + ValueText(control, control.maximum));
}

}  // namespace

Json ScaledValue(const orq_control_info& control, std::int64_t raw) {
  return control.scale == 1 ? Json(raw) : Json(static_cast<double>(raw) / control.scale);
}

ControlState ReadControl(Device& camera, const orq_control_info& control) {
  try {
    const ControlValue now = camera->controlValue(control.id);
    return {.raw = now.value, .automatic = now.automatic};
  } catch (const RefusedError& refused) {
    // What is measured may be unknown for a moment.
    if (control.id != ORQ_CONTROL_TEMPERATURE) throw;
    return {.trouble = refused.what()};
  }
}

std::optional<ControlState> TryReadControl(Device& camera, const orq_control_info& control) {
  try {
    return ReadControl(camera, control);
  } catch (const UnsupportedError&) {
    return std::nullopt;
  }
}

ControlChange ParseChange(const orq_control_info& control, std::string_view text) {
  const std::string word = Lower(text);
  if (word == "auto") return {0, true};
  if (IsSwitch(control) && (word == "on" || word == "off")) return {word == "on" ? 1 : 0, false};
  if (control.id == ORQ_CONTROL_EXPOSURE) return {static_cast<std::int64_t>(ParseExposure(text)), false};
  if (control.scale != 1) return {ParseScaled(control, text), false};
  return {ParseInteger(text, control.name), false};
}

void DemandWithin(const orq_control_info& control, const ControlChange& change) {
  if (change.automatic) return;
  if (const auto beyond = Beyond(control, change.raw)) throw CliError(ORQ_ERROR_RANGE, *beyond);
}

void WriteControl(Device& camera, const orq_control_info& control, const ControlChange& change) {
  if (change.automatic) return camera->automatic(control.id);
  const auto beyond = Beyond(control, change.raw);
  if (!beyond || camera.Strict()) return camera->control(control.id, change.raw);
  const std::int64_t within = std::clamp(change.raw, control.minimum, control.maximum);
  camera->control(control.id, within);
  Complain(*beyond + ": set to " + ValueText(control, within));
}

void ApplyControl(Device& camera, const std::string& name, const std::optional<std::string>& text) {
  if (!text) return;
  const orq_control_info control = camera->control(name);
  WriteControl(camera, control, ParseChange(control, *text));
}

}  // namespace orq::cli
