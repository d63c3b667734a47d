#include <algorithm>
#include <cctype>

#include "image/FrameKernels.h"
#include "link/ProductIds.h"
#include "models/ModelData.h"

namespace orq {
namespace {

constexpr std::int32_t kLongestExposureUs = 2'000'000'000;

// White balance counts on colour sensors only.
constexpr ControlLimits CommonLimits() {
  ControlLimits limits;
  limits.exposureDefault = 10'000;
  limits.exposureMin = 32;
  limits.exposureMax = kLongestExposureUs;
  limits.gammaDefault = 50;
  limits.gammaMin = 0;
  limits.gammaMax = 100;
  limits.wbRedDefault = kNeutralWhiteBalance;
  limits.wbBlueDefault = kNeutralWhiteBalance;
  limits.wbMin = 1;
  limits.wbMax = 99;
  limits.bandwidthMin = 40;
  limits.bandwidthMax = 100;
  return limits;
}

constexpr ModelData K1C() {
  ModelData model;
  model.key = "k1c";
  model.name = "Tavix ORQ-K1C";
  model.summary = "2 megapixel colour camera, 12 bit, for planets and guiding";
  model.productId = pid::kK1C;
  model.maxWidth = 1936;
  model.maxHeight = 1096;
  model.pixelSizeUm = 2.9;
  model.adcBits = 12;
  model.colour = true;
  model.bayerPattern = 0;
  model.msbFirst = true;
  model.lineTimeNs = 13'500;
  model.baseElectronsPerAdu = 3.6F;
  model.formats = {true, true, true, true};
  model.limits = CommonLimits();
  model.limits.gainMax = 100;
  model.limits.offsetDefault = 8;
  model.limits.offsetMax = 240;
  model.guidePort = true;
  return model;
}

// The sensor is cooled, but the flag stays off until there is a cooler to command.
constexpr ModelData X26M() {
  ModelData model;
  model.key = "x26m";
  model.name = "Tavix ORQ-X26M";
  model.summary = "26 megapixel monochrome camera, 16 bit, for deep sky";
  model.productId = pid::kX26M;
  model.maxWidth = 6248;
  model.maxHeight = 4176;
  model.pixelSizeUm = 3.76;
  model.adcBits = 16;
  model.lineTimeNs = 36'800;
  model.baseElectronsPerAdu = 0.78F;
  model.limits = CommonLimits();
  model.limits.gainMax = 450;
  model.limits.offsetDefault = 20;
  model.limits.offsetMax = 240;
  model.hardwareBin = true;
  return model;
}

// Geometry, depth and colour come from the recording. Recorded pixels answer to no gain or offset, so there are
// none, and what an ADC unit was worth is not known.
constexpr ModelData Replay() {
  ModelData model;
  model.key = "replay";
  model.name = "Tavix ORQ-Replay";
  model.summary = "plays recorded frames (FITS, PGM, SER) as a camera would send them";
  model.productId = pid::kReplay;
  model.adcBits = 16;
  model.baseElectronsPerAdu = 0.0F;
  model.limits = CommonLimits();
  model.region = {1, 1, 1, 1, 1, 1};
  return model;
}

constexpr std::array kModels{K1C(), X26M(), Replay()};

}  // namespace

std::span<const ModelData> AllModels() {
  return kModels;
}

const ModelData* FindModel(std::uint16_t productId) {
  const auto found = std::ranges::find(kModels, productId, &ModelData::productId);
  return found == kModels.end() ? nullptr : &*found;
}

const ModelData* FindModel(std::string_view key) {
  const auto sameLetter = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  const auto found = std::ranges::find_if(
      kModels, [&](const ModelData& model) { return std::ranges::equal(model.key, key, sameLetter); });
  return found == kModels.end() ? nullptr : &*found;
}

}  // namespace orq
