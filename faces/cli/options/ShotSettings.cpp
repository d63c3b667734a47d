#include "options/ShotSettings.h"

#include <algorithm>

#include "camera/ControlUse.h"
#include "camera/Words.h"
#include "options/Quantities.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

// Of frames that have room for a time mark.
constexpr int kMarkLeastWidth = 200;
constexpr int kMarkLeastHeight = 23;

struct FlipName {
  const char* name;
  int value;
};
constexpr FlipName kFlips[] = {{"none", 0}, {"h", 1}, {"v", 2}, {"both", 3}};

int ParseFlip(const std::string& text) {
  for (const FlipName& flip : kFlips)
    if (Lower(text) == flip.name) return flip.value;
  throw CliError(kExitUsage, "unknown flip '" + text + "'; there are none, h, v and both");
}

// ORQ_FORMAT_...
int ParseFormat(const std::string& text) {
  std::vector<std::string> names;
  for (std::size_t format = 0; format < kFormatNames.size(); ++format) {
    if (Lower(text) == kFormatNames.at(format)) return static_cast<int>(format);
    names.emplace_back(kFormatNames.at(format));
  }
  throw CliError(kExitUsage, "unknown format '" + text + "'; there are " + Join(names));
}

// What the user asked for, in sensor pixels.
struct SensorRegion {
  int x = 0, y = 0, width = 0, height = 0;
  bool operator==(const SensorRegion&) const = default;
};

std::string RegionText(const SensorRegion& region) {
  return Format("%d,%d,%d,%d", region.x, region.y, region.width, region.height);
}

SensorRegion Covered(const orq_region& region) {
  return {region.start_x, region.start_y, region.width * region.bin, region.height * region.bin};
}

int ChooseFormat(const Device& camera, const std::string& text) {
  if (!text.empty()) return ParseFormat(text);
  return (camera.Info().formats >> ORQ_FORMAT_RAW16 & 1U) != 0 ? ORQ_FORMAT_RAW16 : ORQ_FORMAT_RAW8;
}

SensorRegion WantedRegion(const orq_camera_info& info, const ShotSettings& settings) {
  if (!settings.region.empty()) {
    const std::vector<int> numbers = ParseIntegers(settings.region, 4, "--region");
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
  }
  if (!settings.center.empty()) {
    const std::vector<int> size = ParseIntegers(settings.center, 2, "--center");
    return {(info.sensor_width - size[0]) / 2, (info.sensor_height - size[1]) / 2, size[0], size[1]};
  }
  return {0, 0, info.sensor_width, info.sensor_height};
}

void ApplyRegion(Device& camera, const ShotSettings& settings) {
  const orq_camera_info& info = camera.Info();
  const SensorRegion wanted = WantedRegion(info, settings);
  const bool inside = wanted.x >= 0 && wanted.y >= 0 && wanted.width > 0 && wanted.height > 0 &&
                      wanted.x + wanted.width <= info.sensor_width &&
                      wanted.y + wanted.height <= info.sensor_height;
  if (!inside) {
    const std::string asked =
        settings.region.empty() ? "--center " + settings.center : "--region " + settings.region;
    throw CliError(ORQ_ERROR_RANGE, Format("%s does not lie on the sensor: stay within its %d x %d pixels",
                                           asked.c_str(), info.sensor_width, info.sensor_height));
  }
  auto request = sized<orq_region>();
  request.start_x = wanted.x;
  request.start_y = wanted.y;
  request.bin = settings.Bin();
  request.width = wanted.width / request.bin;
  request.height = wanted.height / request.bin;
  request.format = ChooseFormat(camera, settings.format);
  const orq_region applied =
      camera.Do("cannot set the region", [&request](Camera& open) { return open.region(request); });
  const bool asked = !settings.region.empty() || !settings.center.empty();
  if (asked && Covered(applied) != wanted) {
    const std::string nearest = RegionText(Covered(applied));
    const std::string text = Format(
        "region %s is not on the camera's grid (width in steps of %d, height of %d output pixels, start "
        "of %d and %d sensor pixels): ",
        RegionText(wanted).c_str(), info.width_step, info.height_step, info.start_x_step, info.start_y_step);
    if (camera.Strict()) throw CliError(ORQ_ERROR_RANGE, text + "the nearest is " + nearest);
    Complain(text + "using " + nearest);
  }
}

