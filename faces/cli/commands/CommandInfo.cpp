// orqcam info: what a camera is.
#include <cstdlib>
#include <string_view>

#include "commands/Commands.h"
#include "session/frame/FrameFacts.h"
#include "support/BayerNames.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

Json OrNone(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

Json Bins(const ModelData& model) {
  Json bins = Json::array();
  for (const std::uint8_t bin : model.bins) {
    if (bin == 0) break;
    bins.push_back(bin);
  }
  return bins;
}

Json Formats(CModelCamera& camera) {
  Json formats = Json::array();
  for (const IMG_TYPE format : kFormats) {
    if (camera.IsImgTypeSupported(format)) formats.push_back(FormatName(format));
  }
  return formats;
}

Json Bayer(const ModelData& model) {
  const std::string_view name = model.colour ? BayerNameOf(model.bayerPattern) : std::string_view{};
  return name.empty() ? Json() : Json(name);
}

void AddRegion(Report& report, const CModelCamera& camera) {
  const RegionRules& rules = camera.Model().region;
  report.Add("region_width_step", rules.widthStep, "px");
  report.Add("region_height_step", rules.heightStep, "px");
  report.Add("region_start_x_step", rules.startXStep, "px");
  report.Add("region_start_y_step", rules.startYStep, "px");
  report.Add("region_least_width", rules.minWidth, "px");
  report.Add("region_least_height", rules.minHeight, "px");
  const FrameRegion region = camera.Region();
  report.Add("region", Json{region.startX, region.startY, region.width * region.bin, region.height * region.bin},
             "px");
  report.Add("bin", region.bin);
  report.Add("format", FormatName(region.format));
}

// From the camera's information record.
void AddRecord(Report& report, CModelCamera& camera) {
  _ORQ_CAMERA_INFO info{};
  camera.GetCameraProperty(&info);
  report.Add("cooled", info.hasCooler != 0);
  report.Add("guide_port", info.hasGuidePort != 0);
  report.Add("shutter", info.hasShutter != 0);
  report.Add("trigger_modes", info.hasTriggerModes != 0);
  report.Add("usb3_camera", info.usb3Camera != 0);
  report.Add("usb3_port", info.usb3HostPort != 0);
  // Computed in single precision; 0: the model does not know.
  const double electrons = std::strtod(Format("%.7g", static_cast<double>(info.electronsPerAdu)).c_str(), nullptr);
  report.Add("electrons_per_adu", electrons > 0.0 ? Json(electrons) : Json(nullptr));
}

ExitCode RunInfo(const Context& context) {
  Session session(context);
  const ModelData& model = session.Model();
  CModelCamera& camera = session.Camera();
  Report report;
  report.Add("model", camera.modelName);
  report.Add("key", model.key);
  report.Add("serial", OrNone(session.Serial()));
  report.Add("id", OrNone(session.UserId()));
  report.Add("firmware", session.Firmware());
  report.Add("usb_speed", session.Speed());
  report.Add("sensor_width", camera.iMaxWidth, "px");
  report.Add("sensor_height", camera.iMaxHeight, "px");
  report.Add("pixel_size", camera.pixelSizeUm > 0.0 ? Json(camera.pixelSizeUm) : Json(nullptr), "um");
  report.Add("colour", camera.bIsColor != 0);
  report.Add("bayer", Bayer(model));
  report.Add("adc_bits", camera.iADCBits);
  AddRecord(report, camera);
  report.Add("bins", Bins(model));
  report.Add("hardware_bin", camera.hasHardwareBin != 0);
  report.Add("formats", Formats(camera));
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
