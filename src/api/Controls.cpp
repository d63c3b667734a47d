// Controls: described, read, set.
#include <limits>
#include <optional>
#include <string>
#include <tuple>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraAutomatic.h"
#include "session/camera/CameraControls.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

orq_control_info InfoOf(const session::Control& control, std::int64_t usual) {
  const session::ControlUnit unit = session::UnitOf(control.id);
  orq_control_info info{};
  info.size = sizeof info;
  info.id = control.id;
  CopyText(control.caps.name, info.name);
  CopyText(control.caps.description, info.description);
  CopyText(unit.unit, info.unit);
  info.minimum = control.caps.minValue;
  info.maximum = control.caps.maxValue;
  info.default_value = usual;
  info.scale = unit.scale;
  info.automatic = control.caps.isAutoSupported != 0 ? 1 : 0;
  info.writable = control.caps.isWritable != 0 ? 1 : 0;
  return info;
}

}  // namespace

orq_status orq_model_control(const char* model, int32_t id, orq_control_info* info) {
  return Guarded([&] {
    DemandText(model, "model");
    DemandStruct(info, "info");
    const ModelData* const found = FindModel(std::string_view(model));
    if (found == nullptr)
      throw session::Failure(session::Status::NotFound, std::string("no model is called '") + model + "'");
    const session::Control control = session::ControlOfModel(*found, id);
    GiveStruct(InfoOf(control, control.caps.defaultValue), info);
  });
}

orq_status orq_control_count(orq_camera* camera, int32_t* count) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(count, "count") = static_cast<int32_t>(session::ControlsOf(*opened).size());
  });
}

orq_status orq_control_describe(orq_camera* camera, int32_t index, orq_control_info* info) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(info, "info");
    const auto controls = session::ControlsOf(*opened);
    if (index < 0 || static_cast<std::size_t>(index) >= controls.size())
      throw session::Failure(session::Status::Range,
                             "this camera has " + std::to_string(controls.size()) + " controls, counted from 0");
    const session::Control& control = controls[static_cast<std::size_t>(index)];
    GiveStruct(InfoOf(control, opened->DefaultOf(control)), info);
  });
}

orq_status orq_control_find(orq_camera* camera, const char* name, orq_control_info* info) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (name == nullptr) throw session::Failure(session::Status::Invalid, "name is null");
    DemandStruct(info, "info");
    const session::Control control = session::ControlOf(*opened, name);
    GiveStruct(InfoOf(control, opened->DefaultOf(control)), info);
  });
}

orq_status orq_control_get(orq_camera* camera, int32_t id, int64_t* value, int32_t* mode) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(value, "value");
    const session::ControlReading reading = session::Read(*opened, session::ControlOf(*opened, id));
    *value = reading.raw;
    if (mode != nullptr) *mode = reading.automatic ? ORQ_AUTOMATIC : ORQ_MANUAL;
  });
}

orq_status orq_control_set(orq_camera* camera, int32_t id, int64_t value, int32_t mode) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (mode != ORQ_MANUAL && mode != ORQ_AUTOMATIC)
      throw session::Failure(session::Status::Invalid, "mode must be ORQ_MANUAL or ORQ_AUTOMATIC");
    session::Write(*opened, session::ControlOf(*opened, id), {.raw = value, .automatic = mode == ORQ_AUTOMATIC});
  });
}

orq_status orq_gain_preset_get(orq_camera* camera, int32_t preset, orq_gain_preset* found) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (preset < ORQ_GAIN_UNITY || preset > ORQ_GAIN_LARGEST_RANGE)
      throw session::Failure(session::Status::Invalid, "preset must be one of ORQ_GAIN_...");
    DemandStruct(found, "found");
    const session::PresetGain gain = session::PresetOf(*opened, static_cast<session::GainPreset>(preset));
    orq_gain_preset given{};
    given.gain = gain.gain;
    given.electrons_per_adu = gain.electronsPerCount;
    given.most_electrons = gain.mostElectrons;
    GiveStruct(given, found);
  });
}

orq_status orq_automatic_get(orq_camera* camera, orq_automatic_state* state) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(state, "state");
    const session::AutomaticState now = session::AutomaticNow(*opened);
    orq_automatic_state given{};
    given.mean = now.reading.mean;
    given.target = now.reading.target;
    given.gain = now.reading.gain;
    given.exposure_us = now.reading.exposureUs;
    if (now.reading.whiteBalance) std::tie(given.wb_r, given.wb_b) = *now.reading.whiteBalance;
    given.settled = now.settled ? 1 : 0;
    given.on_target = now.onTarget ? 1 : 0;
    GiveStruct(given, state);
  });
}

orq_status orq_automatic_wait(orq_camera* camera, double seconds) {
  return Guarded([&] { session::AwaitSettled(*CameraOf(camera), Seconds(seconds)); });
}
