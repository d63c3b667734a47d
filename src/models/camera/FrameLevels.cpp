#include "models/camera/FrameLevels.h"

#include <algorithm>
#include <cmath>

#include "image/frame/FrameKernels.h"
#include "image/frame/Gamma.h"

namespace orq {
namespace {

constexpr int kFastBits = 10;
constexpr int kNeutralGamma = 50;

double BlackCounts(const ModelData& model, const PixelTreatment& treatment) {
  return static_cast<double>(treatment.offset) * model.countsPerOffset;
}

/// Of a pixel whose well is full. The sensor adds the charge of pixels that it bins.
double FullCounts(const ModelData& model, const FrameSetup& setup, const PixelTreatment& treatment) {
  const double perCount = ElectronsPerAdc(model, treatment.readoutMode, treatment.gain);
  const double fullWell = ReadoutModeOf(model, treatment.readoutMode).fullWellElectrons;
  if (fullWell <= 0.0 || perCount <= 0.0) return HUGE_VAL;
  const int pixels = setup.stages.hardware * setup.stages.hardware;
  return BlackCounts(model, treatment) + pixels * fullWell / perCount;
}

/// What the camera sends for so many counts.
double SampleOf(const ModelData& model, const FrameSetup& setup, bool highSpeed, double counts) {
  const int largest = (1 << model.adcBits) - 1;
  int whole = static_cast<int>(std::clamp(counts, 0.0, static_cast<double>(largest)));
  if (highSpeed && model.adcBits > kFastBits) {
    const int cut = model.adcBits - kFastBits;
    whole = (whole >> cut) << cut;
  }
  return std::floor(std::ldexp(whole, (setup.wide ? 16 : 8) - model.adcBits));
}

double Curved(bool wide, int gamma, double value) {
  if (gamma == kNeutralGamma) return value;
  const long nearest = std::lround(value);
  return wide ? GammaCurve16(gamma, static_cast<std::uint16_t>(nearest))
              : GammaCurve8(gamma, static_cast<std::uint8_t>(nearest));
}

/// What becomes of a sample that stands for all pixels of the frame.
std::optional<double> Delivered(const FrameSetup& setup, const PixelTreatment& treatment, double sample) {
  const double largest = setup.wide ? 65535.0 : 255.0;
  const double unit = setup.wide ? 256.0 : 1.0;
  double value = std::clamp(sample - treatment.darkExcess * unit, 0.0, largest);
  if (!setup.wide) value = std::min(value * setup.stages.host * setup.stages.host, largest);
  const IMG_TYPE format = setup.region.format;
  const bool colours = format == ORQ_IMG_RGB24 || format == ORQ_IMG_Y8;
  if (!colours || setup.rawPattern < 0 || treatment.mixed) return Curved(setup.wide, treatment.gamma, value);

  const auto balanced = [&](int factor) {
    const double scaled = std::min(value * factor / kNeutralWhiteBalance, largest);
    return Curved(false, treatment.gamma, scaled);
  };
  const double red = balanced(treatment.red);
  const double green = balanced(kNeutralWhiteBalance);
  const double blue = balanced(treatment.blue);
  if (format == ORQ_IMG_Y8) return 0.299 * red + 0.587 * green + 0.114 * blue;
  if (red != green || blue != green) return std::nullopt;
  return green;
}

}  // namespace

PixelLevels LevelsOf(const ModelData& model, const FrameSetup& setup, const PixelTreatment& treatment) {
  if (model.countsPerOffset == 0) return {};
  const auto level = [&](double counts) {
    return Delivered(setup, treatment, SampleOf(model, setup, treatment.highSpeed, counts));
  };
  return {.black = level(BlackCounts(model, treatment)), .saturated = level(FullCounts(model, setup, treatment))};
}

}  // namespace orq
