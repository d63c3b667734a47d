#include "session/controls/Controls.h"

#include "controls/ControlCatalogue.h"
#include "session/Failure.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

// The camera's controls for which a message lists the names.
std::string NamesOf(CModelCamera& camera) {
  std::vector<std::string> names;
  for (const Control& control : ListControls(camera)) names.push_back(control.Name());
  return Join(names);
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

std::string ValueText(const Control& control, std::int64_t raw) {
  if (control.id == ORQ_EXPOSURE && raw >= 0) return ExposureText(static_cast<std::uint64_t>(raw));
  const int scale = UnitOf(control.id).scale;
  if (scale == 1) return std::to_string(raw);
  const std::string text = Number(static_cast<double>(raw) / scale);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

Control ControlOfModel(const ModelData& model, std::int32_t id) {
  if (id < 0 || id >= kControlTypes)
    throw Failure(Status::Range, Format("the catalogue has the controls 0 to %d", kControlTypes - 1));
  CapabilityFlags flags;
  flags.bandwidthAutoSupported = model.bandwidthAuto;
  Control control{.id = static_cast<ORQ_CONTROL_TYPE>(id)};
  DescribeControl(control.id, {model.limits, flags, model.maxHeight}, control.caps);
  return control;
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
  if (Control mode{.id = ORQ_READOUT_MODE}; camera.DescribeReadoutMode(mode.caps)) controls.push_back(mode);
  return controls;
}

Control FindControl(CModelCamera& camera, std::string_view name) {
  const std::string wanted = Lower(name);
  for (const Control& control : ListControls(camera))
    if (Lower(control.caps.name) == wanted) return control;
  for (int id = 0; id < kControlTypes; ++id) {
    _ORQ_CONTROL_CAPS caps{};
    camera.GetCtrllCaps(static_cast<ORQ_CONTROL_TYPE>(id), &caps);
    if (Lower(caps.name) == wanted) {
      throw Failure(Status::Unsupported,
                    std::string(caps.name) + " is not supported by this camera; it has " + NamesOf(camera));
    }
  }
  if (wanted == Lower(kReadoutModeName)) {
    throw Failure(Status::Unsupported,
                  std::string(kReadoutModeName) + " is not supported by this camera; it has " + NamesOf(camera));
  }
  throw Failure(Status::Invalid,
                "unknown control '" + std::string(name) + "'; this camera has " + NamesOf(camera));
}

Control FindControl(CModelCamera& camera, ORQ_CONTROL_TYPE id) {
  if (id == ORQ_READOUT_MODE) return FindControl(camera, kReadoutModeName);
  _ORQ_CONTROL_CAPS caps{};
  camera.GetCtrllCaps(id, &caps);
  return FindControl(camera, caps.name);
}

}  // namespace orq::session
