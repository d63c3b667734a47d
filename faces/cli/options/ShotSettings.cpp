#include "options/ShotSettings.h"

#include <algorithm>

#include "camera/ControlAccess.h"
#include "image/timemark/TimeMark.h"
#include "session/frame/FrameFacts.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

struct FlipName {
  const char* name;
  int value;
};
constexpr FlipName kFlips[] = {{"none", 0}, {"h", 1}, {"v", 2}, {"both", 3}};

int ParseFlip(const std::string& text) {
  for (const FlipName& flip : kFlips) {
    if (Lower(text) == flip.name) return flip.value;
  }
  throw CliError(kExitUsage, "unknown flip '" + text + "'; there are none, h, v and both");
}

IMG_TYPE ParseFormat(const std::string& text) {
  std::vector<std::string> names;
  for (const IMG_TYPE format : kFormats) {
    if (Lower(text) == FormatName(format)) return format;
    names.emplace_back(FormatName(format));
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

SensorRegion Covered(const FrameRegion& region) {
  return {region.startX, region.startY, region.width * region.bin, region.height * region.bin};
}

IMG_TYPE ChooseFormat(CModelCamera& camera, const std::string& text) {
  if (!text.empty()) return ParseFormat(text);
  return camera.IsImgTypeSupported(ORQ_IMG_RAW16) ? ORQ_IMG_RAW16 : ORQ_IMG_RAW8;
}

SensorRegion WantedRegion(const ModelData& model, const ShotSettings& settings) {
  if (!settings.region.empty()) {
    const std::vector<int> numbers = ParseIntegers(settings.region, 4, "--region");
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
  }
  if (!settings.center.empty()) {
    const std::vector<int> size = ParseIntegers(settings.center, 2, "--center");
    return {(model.maxWidth - size[0]) / 2, (model.maxHeight - size[1]) / 2, size[0], size[1]};
  }
  return {0, 0, model.maxWidth, model.maxHeight};
}

void ApplyRegion(Session& session, const ShotSettings& settings) {
  const ModelData& model = session.Model();
  const SensorRegion wanted = WantedRegion(model, settings);
  const bool inside = wanted.x >= 0 && wanted.y >= 0 && wanted.width > 0 && wanted.height > 0 &&
                      wanted.x + wanted.width <= model.maxWidth && wanted.y + wanted.height <= model.maxHeight;
  if (!inside) {
    const std::string asked =
        settings.region.empty() ? "--center " + settings.center : "--region " + settings.region;
    throw CliError(Status::Range, Format("%s does not lie on the sensor: stay within its %d x %d pixels",
                                         asked.c_str(), model.maxWidth, model.maxHeight));
  }
  FrameRegion request;
  request.startX = wanted.x;
  request.startY = wanted.y;
  request.bin = settings.Bin();
  request.width = wanted.width / request.bin;
  request.height = wanted.height / request.bin;
  request.format = ChooseFormat(session.Camera(), settings.format);
  FrameRegion applied;
  std::string reason;
  if (!session.Camera().SetRegion(request, applied, reason)) {
    if (session.Camera().DeviceLost()) session.Fail("cannot set the region");
    throw CliError(Status::Range, reason);
  }
  const bool asked = !settings.region.empty() || !settings.center.empty();
  if (asked && Covered(applied) != wanted) {
    const RegionRules& rules = model.region;
    const std::string nearest = RegionText(Covered(applied));
    const std::string text = Format(
        "region %s is not on the camera's grid (width in steps of %d, height of %d output pixels, start "
        "of %d and %d sensor pixels): ",
        RegionText(wanted).c_str(), rules.widthStep, rules.heightStep, rules.startXStep, rules.startYStep);
    if (session.Strict()) throw CliError(Status::Range, text + "the nearest is " + nearest);
    Complain(text + "using " + nearest);
  }
}

void ApplyTimeMark(Session& session, bool wanted) {
  if (!wanted) return;
  const FrameRegion region = session.Camera().Region();
  if (region.format == ORQ_IMG_RAW16) {
    throw CliError(Status::Unsupported, "a time mark needs an 8-bit format: add -f raw8, y8 or rgb24");
  }
  if (region.width < kMarkLeastWidth || region.height < kMarkLeastHeight) {
    throw CliError(Status::Range, Format("a time mark needs frames of at least %d x %d pixels", kMarkLeastWidth,
                                         kMarkLeastHeight));
  }
  session.Camera().SetTimeMark(true);
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

void ShotSettings::Apply(Session& session) const {
  if (hardwareBin || noHardwareBin) ApplyControl(session, ORQ_HARDWARE_BIN, hardwareBin ? "1" : "0");
  if (!flip.empty()) ApplyControl(session, ORQ_FLIP, std::to_string(ParseFlip(flip)));
  if (monoBin) ApplyControl(session, ORQ_MONO_BIN, "1");
  if (monoBin && Bin() == 1) Complain("--mono-bin has no effect at bin 1");
  ApplyRegion(session, *this);
  ApplyTimeMark(session, timeMark);
  ApplyControl(session, ORQ_GAMMA, gamma);
  if (!exposure.empty()) ApplyControl(session, ORQ_EXPOSURE, exposure);
  ApplyControl(session, ORQ_GAIN, gain);
  ApplyControl(session, ORQ_OFFSET, offset);
  triggers.Apply(session);
}

}  // namespace orq::cli
