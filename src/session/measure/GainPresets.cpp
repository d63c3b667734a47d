#include "session/measure/GainPresets.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "session/Failure.h"

namespace orq::session {
namespace {

/// How far a gain is from what the preset stands for: the smaller the better.
double Miss(const PresetGain& candidate, GainPreset preset, double fullWell, double span) {
  switch (preset) {
    case GainPreset::Unity:
      return std::fabs(std::log(candidate.electronsPerCount));
    case GainPreset::LowestNoise:
      return candidate.electronsPerCount;
    case GainPreset::LargestRange: {
      const double lost = std::max(fullWell - candidate.electronsPerCount * span, 0.0);
      return lost > 0.0 ? fullWell + lost : candidate.electronsPerCount;
    }
  }
  return 0.0;
}

}  // namespace

PresetGain GainOf(const ModelData& model, int readoutMode, GainPreset preset) {
  const ReadoutMode mode = ReadoutModeOf(model, readoutMode);
  if (!(mode.baseElectronsPerAdu > 0.0F) || !(mode.fullWellElectrons > 0.0)) {
    throw Failure(Status::Unsupported,
                  "what a count of the " + std::string(model.name) + " is worth in electrons is not known");
  }
  const double span = std::ldexp(1.0, model.adcBits) - 1.0;
  PresetGain best;
  double least = HUGE_VAL;
  for (int gain = model.limits.gainMin; gain <= model.limits.gainMax; ++gain) {
    if (model.sensor->NearestGain(gain) != gain) continue;
    PresetGain candidate{.gain = gain, .electronsPerCount = ElectronsPerAdc(model, readoutMode, gain)};
    candidate.mostElectrons = std::min(mode.fullWellElectrons, candidate.electronsPerCount * span);
    const double miss = Miss(candidate, preset, mode.fullWellElectrons, span);
    if (miss >= least) continue;
    least = miss;
    best = candidate;
  }
  return best;
}

}  // namespace orq::session
