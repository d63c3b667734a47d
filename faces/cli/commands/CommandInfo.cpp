// orqcam info: what a camera is.
#include <algorithm>
#include <cstdlib>

#include "camera/Device.h"
#include "camera/Words.h"
#include "commands/Commands.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kMostBins = 32;

Json OrNone(const char* text) {
  return text[0] == '\0' ? Json(nullptr) : Json(text);
}

Json Bins(const orq_camera_info& info) {
  Json bins = Json::array();
  for (int bin = 1; bin < kMostBins; ++bin)
    if ((info.bins >> bin & 1U) != 0) bins.push_back(bin);
  return bins;
}

Json Formats(const orq_camera_info& info) {
  Json formats = Json::array();
  for (std::size_t format = 0; format < kFormatNames.size(); ++format)
    if ((info.formats >> format & 1U) != 0) formats.push_back(kFormatNames[format]);
  return formats;
}

Json Bayer(const orq_camera_info& info) {
  return info.bayer == ORQ_BAYER_NONE ? Json() : Json(orq::bayerName(info.bayer));
}

bool Has(Device& camera, std::int32_t control) {
  const auto controls = camera->controls();
  return std::ranges::find(controls, control, &orq_control_info::id) != controls.end();
}

void AddRegion(Report& report, Device& camera) {
  const orq_camera_info& info = camera.Info();
  report.Add("region_width_step", info.width_step, "px");
  report.Add("region_height_step", info.height_step, "px");
  report.Add("region_start_x_step", info.start_x_step, "px");
  report.Add("region_start_y_step", info.start_y_step, "px");
  report.Add("region_least_width", info.least_width, "px");
  report.Add("region_least_height", info.least_height, "px");
  const orq_region region = camera->region();
  report.Add("region", Json{region.start_x, region.start_y, region.width * region.bin, region.height * region.bin},
             "px");
  report.Add("bin", region.bin);
  report.Add("format", kFormatNames.at(static_cast<std::size_t>(region.format)));
}

void AddAbilities(Report& report, const Device& camera) {
  const orq_camera_info& info = camera.Info();
  report.Add("cooled", camera.Can(ORQ_ABILITY_COOLER));
  report.Add("guide_port", camera.Can(ORQ_ABILITY_GUIDE_PORT));
  report.Add("shutter", false);  // no camera has one
  report.Add("trigger_modes", camera.Can(ORQ_ABILITY_TRIGGER));
  report.Add("usb3_camera", camera.Can(ORQ_ABILITY_USB3));
  report.Add("usb3_port", info.speed == ORQ_SPEED_USB3);
  // Computed in single precision; 0: the model does not know.
  const double electrons = std::strtod(Format("%.7g", info.electrons_per_adu).c_str(), nullptr);
  report.Add("electrons_per_adu", electrons > 0.0 ? Json(electrons) : Json(nullptr));
}

ExitCode RunInfo(const Context& context) {
  Device camera(context);
  const orq_camera_info& info = camera.Info();
  Report report;
  report.Add("model", info.model);
  report.Add("key", info.key);
  report.Add("serial", OrNone(info.serial));
  report.Add("id", OrNone(info.user_id));
  report.Add("firmware", info.firmware);
  report.Add("usb_speed", SpeedName(info.speed));
  report.Add("sensor_width", info.sensor_width, "px");
  report.Add("sensor_height", info.sensor_height, "px");
  report.Add("pixel_size", info.pixel_um > 0.0 ? Json(info.pixel_um) : Json(nullptr), "um");
  report.Add("colour", info.bayer != ORQ_BAYER_NONE);
  report.Add("bayer", Bayer(info));
  report.Add("adc_bits", info.adc_bits);
  AddAbilities(report, camera);
  report.Add("bins", Bins(info));
  report.Add("hardware_bin", Has(camera, ORQ_CONTROL_HARDWARE_BIN));
  report.Add("formats", Formats(info));
  AddRegion(report, camera);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddInfoCommand(const Command& app) {
  app.AddCommand("info", "Show what a camera is: model, identity, sensor, formats, region rules");
  return RunInfo;
}

}  // namespace orq::cli
