#include "panels/TriggerPanel.h"

#include <indilogger.h>

#include <cmath>
#include <cstring>

namespace orq::indi {
namespace {

constexpr const char* kTab = "Triggers";
constexpr double kLongestUs = 2e9;

struct ModeName {
  const char* element;
  const char* label;
};
constexpr ModeName kModes[] = {{"FREE", "Free running"},
                               {"SOFTWARE", "Software"},
                               {"RISING", "Rising edge"},
                               {"FALLING", "Falling edge"},
                               {"SOFTWARE_LEVEL", "Software, by level"},
                               {"HIGH", "While high"},
                               {"LOW", "While low"}};
constexpr const char* kOutputs[] = {"ORQ_OUTPUT_A", "ORQ_OUTPUT_B"};

}  // namespace

void TriggerPanel::connected(Camera& camera) {
  camera_ = &camera;
  modes_.clear();
  outputs_.clear();
  if (const std::uint32_t offered = camera.triggerModes(); (offered & ~1U) != 0) {
    mode_.resize(0);
    mode_.fill(device_.getDeviceName(), "ORQ_TRIGGER_MODE", "Exposures begin", kTab, IP_RW, ISR_1OFMANY, 60,
               IPS_IDLE);
    for (int mode = 0; mode < static_cast<int>(std::size(kModes)); ++mode) {
      if ((offered >> mode & 1U) == 0) continue;
      mode_.resize(modes_.size() + 1);
      mode_[modes_.size()].fill(kModes[mode].element, kModes[mode].label, ISS_OFF);
      modes_.push_back(mode);
    }
    send_[0].fill("SEND", "Send", ISS_OFF);
    send_.fill(device_.getDeviceName(), "ORQ_TRIGGER", "Software trigger", kTab, IP_RW, ISR_ATMOST1, 60, IPS_IDLE);
    device_.defineProperty(mode_);
    device_.defineProperty(send_);
    showMode();
  }
  for (int output = ORQ_OUTPUT_A; output <= ORQ_OUTPUT_B; ++output) {
    try {
      const orq_trigger_output pulse = camera.triggerOutput(output);
      INDI::PropertyNumber property(3);
      property[0].fill("ACTIVE_HIGH", "1: high in the pulse", "%.f", 0, 1, 1, pulse.active_high);
      property[1].fill("DELAY_US", "From the exposure's start (us)", "%.f", 0, kLongestUs, 0, pulse.delay_us);
      property[2].fill("LENGTH_US", "Length (us), 0: none", "%.f", 0, kLongestUs, 0, pulse.length_us);
      property.fill(device_.getDeviceName(), kOutputs[output], output == ORQ_OUTPUT_A ? "Output A" : "Output B",
                    kTab, IP_RW, 60, IPS_IDLE);
      device_.defineProperty(property);
      outputs_.push_back(property);
    } catch (const Error&) {
      break;  // this camera has none
    }
  }
}

void TriggerPanel::disconnected() {
  if (camera_ == nullptr) return;
  camera_ = nullptr;
  if (!modes_.empty()) {
    device_.deleteProperty(mode_);
    device_.deleteProperty(send_);
  }
  for (INDI::PropertyNumber& output : outputs_) device_.deleteProperty(output);
}

void TriggerPanel::showMode() {
  const int mode = camera_->triggerMode();
  for (std::size_t i = 0; i < modes_.size(); ++i) mode_[i].setState(modes_[i] == mode ? ISS_ON : ISS_OFF);
  mode_.apply();
}

void TriggerPanel::setMode(std::string_view chosen) {
  mode_.setState(IPS_OK);
  try {
    const int at = mode_.findWidgetIndexByName(std::string(chosen).c_str());
    if (at < 0) throw InvalidError("one mode must be chosen");
    camera_->triggerMode(modes_[static_cast<std::size_t>(at)]);
    return showMode();
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
  }
  mode_.setState(IPS_ALERT);
  mode_.apply();
}

void TriggerPanel::send(bool wanted) {
  send_.setState(wanted ? IPS_OK : IPS_IDLE);
  try {
    if (wanted) camera_->trigger();
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
    send_.setState(IPS_ALERT);
  }
  send_.reset();
  send_.apply();
}

bool TriggerPanel::set(const SwitchRequest& request) {
  if (modes_.empty()) return false;
  if (request.property == "ORQ_TRIGGER_MODE") {
    setMode(request.chosen());
    return true;
  }
  if (request.property != "ORQ_TRIGGER") return false;
  send(request.chosen() == "SEND");
  return true;
}

bool TriggerPanel::set(const NumberRequest& request) {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    INDI::PropertyNumber& property = outputs_[i];
    if (request.property != kOutputs[i]) continue;
    property.setState(IPS_OK);
    try {
      double wanted[] = {property[0].getValue(), property[1].getValue(), property[2].getValue()};
      for (const auto& [element, value] : request.values) {
        const int at = property.findWidgetIndexByName(std::string(element).c_str());
        if (at >= 0) wanted[at] = value;
      }
      orq_trigger_output pulse = sized<orq_trigger_output>();
      pulse.active_high = static_cast<std::int32_t>(std::lround(wanted[0]));
      pulse.delay_us = static_cast<std::int32_t>(std::lround(wanted[1]));
      pulse.length_us = static_cast<std::int32_t>(std::lround(wanted[2]));
      camera_->triggerOutput(static_cast<int>(i), pulse);
      pulse = camera_->triggerOutput(static_cast<int>(i));  // as the camera holds it
      property[0].setValue(pulse.active_high);
      property[1].setValue(pulse.delay_us);
      property[2].setValue(pulse.length_us);
    } catch (const Error& failure) {
      DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
      property.setState(IPS_ALERT);
    }
    property.apply();
    return true;
  }
  return false;
}

void TriggerPanel::save(std::FILE* file) {
  if (camera_ == nullptr) return;
  if (!modes_.empty()) mode_.save(file);
  for (const INDI::PropertyNumber& output : outputs_) output.save(file);
}

}  // namespace orq::indi
