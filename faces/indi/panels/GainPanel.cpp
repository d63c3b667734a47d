#include "panels/GainPanel.h"

#include <indilogger.h>

#include <iterator>

namespace orq::indi {
namespace {

struct PresetName {
  int preset;
  const char* element;
  const char* label;
  const char* gainLabel;
};
constexpr PresetName kPresets[] = {
    {ORQ_GAIN_UNITY, "UNITY", "Unity: a count is an electron", "Gain for unity"},
    {ORQ_GAIN_LOWEST_NOISE, "LOWEST_NOISE", "Lowest read noise", "Gain for the lowest read noise"},
    {ORQ_GAIN_LARGEST_RANGE, "LARGEST_RANGE", "Largest dynamic range", "Gain for the largest dynamic range"}};
constexpr std::size_t kElectrons = std::size(kPresets);  // the element behind those of the presets
constexpr double kMost = 1e6;

}  // namespace

void GainPanel::connected(Camera& camera) {
  try {
    camera.gainPreset(ORQ_GAIN_UNITY);
  } catch (const UnsupportedError&) {
    return;
  }
  camera_ = &camera;
  for (std::size_t i = 0; i < std::size(kPresets); ++i) {
    preset_[i].fill(kPresets[i].element, kPresets[i].label, ISS_OFF);
    gains_[i].fill(kPresets[i].element, kPresets[i].gainLabel, "%.f", 0, kMost, 0, 0);
  }
  gains_[kElectrons].fill("ELECTRONS_PER_COUNT", "Electrons per count now", "%.3f", 0, kMost, 0, 0);
  const char* const name = device_.getDeviceName();
  preset_.fill(name, "ORQ_GAIN_PRESET", "Gain preset", MAIN_CONTROL_TAB, IP_RW, ISR_ATMOST1, 60, IPS_IDLE);
  gains_.fill(name, "ORQ_GAINS", "Gain presets", MAIN_CONTROL_TAB, IP_RO, 60, IPS_IDLE);
  refresh();
  device_.defineProperty(preset_);
  device_.defineProperty(gains_);
}

void GainPanel::disconnected() {
  if (camera_ == nullptr) return;
  camera_ = nullptr;
  device_.deleteProperty(preset_);
  device_.deleteProperty(gains_);
}

bool GainPanel::refresh() {
  const std::int64_t now = camera_->gain();
  bool changed = false;
  const auto show = [&](std::size_t at, double value) {
    changed = changed || gains_[at].getValue() != value;
    gains_[at].setValue(value);
  };
  for (std::size_t i = 0; i < std::size(kPresets); ++i) {
    const std::int32_t gain = camera_->gainPreset(kPresets[i].preset).gain;
    const ISState state = gain == now ? ISS_ON : ISS_OFF;
    changed = changed || preset_[i].getState() != state;
    preset_[i].setState(state);
    show(i, gain);
  }
  show(kElectrons, camera_->info().electrons_per_adu);
  return changed;
}

void GainPanel::tick() {
  if (camera_ == nullptr) return;
  try {
    if (!refresh()) return;
  } catch (const Error&) {
    return;  // not known now: what was known last stays
  }
  preset_.apply();
  gains_.apply();
}

bool GainPanel::set(const SwitchRequest& request) {
  if (camera_ == nullptr || request.property != "ORQ_GAIN_PRESET") return false;
  preset_.setState(IPS_OK);
  try {
    for (const PresetName& preset : kPresets)
      if (request.chosen() == preset.element) camera_->gain(camera_->gainPreset(preset.preset).gain);
    refresh();
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
    preset_.setState(IPS_ALERT);
  }
  preset_.apply();
  gains_.apply();
  changed_();
  return true;
}

}  // namespace orq::indi
