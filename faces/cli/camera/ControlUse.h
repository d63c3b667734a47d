// Controls as the commands show and set them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "camera/Device.h"

namespace orq::cli {

/// A raw value in its unit, as a number for JSON and for text.
Json ScaledValue(const orq_control_info& control, std::int64_t raw);

struct ControlState {
  std::int64_t raw = 0;
  bool automatic = false;
  std::string trouble{};  ///< why the value is unknown; empty: it is known
};
/// Throws Error.
ControlState ReadControl(Device& camera, const orq_control_info& control);
/// Nothing when the camera lists the control but does not support it.
std::optional<ControlState> TryReadControl(Device& camera, const orq_control_info& control);

/// What to set: a raw value, or automatic.
struct ControlChange {
  std::int64_t raw = 0;
  bool automatic = false;
};
/// "300", "on", "auto", "200ms" (exposure), "-5.5" (temperatures). Throws CliError (usage).
ControlChange ParseChange(const orq_control_info& control, std::string_view text);
/// Throws CliError when the value is beyond the control's limits.
void DemandWithin(const orq_control_info& control, const ControlChange& change);

/// Sets it and says on standard error when the value had to be clamped. Throws Error when it is read-only, not
/// supported or refused, or beyond its limits in a strict session.
void WriteControl(Device& camera, const orq_control_info& control, const ControlChange& change);
/// For an option of the tool itself; one that was not given changes nothing.
void ApplyControl(Device& camera, const std::string& name, const std::optional<std::string>& text);

}  // namespace orq::cli
