#include "models/camera/FrameGeometry.h"

#include <algorithm>
#include <cmath>

#include "controls/ModelQuirks.h"
#include "image/frame/Algorithm.h"
#include "link/WireProtocol.h"
#include "link/stream/StreamEngine.h"

namespace orq {
namespace {

constexpr std::size_t kTransferBytes =
    static_cast<std::size_t>(StreamTuning{}.blocksPerTransfer) * static_cast<std::size_t>(wire::kBlockBytes);
constexpr std::uint64_t kComputerNs = 1'000'000;
constexpr std::uint64_t kUsb2NsPerByte = 30;

constexpr std::array<const char*, 4> kFormatNames{"raw8", "rgb24", "raw16", "y8"};

bool OffersFormat(const ModelData& model, IMG_TYPE format) {
  return format >= ORQ_IMG_RAW8 && format <= ORQ_IMG_Y8 && model.formats[static_cast<std::size_t>(format)];
}

bool OffersBin(const ModelData& model, int bin) {
  return bin > 0 && std::ranges::find(model.bins, bin) != model.bins.end();
}

std::string OfferedBins(const ModelData& model) {
  std::string text;
  for (const int bin : model.bins) {
    if (bin == 0) break;
    text += (text.empty() ? "" : ", ") + std::to_string(bin);
  }
  return text;
}

std::string OfferedFormats(const ModelData& model) {
  std::string text;
  for (std::size_t i = 0; i < kFormatNames.size(); ++i)
    if (model.formats[i]) text += (text.empty() ? "" : ", ") + std::string(kFormatNames[i]);
  return text;
}

int RoundDown(int value, int step) {
  return value - value % step;
}

std::string Size(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

// Binning combines whole 2x2 blocks on a Bayer sensor, and demosaicing needs nothing more.
RegionRules RulesAt(const ModelData& model, int bin) {
  RegionRules rules = model.region;
  if (model.colour && bin > 1) {
    rules.widthStep += rules.widthStep % 2;
    rules.heightStep += rules.heightStep % 2;
  }
  rules.minWidth = std::max(rules.minWidth, rules.widthStep);
  rules.minHeight = std::max(rules.minHeight, rules.heightStep);
  return rules;
}

bool Inside(int start, int size, int bin, int limit) {
  return start >= 0 && size >= 0 && start + static_cast<std::int64_t>(size) * bin <= limit;
}

}  // namespace

int BytesPerPixel(IMG_TYPE format) {
  return format == ORQ_IMG_RGB24 ? 3 : format == ORQ_IMG_RAW16 ? 2 : 1;
}

const char* FormatName(IMG_TYPE format) {
  return format >= ORQ_IMG_RAW8 && format <= ORQ_IMG_Y8 ? kFormatNames[static_cast<std::size_t>(format)]
                                                        : "unknown";
}

bool FitRegionTo(const ModelData& model, const FrameRegion& wanted, FrameRegion& fitted, std::string& reason) {
  if (!OffersBin(model, wanted.bin)) {
    reason = "bin " + std::to_string(wanted.bin) + " is not offered; choose one of " + OfferedBins(model);
    return false;
  }
  if (!OffersFormat(model, wanted.format)) {
    reason = std::string("format ") + FormatName(wanted.format) +
             " is not offered by this camera; choose one of " + OfferedFormats(model);
    return false;
  }
  const RegionRules rules = RulesAt(model, wanted.bin);
  const std::string atBin = " at bin " + std::to_string(wanted.bin);
  if (!Inside(wanted.startX, wanted.width, wanted.bin, model.maxWidth) ||
      !Inside(wanted.startY, wanted.height, wanted.bin, model.maxHeight)) {
    reason = "region " + Size(wanted.width, wanted.height) + " from " + std::to_string(wanted.startX) + "," +
             std::to_string(wanted.startY) + atBin + " reaches outside the sensor, which is " +
             Size(model.maxWidth, model.maxHeight) + " pixels (at most " +
             Size(model.maxWidth / wanted.bin, model.maxHeight / wanted.bin) + " from 0,0" + atBin + ")";
    return false;
  }
  FrameRegion region = wanted;
  region.width = RoundDown(wanted.width, rules.widthStep);
  region.height = RoundDown(wanted.height, rules.heightStep);
  region.startX = RoundDown(wanted.startX, rules.startXStep);
  region.startY = RoundDown(wanted.startY, rules.startYStep);
  if (region.width < rules.minWidth || region.height < rules.minHeight) {
    reason = "region " + Size(wanted.width, wanted.height) + " is too small; the smallest" + atBin + " is " +
             Size(rules.minWidth, rules.minHeight) + " in steps of " + Size(rules.widthStep, rules.heightStep);
    return false;
  }
  fitted = region;
  return true;
}

ModelData UsablePart(ModelData model) {
  model.maxWidth = RoundDown(model.maxWidth, model.region.widthStep);
  model.maxHeight = RoundDown(model.maxHeight, model.region.heightStep);
  return model;
}

FrameRegion FullRegion(const ModelData& model) {
  FrameRegion region;
  region.width = RoundDown(model.maxWidth, model.region.widthStep);
  region.height = RoundDown(model.maxHeight, model.region.heightStep);
  return region;
}

BinStages StagesOf(int bin, bool hardwareBin) {
  if (!hardwareBin || bin % 2 != 0) return {1, bin};
  return {2, bin / 2};
}

std::size_t FrameSetup::TransferSamples() const {
  return static_cast<std::size_t>(TransferWidth()) * static_cast<std::size_t>(TransferHeight());
}

std::size_t FrameSetup::OutputSamples() const {
  return static_cast<std::size_t>(region.width) * static_cast<std::size_t>(region.height);
}

std::size_t FrameSetup::OutputBytes() const {
  return OutputSamples() * static_cast<std::size_t>(BytesPerPixel(region.format));
}

StreamFormat FrameSetup::WireFormat() const {
  StreamFormat format;
  format.width = static_cast<std::uint16_t>(TransferWidth());
  format.height = static_cast<std::uint16_t>(TransferHeight());
  format.bin = static_cast<std::uint8_t>(stages.hardware);
  if (wide) format.format = static_cast<std::uint8_t>(wire::kFormat16Bit | (msbFirst ? wire::kFormatMsbFirst : 0));
  return format;
}

std::size_t FrameSetup::WireBytes() const {
  return wire::kHeaderBytes + TransferSamples() * (wide ? 2 : 1) + wire::kTrailerBytes;
}

FrameSetup SetupFor(const ModelData& model, const FrameRegion& region, bool hardwareBin) {
  FrameSetup setup;
  setup.region = region;
  setup.stages = StagesOf(region.bin, hardwareBin || model.fpgaBin);
  setup.wide = region.format == ORQ_IMG_RAW16;
  setup.msbFirst = setup.wide && model.msbFirst;
  setup.autoMsbFirst = setup.wide && quirks::MeasuresHighByteFirst(model.name);
  if (model.colour) {
    setup.rawPattern =
        static_cast<int>(ShiftBayer(static_cast<BayerPattern>(model.bayerPattern), region.startX, region.startY));
  }
  return setup;
}

int DeliveredPattern(const FrameSetup& setup, bool flipHorizontal, bool flipVertical, bool mixed) {
  if (setup.rawPattern < 0 || mixed) return -1;
  return static_cast<int>(FlipBayer(static_cast<BayerPattern>(setup.rawPattern), flipHorizontal, flipVertical,
                                    setup.region.width, setup.region.height));
}

double ElectronsPerUnit(const ModelData& model, const FrameSetup& setup, double perAdc) {
  const int unitBits = setup.wide ? model.adcBits - 16 : model.adcBits - 8;
  const double perSample = std::ldexp(perAdc, unitBits);
  const int averaged = setup.wide ? setup.stages.host * setup.stages.host : 1;
  return perSample * averaged;
}

double Usb2RowTenths(const FrameSetup& setup) {
  constexpr double kNsPerTenth = 100.0;
  return static_cast<double>(setup.RowBytes() * kUsb2NsPerByte) / kNsPerTenth;
}

std::int64_t ArrivalUncertaintyUs(const FrameSetup& setup, const Readout& readout, std::uint64_t durationNs) {
  const std::size_t frameBytes = setup.WireBytes();
  const std::size_t firstBytes = std::min(frameBytes, kTransferBytes);
  const std::uint64_t sensorRows =
      (firstBytes / setup.RowBytes() + 1) * static_cast<std::uint64_t>(setup.stages.hardware);
  const auto percent = static_cast<std::uint64_t>(std::max(readout.bandwidthPercent, 1));
  std::uint64_t fillNs = sensorRows * readout.lineTimeNs * 100 / percent;
  if (!readout.usb3) fillNs = std::max(fillNs, firstBytes * kUsb2NsPerByte);
  if (frameBytes > firstBytes) fillNs = std::max(fillNs, durationNs * firstBytes / (frameBytes - firstBytes));
  return static_cast<std::int64_t>((kComputerNs + fillNs) / 1000);
}

}  // namespace orq