void ApplyTimeMark(Device& camera, bool wanted) {
  if (!wanted) return;
  const orq_region region = camera->region();
  if (region.format == ORQ_FORMAT_RAW16)
    throw CliError(ORQ_ERROR_UNSUPPORTED, "a time mark needs an 8-bit format: add -f raw8, y8 or rgb24");
  if (region.width < kMarkLeastWidth || region.height < kMarkLeastHeight) {
    throw CliError(ORQ_ERROR_RANGE, Format("a time mark needs frames of at least %d x %d pixels", kMarkLeastWidth,
                                           kMarkLeastHeight));
  }
  camera->timeMark(true);
}

}  // namespace

void ShotSettings::AddTo(const Command& command) {
  command
      .AddOption("-e,--exposure", exposure,
                 "Exposure time with its unit: 5s, 200ms, 1000us (default: the camera's, see orqcam controls)")
      .NotEmpty();
  command.AddOption("-g,--gain", gain, "Gain setting (default: the camera's)").NotEmpty();
  command.AddOption("--offset", offset, "Offset setting (default: the camera's)").NotEmpty();
  const Option regionOption =
      command.AddOption("--region", region, "Part of the sensor: X,Y,W,H in sensor pixels (default: the whole)")
          .NotEmpty();
  command.AddOption("--center,--centre", center, "Centred part of the sensor: W,H in sensor pixels")
      .Excludes(regionOption)
      .NotEmpty();
  command
      .AddOption("-b,--bin", binText,
                 "Bin factor: bin x bin pixels become one (raw16: their mean; 8-bit formats: their sum)")
      .Default("1")
      .NotEmpty();
  command.AddOption("-f,--format", format, "raw8, raw16, rgb24 or y8 (default: raw16 where offered)").NotEmpty();
  command.AddOption("--flip", flip, "none, h, v or both (default: the camera's)").NotEmpty();
  const Option hardwareBinOption =
      command.AddFlag("--hardware-bin", hardwareBin, "Bin in the camera (bin 2 and 4)");
  command.AddFlag("--no-hardware-bin", noHardwareBin, "Do not (default: as the camera has it)")
      .Excludes(hardwareBinOption);
  command.AddFlag("--mono-bin", monoBin, "Bin all colours into one (colour cameras, bin 2 and more, not rgb24)");
  command.AddOption("--gamma", gamma, "Brightness curve of the delivered frames, 0 to 100 (default: 50, none)")
      .NotEmpty();
  command.AddFlag("--time-mark", timeMark, "Print date and time into the frames (8-bit formats)");
  triggers.AddTo(command);
}

int ShotSettings::Bin() const {
  const std::int64_t bin = ParseInteger(binText, "--bin");
  if (bin < 1) throw CliError(kExitUsage, "--bin must be 1 or more");
  constexpr std::int64_t kLimit = 1'000'000;
  return static_cast<int>(std::min(bin, kLimit));
}

void ShotSettings::Check() const {
  if (!exposure.empty()) ParseExposure(exposure);
  if (gain) ParseInteger(*gain, "--gain");
  if (offset) ParseInteger(*offset, "--offset");
  if (gamma) ParseInteger(*gamma, "--gamma");
  if (!region.empty()) ParseIntegers(region, 4, "--region");
  if (!center.empty()) ParseIntegers(center, 2, "--center");
  if (!format.empty()) ParseFormat(format);
  if (!flip.empty()) ParseFlip(flip);
  Bin();
  triggers.Check();
}

void ShotSettings::Apply(Device& camera) const {
  if (hardwareBin || noHardwareBin) ApplyControl(camera, "HardwareBin", hardwareBin ? "1" : "0");
  if (!flip.empty()) ApplyControl(camera, "Flip", std::to_string(ParseFlip(flip)));
  if (monoBin) ApplyControl(camera, "MonoBin", "1");
  if (monoBin && Bin() == 1) Complain("--mono-bin has no effect at bin 1");
  ApplyRegion(camera, *this);
  ApplyTimeMark(camera, timeMark);
  ApplyControl(camera, "Gamma", gamma);
  if (!exposure.empty()) ApplyControl(camera, "Exposure", exposure);
  ApplyControl(camera, "Gain", gain);
  ApplyControl(camera, "Offset", offset);
  triggers.Apply(camera);
}

}  // namespace orq::cli
