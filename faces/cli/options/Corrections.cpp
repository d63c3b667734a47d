#include "options/Corrections.h"

#include <cmath>
#include <filesystem>
#include <vector>

#include "camera/Climate.h"
#include "files/DarkStore.h"
#include "image/dark/DarkImage.h"
#include "output/Text.h"
#include "output/Units.h"

namespace orq::cli {

namespace {

constexpr int kDarkLoaded = 1;  // what loading a BMP answers
// A dark current grows with the exposure and doubles every six degrees or so.
constexpr std::uint64_t kExposureShare = 10;  // a tenth may differ
constexpr double kToleranceC = 2.0;

bool ExposuresDiffer(std::uint64_t dark, std::uint64_t now) {
  const std::uint64_t difference = now > dark ? now - dark : dark - now;
  return difference * kExposureShare > dark;
}

}  // namespace

void CorrectionOptions::AddTo(const Command& command) {
  const Option darkOption =
      command.AddOption("--dark", dark, "Subtract this dark (a .bmp file) instead of the one chosen by dark use");
  command.AddFlag("--no-dark", noDark, "Subtract no dark").Excludes(darkOption);
  const Option hotPixelsOption = command.AddFlag(
      "--hot-pixels", hotPixels, "Repair the hot pixels that the table in the camera's flash lists");
  command.AddFlag("--no-hot-pixels", noHotPixels, "Do not (default: as the camera has it)")
      .Excludes(hotPixelsOption);
}

DarkDescription PresentSettings(Session& session) {
  CModelCamera& camera = session.Camera();
  DarkDescription now;
  now.model = camera.modelName;
  now.serial = session.Serial();
  now.facts.exposureUs = camera.exposureUs;
  now.facts.gain = camera.gain;
  now.facts.offset = camera.Brightness;
  if (const std::optional<double> celsius = SensorCelsius(camera)) {
    now.facts.sensorC = static_cast<float>(*celsius);
  }
  return now;
}

std::string DarkDifferences(const DarkDescription& dark, const DarkDescription& now) {
  std::vector<std::string> differences;
  if (ExposuresDiffer(dark.facts.exposureUs, now.facts.exposureUs)) {
    differences.push_back("exposure " + ExposureText(dark.facts.exposureUs) + ", now " +
                          ExposureText(now.facts.exposureUs));
  }
  if (now.facts.gain != dark.facts.gain) {
    differences.push_back(Format("gain %d, now %d", dark.facts.gain, now.facts.gain));
  }
  if (now.facts.sensorC && dark.facts.sensorC) {
    const double was = static_cast<double>(*dark.facts.sensorC);
    const double is = static_cast<double>(*now.facts.sensorC);
    if (std::abs(is - was) > kToleranceC) differences.push_back(Format("sensor at %.1f C, now %.1f C", was, is));
  }
  if (now.model != dark.model) {
    differences.push_back("camera " + dark.model);
  } else if (now.serial != dark.serial) {
    differences.push_back("camera " + (dark.serial.empty() ? "without serial number" : dark.serial));
  }
  return Join(differences, "; ");
}

void TellShortExposures(const CModelCamera& camera) {
  if (camera.AutoExp == 0) return;
  Complain("automatic exposure is on: the dark is not subtracted from frames exposed for less than " +
           ExposureText(kShortAutoExposureUs));
}

Corrections::Corrections(Session& session, const CorrectionOptions& options, bool chosen) : session_(session) {
  CModelCamera& camera = session.Camera();
  camera.UsingDark(false);
  if (options.dark) {
    UseDark(*options.dark);
  } else if (chosen && !options.noDark) {
    if (const std::string path = DarkStore(session).Chosen(); !path.empty()) UseDark(path);
  }
  if (options.noHotPixels) camera.SetHPCStates(false);
  // Opening the camera has loaded the table of a correction that is on.
  if (options.hotPixels && camera.HPC == 0 && !camera.SetHPCStates(true)) {
    if (camera.DeviceLost()) session.Fail("cannot read the table of hot pixels");
    throw CliError(
        kExitFailed,
        "the camera's flash holds no table of hot pixels that can be read; build one with orqcam hotpixels "
        "build --save");
  }
}

void Corrections::UseDark(const std::string& path) {
  CModelCamera& camera = session_.Camera();
  DarkFile dark;
  try {
    dark = ReadDarkFile(path);
    DemandGeometry(camera, dark, path);
  } catch (const Failure& failure) {
    throw Failure(failure.Code(), std::string(failure.what()) + "; give another one with --dark, or --no-dark");
  }
  if (!dark.trouble.empty()) Complain(dark.trouble);
  const QuietBelow quiet;
  if (camera.LoadBMPFromFile(path.c_str()) != kDarkLoaded) {
    throw CliError(Status::File, "cannot load the dark '" + path + "'");
  }
  name_ = std::filesystem::path(path).filename().string();
  description_ = std::move(dark.description);
}

void Corrections::TellDifferences() const {
  if (name_.empty()) return;
  TellShortExposures(session_.Camera());
  if (!description_) return;
  const std::string differences = DarkDifferences(*description_, PresentSettings(session_));
  if (!differences.empty()) Complain("the dark was taken differently: " + differences);
}

CorrectionFacts Corrections::FactsOf(const FrameInfo& info) const {
  const CModelCamera& camera = session_.Camera();
  CorrectionFacts facts;
  facts.hotPixels = camera.HPC != 0;
  if (name_.empty() || !IsDarkSubtracted(camera.AutoExp != 0, info.exposureUs)) return facts;
  facts.darkFile = name_;
  if (description_) facts.dark = DescriptionText(*description_);
  return facts;
}

}  // namespace orq::cli
