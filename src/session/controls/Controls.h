// A camera's controls: their names, limits and units.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "models/camera/ModelCamera.h"

namespace orq::session {

/// One control of a camera: its catalogue record.
struct Control {
  ORQ_CONTROL_TYPE id = ORQ_GAIN;
  _ORQ_CONTROL_CAPS caps{};
  std::string Name() const { return caps.name; }
};

/// How a control's raw values read: `raw / scale` in `unit`.
struct ControlUnit {
  const char* unit;
  int scale;
};
ControlUnit UnitOf(ORQ_CONTROL_TYPE id);
/// A raw value in its unit: whole where the scale is 1.
std::variant<std::int64_t, double> InUnit(ORQ_CONTROL_TYPE id, std::int64_t raw);
/// The same as a user writes it: "200ms" for exposures, "12.0", "300".
std::string ValueText(const Control& control, std::int64_t raw);

/// The camera's controls in catalogue order.
std::vector<Control> ListControls(CModelCamera& camera);
/// By catalogue name in any case. Throws Failure: Invalid with the right names when no camera has such a control,
/// Unsupported when this one does not.
Control FindControl(CModelCamera& camera, std::string_view name);
/// The same for a control that a program itself needs.
Control FindControl(CModelCamera& camera, ORQ_CONTROL_TYPE id);

}  // namespace orq::session
