// A camera's controls: their names, limits and units.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
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
/// A raw value as a user writes it: "200ms" for exposures, "12.0", "300".
std::string ValueText(const Control& control, std::int64_t raw);

/// One control of a model as the catalogue has it, without a camera; both limits are 0 when the model has it not.
/// Throws Failure (Range) for an id that is not in the catalogue.
Control ControlOfModel(const ModelData& model, std::int32_t id);

/// The camera's controls in catalogue order.
std::vector<Control> ListControls(CModelCamera& camera);
/// By catalogue name in any case. Throws Failure: Invalid with the right names when no camera has such a control,
/// Unsupported when this one does not.
Control FindControl(CModelCamera& camera, std::string_view name);
/// The same for a control that a program itself needs.
Control FindControl(CModelCamera& camera, ORQ_CONTROL_TYPE id);

}  // namespace orq::session
