#include "session/controls/ControlValues.h"

#include "models/cooling/Cooler.h"
#include "session/LinkFailure.h"

namespace orq::session {

namespace {

void DemandWithin(const Control& control, std::int64_t raw) {
  const bool below = raw < control.caps.minValue;
  if (!below && raw <= control.caps.maxValue) return;
  throw Failure(Status::Range, control.Name() + " " + ValueText(control, raw) +
                                   (below ? " is below the minimum " + ValueText(control, control.caps.minValue)
                                          : " is above the maximum " + ValueText(control, control.caps.maxValue)));
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

ControlReading ReadControl(CModelCamera& camera, const Control& control) {
  // The camera repeats the last temperature then, which at first is 0.
  if (control.id == ORQ_TEMPERATURE && !ThermometerAnswers(camera)) {
    if (camera.DeviceLost()) throw LinkFailure(camera, "cannot read " + control.Name());
    return ControlReading{.trouble = "the thermometer does not answer"};
  }
  long value = 0;
  ORQ_BOOL automatic = 0;
  const int result = camera.GetControlValue(control.id, &value, &automatic);
  if (result == CTRL_NOT_SUPPORTED) throw NotSupported(control);
  if (result != CTRL_OK) throw LinkFailure(camera, "cannot read " + control.Name());
  return {value, automatic == 1};
}

void WriteControl(CModelCamera& camera, const Control& control, const ControlSetting& setting) {
  DemandWritable(control, setting);
  if (!setting.automatic) DemandWithin(control, setting.raw);
  const std::int64_t raw = setting.automatic ? ReadControl(camera, control).raw : setting.raw;
  const int result = camera.SetControlValue(control.id, static_cast<long>(raw), setting.automatic);
  if (result == CTRL_NOT_SUPPORTED) throw NotSupported(control);
  if (result != CTRL_OK)
    throw LinkFailure(camera, "the camera refused " + control.Name() + " " + ValueText(control, raw));
}

}  // namespace orq::session
