#include "session/files/RawDescription.h"

#include <nlohmann/json.hpp>
#include <string>
#include <variant>

#include "session/frame/FrameTime.h"

namespace orq::session {

std::vector<std::uint8_t> DescribeRaw(const FrameFacts& frame) {
  const FileContext& context = ContextOf(frame);
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
  for (const NamedValues& values : {TimeValues(info), ClockValues(frame.clock), GpsValues(info)})
    for (const NamedValue& each : values)
      std::visit([&](const auto& value) { json[each.Key()] = value; }, each.value);
  json["exposure_us"] = info.exposureUs;
  json["gain"] = info.gain;
  json["offset"] = info.offset;
  if (info.electronsPerAdu > 0.0) json["electrons_per_adu"] = info.electronsPerAdu;
  if (info.levels.black) json["black_level"] = *info.levels.black;
  if (info.levels.saturated) json["saturation_level"] = *info.levels.saturated;
  json["gamma"] = info.gamma;
  json["high_speed"] = info.highSpeed;
  if (!info.readoutName.empty()) json["readout_mode"] = info.readoutName;
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
  json["number"] = frame.number;
  json["sequence"] = info.sequence;
  if (!context.object.empty()) json["object"] = context.object;
  const std::string text = json.dump(2) + "\n";
  return {text.begin(), text.end()};
}

}  // namespace orq::session
