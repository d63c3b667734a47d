// Reading and setting controls.
#pragma once

#include <cstdint>
#include <string>

#include "session/controls/Controls.h"

namespace orq::session {

struct ControlReading {
  std::int64_t raw = 0;
  bool automatic = false;
  std::string trouble{};  ///< why the value is unknown; empty: it is known
};
/// Throws Failure: the camera lists the control but does not support it (Unsupported), or does not answer.
ControlReading ReadControl(CModelCamera& camera, const Control& control);

/// What to set: a raw value, or automatic.
struct ControlSetting {
  std::int64_t raw = 0;
  bool automatic = false;
};
/// Sets it. Throws Failure, and then nothing is set: read-only, never automatic or not there (Unsupported), beyond
/// its limits (Range), refused or lost.
void WriteControl(CModelCamera& camera, const Control& control, const ControlSetting& setting);

}  // namespace orq::session
