#include "panels/ControlPanel.h"

#include <indilogger.h>

#include <algorithm>
#include <cmath>

namespace orq::indi {
namespace {

constexpr const char* kControlsTab = "Controls";

/// What has properties of its own, under names that clients know.
bool isElsewhere(int id) {
  switch (id) {
    case ORQ_CONTROL_EXPOSURE:
    case ORQ_CONTROL_TEMPERATURE:
    case ORQ_CONTROL_COOLER_POWER:
    case ORQ_CONTROL_TARGET_TEMPERATURE:
    case ORQ_CONTROL_COOLER_ON:
    case ORQ_CONTROL_GPS_SUPPORT:
    case ORQ_CONTROL_GPS_START_LINE:
    case ORQ_CONTROL_GPS_END_LINE:
    case ORQ_CONTROL_HUB_RESET:  // not to be cut off by a configuration that is loaded
      return true;
    default:
      return false;
  }
}

double shown(const orq_control_info& control, std::int64_t value) {
  return static_cast<double>(value) / control.scale;
}

}  // namespace

void ControlPanel::fill(Group& group, const char* name, const char* label, const char* tab, IPerm permission) {
  group.property.fill(device_.getDeviceName(), name, label, tab, permission, 60, IPS_IDLE);
  group.property.resize(0);
  group.controls.clear();
}

void ControlPanel::add(Group& group, const orq_control_info& control, const char* element) {
  const std::size_t at = group.controls.size();
  group.property.resize(at + 1);
  const std::string unit = control.unit;
  const std::string label = std::string(control.name) + (unit.empty() ? "" : " (" + unit + ")");
  group.property[at].fill(element, label.c_str(), control.scale == 1 ? "%.f" : "%.1f",
                          shown(control, control.minimum), shown(control, control.maximum), 1.0 / control.scale,
                          shown(control, camera_->control(control.id)));
  group.controls.push_back(control);
}

void ControlPanel::connected(Camera& camera) {
  camera_ = &camera;
  fill(gain_, "CCD_GAIN", "Gain", MAIN_CONTROL_TAB, IP_RW);
  fill(offset_, "CCD_OFFSET", "Offset", MAIN_CONTROL_TAB, IP_RW);
  fill(rest_, "CCD_CONTROLS", "Controls", kControlsTab, IP_RW);
  fill(readings_, "CCD_READINGS", "Readings", kControlsTab, IP_RO);
  automatic_.clear();
  modes_.resize(0);
  modes_.fill(device_.getDeviceName(), "CCD_CONTROLS_MODE", "Automatic", kControlsTab, IP_RW, ISR_NOFMANY, 60,
              IPS_IDLE);
  for (const orq_control_info& control : camera.controls()) {
    if (control.automatic != 0) {
      modes_.resize(automatic_.size() + 1);
      modes_[automatic_.size()].fill((std::string("AUTO_") + control.name).c_str(), control.name, ISS_OFF);
      automatic_.push_back(control);
    }
    if (isElsewhere(control.id)) continue;
    if (control.id == ORQ_CONTROL_GAIN)
      add(gain_, control, "GAIN");
    else if (control.id == ORQ_CONTROL_OFFSET)
      add(offset_, control, "OFFSET");
    else
      add(control.writable != 0 ? rest_ : readings_, control, control.name);
  }
  for (Group* group : {&gain_, &offset_, &rest_, &readings_})
    if (!group->controls.empty()) device_.defineProperty(group->property);
  if (!automatic_.empty()) device_.defineProperty(modes_);
  refreshModes();
}

void ControlPanel::disconnected() {
  if (camera_ == nullptr) return;
  camera_ = nullptr;
  for (Group* group : {&gain_, &offset_, &rest_, &readings_})
    if (!group->controls.empty()) device_.deleteProperty(group->property);
  if (!automatic_.empty()) device_.deleteProperty(modes_);
}

bool ControlPanel::set(const NumberRequest& request) {
  for (Group* group : {&gain_, &offset_, &rest_})
    if (!group->controls.empty() && group->property.isNameMatch(std::string(request.property)))
      return set(*group, request);
  return false;
}

// A value that the camera does not take leaves the others of the request alone, and none is changed silently: the
// property goes to alert, and the library's words say what is offered.
bool ControlPanel::set(Group& group, const NumberRequest& request) {
  group.property.setState(IPS_OK);
  for (const auto& [element, value] : request.values) {
    const int at = group.property.findWidgetIndexByName(std::string(element).c_str());
    if (at < 0) continue;
    const orq_control_info& control = group.controls[static_cast<std::size_t>(at)];
    const auto raw = static_cast<std::int64_t>(std::llround(value * control.scale));
    try {
      if (camera_->control(control.id) != raw) camera_->control(control.id, raw);
    } catch (const Error& failure) {
      DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
      group.property.setState(IPS_ALERT);
    }
  }
  // What one changes another may follow, and a setting of a value ends its automatic.
  for (Group* other : {&gain_, &offset_, &rest_})
    if (refresh(*other) && other != &group) other->property.apply();
  group.property.apply();
  refreshModes();
  return true;
}

bool ControlPanel::set(const SwitchRequest& request) {
  if (automatic_.empty() || !modes_.isNameMatch(std::string(request.property))) return false;
  modes_.setState(IPS_OK);
  for (const auto& [element, on] : request.values) {
    const int at = modes_.findWidgetIndexByName(std::string(element).c_str());
    if (at < 0) continue;
    const std::int32_t id = automatic_[static_cast<std::size_t>(at)].id;
    try {
      if (on == camera_->isAutomatic(id)) continue;
      if (on)
        camera_->automatic(id);
      else
        camera_->control(id, camera_->control(id));
    } catch (const Error& failure) {
      DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
      modes_.setState(IPS_ALERT);
    }
  }
  refreshModes();
  modes_.apply();
  return true;
}

void ControlPanel::save(std::FILE* file) {
  if (camera_ == nullptr) return;
  for (Group* group : {&gain_, &offset_, &rest_})
    if (!group->controls.empty()) group->property.save(file);
  if (!automatic_.empty()) modes_.save(file);
}

bool ControlPanel::refresh(Group& group) {
  bool changed = false;
  for (std::size_t i = 0; i < group.controls.size(); ++i) {
    try {
      const double value = shown(group.controls[i], camera_->control(group.controls[i].id));
      changed = changed || value != group.property[i].getValue();
      group.property[i].setValue(value);
    } catch (const Error&) {
      // Not known now: what was known last stays.
    }
  }
  return changed;
}

void ControlPanel::refreshModes() {
  bool changed = false;
  for (std::size_t i = 0; i < automatic_.size(); ++i) {
    try {
      const ISState state = camera_->isAutomatic(automatic_[i].id) ? ISS_ON : ISS_OFF;
      changed = changed || state != modes_[i].getState();
      modes_[i].setState(state);
    } catch (const Error&) {
      // As above.
    }
  }
  if (changed) modes_.apply();
}

void ControlPanel::tick() {
  if (camera_ == nullptr) return;
  for (Group* group : {&gain_, &offset_, &rest_, &readings_})
    if (!group->controls.empty() && refresh(*group)) group->property.apply();
  refreshModes();
}

}  // namespace orq::indi
