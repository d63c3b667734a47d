#include <algorithm>
#include <cctype>

#include "image/frame/FrameKernels.h"
#include "link/ProductIds.h"
#include "link/WireProtocol.h"
#include "models/sensors/D6Sensor.h"
#include "models/sensors/L3Sensor.h"
#include "models/table/ModelData.h"

namespace orq {
namespace {

constexpr std::int32_t kLongestExposureUs = 2'000'000'000;

// White balance counts on colour sensors only. The offset by default is the models': three and a half deviations
// of the read noise at full gain, beyond the first unit of 8-bit samples, so that noise is not cut off at 0.
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

// The small cameras: 12 bit, most significant byte first, with a guide port.
constexpr ModelData Planetary() {
  ModelData model;
  model.adcBits = 12;
  model.msbFirst = true;
  model.limits = CommonLimits();
  model.limits.offsetMax = 240;
  model.countsPerOffset = 1;
  model.guidePort = true;
  return model;
}

constexpr ModelData WithBayer(ModelData model, int pattern) {
  model.colour = true;
  model.bayerPattern = pattern;
  model.formats = {true, true, true, true};
  return model;
}

constexpr ModelData K1M() {
  ModelData model = Planetary();
  model.key = "k1m";
  model.name = "Tavix ORQ-K1M";
  model.summary = "2 megapixel monochrome camera, 12 bit, for planets and guiding";
  model.productId = pid::kK1M;
  model.maxWidth = 1936;
  model.maxHeight = 1096;
  model.pixelSizeUm = 2.9;
  model.lineTimeNs = 13'500;
  model.baseElectronsPerAdu = 3.6F;
  model.fullWellElectrons = 14'700;
  model.limits.gainMax = 100;
  model.sensor = &kSteppedSensor;
  model.limits.offsetDefault = 70;
  model.thermometer = Thermometer::Adc081;
  return model;
}

// The monochrome camera with a mosaic on its sensor, and a better thermometer beside it.
constexpr ModelData K1C() {
  ModelData model = WithBayer(K1M(), 0);
  model.key = "k1c";
  model.name = "Tavix ORQ-K1C";
  model.summary = "2 megapixel colour camera, 12 bit, for planets and guiding";
  model.productId = pid::kK1C;
  model.thermometer = Thermometer::Tmp100;
  return model;
}

constexpr ModelData K2M() {
  ModelData model = Planetary();
  model.key = "k2m";
  model.name = "Tavix ORQ-K2M";
  model.summary = "5 megapixel monochrome camera, 12 bit, for planets and the Moon";
  model.productId = pid::kK2M;
  model.maxWidth = 2560;
  model.maxHeight = 1920;
  model.pixelSizeUm = 3.2;
  model.lineTimeNs = 11'200;
  model.baseElectronsPerAdu = 2.75F;
  model.fullWellElectrons = 11'200;
  model.limits.gainMax = 400;
  model.limits.offsetDefault = 150;
  model.thermometer = Thermometer::Ad7142;
  return model;
}

constexpr ModelData Cooled() {
  ModelData model;
  model.adcBits = 16;
  model.limits = CommonLimits();
  model.limits.gainMax = 450;
  model.limits.offsetMax = 240;
  model.countsPerOffset = 10;
  model.antiDewHeater = true;
  model.cooled = true;
  return model;
}

// Its binning adds pixels two apart, as that of the colour version does: the empty offset table, which keeps
// columns and rows of a parity together, is the right one.
constexpr ModelData X26M() {
  ModelData model = Cooled();
  model.key = "x26m";
  model.name = "Tavix ORQ-X26M";
  model.summary = "26 megapixel cooled monochrome camera, 16 bit, for deep sky";
  model.productId = pid::kX26M;
  model.maxWidth = 6248;
  model.maxHeight = 4176;
  model.pixelSizeUm = 3.76;
  model.lineTimeNs = 36'800;
  model.baseElectronsPerAdu = 0.78F;
  model.fullWellElectrons = 51'000;
  model.limits.offsetDefault = 130;
  model.hardwareBin = true;
  model.thermometer = Thermometer::Tmp100;
  return model;
}

constexpr ModelData T46C() {
  ModelData model = WithBayer({}, 2);
  model.key = "t46c";
  model.name = "Tavix ORQ-T46C";
  model.summary = "12 megapixel colour camera with GPS, 14 bit, for occultations";
  model.productId = pid::kT46C;
  model.maxWidth = 4080;
  model.maxHeight = 3000;
  model.pixelSizeUm = 4.4;
  model.adcBits = 14;
  model.lineTimeNs = 16'400;
  model.baseElectronsPerAdu = 2.6F;
  model.fullWellElectrons = 42'000;
  model.countsPerOffset = 4;
  model.limits = CommonLimits();
  model.limits.gainMax = 380;
  model.limits.offsetDefault = 55;
  model.limits.offsetMax = 200;
  model.ticksPerMs = 20'000;
  model.gps = true;
  model.shr0OffsetUs = 131.2F;  // eight lines
  model.thermometer = Thermometer::Sensor;
  return model;
}

// High-speed readout is found by the probe, which only boards of that kind answer.
constexpr ModelData H53M() {
  ModelData model;
  model.key = "h53m";
  model.name = "Tavix ORQ-H53M";
  model.summary = "7 megapixel monochrome camera with a fast 10-bit readout, 12 bit, for the Sun and planets";
  model.productId = pid::kH53M;
  model.maxWidth = 3200;
  model.maxHeight = 2160;
  model.pixelSizeUm = 3.4;
  model.adcBits = 12;
  model.lineTimeNs = 7'600;
  model.baseElectronsPerAdu = 2.3F;
  model.fullWellElectrons = 9'400;
  model.countsPerOffset = 1;
  model.limits = CommonLimits();
  model.limits.gainMax = 420;
  model.limits.offsetDefault = 200;
  model.limits.offsetMax = 240;
  model.ticksPerMs = 74'250;
  model.focusMotorRequest = wire::kReqFocusMotor;
  model.thermometer = Thermometer::Tmp451;
  return model;
}

/// Where its hot pixels show once they are binned: products of this kind find the target from half the pixel's
/// place, rounded down in x and to nearest in y. The sensor adds pixels two apart, so an even column c belongs to
/// target c/2 or c/2 - 1, an odd one to c/2 or c/2 + 1 (halves rounded down); a row belongs to its rounded half or
/// the row above. Both are marked, the right one and its neighbour: a good pixel that is repaired shows less than
/// a hot one that is not. The first entry of each parity must stay 0, for the dark image's own mapping is exact.
constexpr BinOffsetTable B29MBinOffsets() {
  BinOffsetTable table;
  table.fill({});  // gcc 12 leaves zeros in a constant table whose entries keep their initialisers in part
  for (const std::size_t bin : {2U, 4U}) {
    table[bin * 8 + 0] = {0, 0};
    table[bin * 8 + 2] = {-1, -1};
    table[bin * 8 + 1] = {0, 0};
    table[bin * 8 + 3] = {1, -1};
  }
  return table;
}

constexpr ModelData B29M() {
  ModelData model = Cooled();
  model.key = "b29m";
  model.name = "Tavix ORQ-B29M";
  model.summary = "12 megapixel cooled monochrome camera, 16 bit, bins in its FPGA, for deep sky";
  model.productId = pid::kB29M;
  model.maxWidth = 4192;
  model.maxHeight = 2816;
  model.pixelSizeUm = 4.8;
  model.lineTimeNs = 28'400;
  model.baseElectronsPerAdu = 1.05F;
  model.fullWellElectrons = 66'000;
  model.limits.offsetDefault = 100;
  model.bins = {1, 2, 4};
  model.fpgaBin = true;
  model.binOffsets = B29MBinOffsets();
  model.ticksPerMs = 37'125;
  model.thermometer = Thermometer::Ad7142;
  return model;
}

constexpr ModelData L3M() {
  ModelData model;
  model.key = "l3m";
  model.name = "Tavix ORQ-L3M";
  model.summary = "0.5 megapixel monochrome camera, 12 bit, for guiding";
  model.productId = 0x3101;
  model.sensor = &kL3Sensor;
  model.maxWidth = 800;
  model.maxHeight = 600;
  model.pixelSizeUm = 4.0;
  model.adcBits = 12;
  model.lineTimeNs = 12'500;
  model.baseElectronsPerAdu = 2.4F;
  model.fullWellElectrons = 9'800;
  model.countsPerOffset = 1;
  model.limits = CommonLimits();
  model.limits.exposureMin = 38;  // three lines
  model.limits.gainMax = L3Sensor::kHighestCode * L3Sensor::kTenthsPerCode;
  model.limits.offsetMax = 240;
  model.limits.offsetDefault = 90;
  model.guidePort = true;
  model.thermometer = Thermometer::Tmp100;
  return model;
}

// What a readout mode has of its own are the numbers of the first.
constexpr ModelData D6M() {
  ModelData model;
  model.key = "d6m";
  model.name = "Tavix ORQ-D6M";
  model.summary = "0.6 megapixel monochrome camera, 14 bit, two readout modes, for deep sky";
  model.productId = 0x6201;
  model.sensor = &kD6Sensor;
  model.maxWidth = 960;
  model.maxHeight = 640;
  model.pixelSizeUm = 4.6;
  model.adcBits = 14;
  model.lineTimeNs = 10'000;
  model.baseElectronsPerAdu = 3.8F;
  model.fullWellElectrons = 60'000;
  model.countsPerOffset = 4;
  model.limits = CommonLimits();
  model.limits.exposureMin = 40;  // whole lines of both modes
  model.limits.gainMax = 360;
  model.limits.offsetMax = 240;
  model.limits.offsetDefault = 80;
  model.thermometer = Thermometer::Tmp100;
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

constexpr std::array kModels{K1C(), K1M(), K2M(), X26M(), T46C(), H53M(), B29M(), L3M(), D6M(), Replay()};

// Of two rows with one name or number the second would never be found.
constexpr bool AreAllDifferent() {
  for (std::size_t i = 0; i < kModels.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j)
      if (kModels[i].productId == kModels[j].productId || kModels[i].key == kModels[j].key ||
          kModels[i].name == kModels[j].name)
        return false;
  }
  return true;
}
static_assert(AreAllDifferent(), "two models have the same key, name or product id");

constexpr bool IsWhole(const ModelData& model) {
  const ControlLimits& limits = model.limits;
  return !model.key.empty() && !model.name.empty() && !model.summary.empty() && model.productId != 0 &&
         model.bayerPattern >= 0 && model.bayerPattern <= 3 && limits.exposureMin > 0 &&
         limits.exposureMin <= limits.exposureMax;
}
static_assert(std::ranges::all_of(kModels, IsWhole),
              "a model lacks its key, name, summary, product id or limits, or has no such mosaic");

}  // namespace

ReadoutMode ReadoutModeOf(const ModelData& model, int mode) {
  const std::span<const ReadoutMode> modes = model.sensor->Modes();
  if (modes.empty()) return {{}, model.lineTimeNs, model.baseElectronsPerAdu, model.fullWellElectrons};
  return modes[mode >= 0 && static_cast<std::size_t>(mode) < modes.size() ? static_cast<std::size_t>(mode) : 0];
}

double ElectronsPerAdc(const ModelData& model, int mode, int gain) {
  return static_cast<double>(model.sensor->ElectronsPerAdu(ReadoutModeOf(model, mode).baseElectronsPerAdu, gain));
}

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
