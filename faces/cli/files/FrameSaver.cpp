#include "files/FrameSaver.h"

#include <unistd.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "files/FitsWriter.h"
#include "files/FrameTime.h"
#include "files/PngPreview.h"
#include "output/ExitCodes.h"
#include "output/Signals.h"
#include "output/Units.h"

namespace orq::cli {

namespace {

// What a program needs to make sense of the bare pixels.
std::vector<std::uint8_t> DescribeRaw(const Frame& frame, std::uint64_t number, const FileContext& context) {
  const FrameInfo& info = frame.info;
  const FrameRegion& region = info.region;
  nlohmann::ordered_json json;
  json["camera"] = context.instrument;
  json["format"] = FormatName(region.format);
  json["width"] = region.width;
  json["height"] = region.height;
  json["bytes_per_pixel"] = BytesPerPixel(region.format);
  json["byte_order"] = "little";
  json["channel_order"] = region.format == ORQ_IMG_RGB24 ? "BGR" : "";
  json["row_order"] = "top-down";
  json["start_x"] = region.startX;
  json["start_y"] = region.startY;
  json["bin"] = region.bin;
  json["bayer"] = BayerText(info);
  json["flip_horizontal"] = info.flipHorizontal;
  json["flip_vertical"] = info.flipVertical;
  Report time;
  AddTimes(time, info);
  AddClock(time, frame.clock);
  AddGps(time, info);
  json.update(time.ToJson());
  json["exposure_us"] = info.exposureUs;
  json["gain"] = info.gain;
  json["offset"] = info.offset;
  if (info.electronsPerAdu > 0.0) json["electrons_per_adu"] = info.electronsPerAdu;
  if (info.levels.black) json["black_level"] = *info.levels.black;
  if (info.levels.saturated) json["saturation_level"] = *info.levels.saturated;
  json["gamma"] = info.gamma;
  json["high_speed"] = info.highSpeed;
  if (info.bayerPattern >= 0) {
    json["white_balance_red"] = info.whiteBalanceRed;
    json["white_balance_blue"] = info.whiteBalanceBlue;
    json["white_balance_applied"] = BayerText(info).empty();
  }
  if (frame.sensorC) json["sensor_temperature_c"] = *frame.sensorC;
  if (frame.targetC) json["target_temperature_c"] = *frame.targetC;
  if (frame.coolerPower) json["cooler_power_percent"] = *frame.coolerPower;
  if (!frame.corrections.darkFile.empty()) json["dark_file"] = frame.corrections.darkFile;
  json["hot_pixels_repaired"] = frame.corrections.hotPixels;
  if (const RecordedFacts& recorded = context.recorded; !recorded.file.empty()) {
    json["replayed"] = recorded.file;
    if (!recorded.dateObs.empty()) json["replayed_date_obs"] = recorded.dateObs;
    if (recorded.exposureSeconds) json["replayed_exposure_s"] = *recorded.exposureSeconds;
    if (!recorded.object.empty()) json["replayed_object"] = recorded.object;
  }
  if (!frame.warning.empty()) json["warning"] = frame.warning;
  json["number"] = number;
  json["sequence"] = info.sequence;
  if (!context.object.empty()) json["object"] = context.object;
  const std::string text = json.dump(2) + "\n";
  return {text.begin(), text.end()};
}

}  // namespace

FrameSaver::FrameSaver(SaveOptions options, FileContext context, std::string camera, std::string imageType)
    : options_(std::move(options)),
      context_(std::move(context)),
      camera_(std::move(camera)),
      imageType_(std::move(imageType)) {}

SavedFrame FrameSaver::NamesFor(const FrameInfo& info, std::uint64_t number) const {
  NameFacts facts;
  facts.number = number;
  facts.unixUs = info.times.begin / kTenthsPerMicrosecond;
  facts.camera = camera_;
  facts.serial = context_.serial;
  facts.object = context_.object;
  facts.imageType = imageType_;
  facts.format = FormatName(info.region.format);
  facts.exposureUs = info.exposureUs;
  facts.gain = info.gain;
  facts.offset = info.offset;
  facts.bin = info.region.bin;
  SavedFrame names;
  names.file = options_.pattern.Expand(facts);
  const FileKind kind = options_.pattern.Kind();
  if (kind == FileKind::Raw) names.sidecar = WithExtension(names.file, ".json");
  if (options_.preview && kind != FileKind::Png) names.companion = WithExtension(names.file, ".png");
  return names;
}

void FrameSaver::CheckBeforehand(const FrameInfo& info, std::uint64_t count) const {
  WriteChecker checker(options_.existing);
  for (std::uint64_t number = 1; number <= count && !StopRequested(); ++number) {
    const SavedFrame names = NamesFor(info, number);
    for (const std::string& path : {names.file, names.companion, names.sidecar}) {
      if (!path.empty()) checker.Check(path);
    }
  }
}

void FrameSaver::Write(const std::string& path, const std::vector<std::uint8_t>& bytes) const {
  WriteWholeFile(path, bytes, options_.existing, options_.durability);
}

void FrameSaver::WriteRaw(const SavedFrame& names, const Frame& frame, std::uint64_t number) const {
  Write(names.file, frame.bytes);
  try {
    Write(names.sidecar, DescribeRaw(frame, number, context_));
  } catch (const Failure&) {
    unlink(names.file.c_str());  // pixels without their geometry are half a frame
    throw;
  }
}

SavedFrame FrameSaver::Save(const Frame& frame, std::uint64_t number) const {
  SavedFrame names = NamesFor(frame.info, number);
  switch (options_.pattern.Kind()) {
    case FileKind::Fits:
      Write(names.file, EncodeFits(frame, number, context_, options_.keywords));
      break;
    case FileKind::Png:
      Write(names.file, EncodePreview(frame));
      break;
    case FileKind::Raw:
      WriteRaw(names, frame, number);
      break;
  }
  if (names.companion.empty()) return names;
  try {
    Write(names.companion, EncodePreview(frame));
  } catch (const Failure& failure) {
    names.companion.clear();
    names.trouble = failure.what();
  }
  return names;
}

}  // namespace orq::cli
