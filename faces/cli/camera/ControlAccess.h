// Controls as the commands show and set them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/Session.h"
#include "session/controls/ControlValues.h"

namespace orq::cli {

/// A raw value in its unit, as a number for JSON and for text.
Json ScaledValue(ORQ_CONTROL_TYPE id, std::int64_t raw);

/// Sets it and says on standard error when the value had to be clamped. Throws Failure when it is read-only, not
/// supported or refused, or beyond its limits in a strict session.
void WriteControl(Session& session, const Control& control, const ControlSetting& setting);
/// For an option of the tool itself; one that was not given changes nothing.
void ApplyControl(Session& session, ORQ_CONTROL_TYPE id, const std::optional<std::string>& text);

}  // namespace orq::cli
