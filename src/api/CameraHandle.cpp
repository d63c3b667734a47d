// Opening, closing, and what a camera is.
#include <filesystem>
#include <memory>
#include <utility>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraFlash.h"
#include "settings/XmlStore.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr std::uint32_t kMostFrameMemoryMb = 1U << 20U;

// From the root on: the current folder may change while the camera is open.
std::string SettingsFolderOf(const orq_open_options& given) {
  if (given.settings == ORQ_SETTINGS_OFF) return {};
  const std::string wanted = TextOf(given.settings_folder, "options.settings_folder");
  if (!wanted.empty()) return std::filesystem::absolute(wanted).string();
  const std::string users = UserConfigDirectory();
  if (users.empty()) {
    throw session::Failure(session::Status::File,
                           "there is no folder for settings: set HOME, or name one (settings_folder)");
  }
  return users;
}

session::OpenOptions OptionsOf(const orq_open_options* options) {
  if (options == nullptr) return {};
  const orq_open_options given = TakeStruct(options, "options");
  if (given.settings < ORQ_SETTINGS_OFF || given.settings > ORQ_SETTINGS_LOAD_AND_KEEP)
    throw session::Failure(session::Status::Invalid, "options.settings must be one of ORQ_SETTINGS_...");
  if (given.frame_memory_mb > kMostFrameMemoryMb)
    throw session::Failure(session::Status::Invalid, "options.frame_memory_mb must be at most 1048576");
  constexpr SettingsUse kUses[] = {SettingsUse::Off, SettingsUse::Load, SettingsUse::LoadAndKeep};
  return {.settings = kUses[given.settings],
          .settingsFolder = SettingsFolderOf(given),
          .frameMemoryBytes = std::size_t{given.frame_memory_mb} * 1'000'000,
          .resume = given.resume != 0};
}

std::uint32_t AbilitiesOf(CModelCamera& device, bool isVirtual) {
  std::uint32_t abilities = 0;
  const auto add = [&abilities](bool has, std::uint32_t ability) { abilities |= has ? ability : 0U; };
  const ModelData& model = device.Model();
  add(model.cooled, ORQ_ABILITY_COOLER);
  add(model.guidePort, ORQ_ABILITY_GUIDE_PORT);
  add(model.gps, ORQ_ABILITY_GPS);
  add(device.supportTrigger != 0, ORQ_ABILITY_TRIGGER);
  add(device.FanAdjustCheck(), ORQ_ABILITY_FAN);
  add(model.focusMotorRequest != 0, ORQ_ABILITY_FOCUS_MOTOR);
  add(model.hardwareBin || model.fpgaBin, ORQ_ABILITY_HARDWARE_BIN);
  add(device.hasHighSpeed != 0, ORQ_ABILITY_HIGH_SPEED);
  add(model.thermometer != Thermometer::None, ORQ_ABILITY_THERMOMETER);
  add(isVirtual, ORQ_ABILITY_VIRTUAL);
  add(model.usb3Camera, ORQ_ABILITY_USB3);
  return abilities;
}

orq_camera_info InfoOf(session::Camera& camera) {
  const session::CameraFacts facts = camera.Facts();
  const ModelData& model = camera.Model();
  orq_camera_info info{};
  info.size = sizeof info;
  info.speed = facts.usb3 ? ORQ_SPEED_USB3 : ORQ_SPEED_USB2;
  CopyText(facts.model, info.model);
  CopyText(facts.serial, info.serial);
  CopyText(facts.userId, info.user_id);
  CopyText(facts.firmware, info.firmware);
  info.sensor_width = model.maxWidth;
  info.sensor_height = model.maxHeight;
  info.pixel_um = model.pixelSizeUm;
  info.adc_bits = model.adcBits;
  info.bayer = model.colour ? model.bayerPattern : ORQ_BAYER_NONE;
  for (const std::uint8_t bin : model.bins)
    if (bin != 0) info.bins |= 1U << bin;
  for (std::size_t format = 0; format < model.formats.size(); ++format)
    if (model.formats[format]) info.formats |= 1U << format;
  CopyText(model.key, info.key);
  info.width_step = model.region.widthStep;
  info.height_step = model.region.heightStep;
  info.start_x_step = model.region.startXStep;
  info.start_y_step = model.region.startYStep;
  info.least_width = model.region.minWidth;
  info.least_height = model.region.minHeight;
  const session::Camera::Use device(camera);
  info.abilities = AbilitiesOf(*device, facts.isVirtual);
  _ORQ_CAMERA_INFO record{};
  device->GetCameraProperty(&record);
  info.electrons_per_adu = static_cast<double>(record.electronsPerAdu);
  return info;
}

}  // namespace

orq_status orq_camera_open(const char* name, const orq_open_options* options, orq_camera** camera) {
  return Guarded([&] {
    orq_camera*& result = DemandResult(camera, "camera");
    const session::OpenOptions wanted = OptionsOf(options);
    auto handle = std::make_unique<orq_camera>();
    handle->camera = session::Camera::Open(name == nullptr ? "" : name, wanted);
    handle->camera->ChangeOrigin(
        [](session::FrameOrigin& origin) { origin.context.creator = "orqcam " ORQCAM_VERSION; });
    result = handle.release();
  });
}

orq_status orq_camera_close(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->Close(); });
}

orq_status orq_camera_reopen(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->Reopen(); });
}

void orq_camera_release(orq_camera* camera) {
  Guarded([&] {
    if (camera == nullptr) return;
    Demand(camera, "camera");
    const std::unique_ptr<orq_camera> handle(camera);
    handle->camera->Leave();
    handle->mark = 0;  // after whoever waits with it has been told
  });
}

orq_status orq_camera_get_info(orq_camera* camera, orq_camera_info* info) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(info, "info");
    GiveStruct(InfoOf(*opened), info);
  });
}

orq_status orq_sensor_id_get(orq_camera* camera, orq_sensor_id* id) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(id, "id");
    orq_sensor_id given{};
    CopyText(session::SensorId(*opened), given.id);
    GiveStruct(given, id);
  });
}

orq_status orq_camera_unplug_virtual(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->UnplugVirtual(); });
}

orq_status orq_camera_replug_virtual(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->ReplugVirtual(); });
}
