// Reading and setting controls, with word of what was changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "session/controls/Controls.h"

namespace orq::session {

struct ControlReading {
  std::int64_t raw = 0;
  bool automatic = false;
  std::string trouble{};  ///< why the value is unknown; empty: it is known
};
/// Nothing when the camera lists the control but does not support it. Throws Failure: the camera does not answer.
std::optional<ControlReading> TryReadControl(CModelCamera& camera, const Control& control);
/// The same; not supported is a Failure (Unsupported) as well.
ControlReading ReadControl(CModelCamera& camera, const Control& control);

/// What to set: a raw value, or automatic.
struct ControlSetting {
  std::int64_t raw = 0;
  bool automatic = false;
};
/// "300", "on", "auto", "200ms" (exposure), "-5.5" (temperatures). Throws Failure (Invalid).
ControlSetting ParseSetting(const Control& control, std::string_view text);

/// What becomes of a value beyond its limits.
enum class Limits {
  Clamp,   ///< it is brought within them
  Demand,  ///< nothing is set
};
/// Throws Failure (Range) when the value is beyond the control's limits.
void DemandWithin(const Control& control, const ControlSetting& setting);
/// Sets it. Returns one line for a user when the value had to be clamped, else nothing. Throws Failure: read-only,
/// never automatic or not there (Unsupported), beyond what is demanded (Range), refused or lost.
std::string WriteControl(CModelCamera& camera, const Control& control, const ControlSetting& setting,
                         Limits limits);

}  // namespace orq::session
