#include "options/Corrections.h"

#include <optional>
#include <string>

#include "image/dark/DarkImage.h"
#include "session/files/StateDirectory.h"
#include "session/text/Units.h"

namespace orq::cli {

namespace {

void UseDark(FrameCorrections& corrections, const std::string& path) {
  std::string trouble;
  try {
    const QuietBelow quiet;
    trouble = corrections.UseDark(path);
  } catch (const Failure& failure) {
    throw Failure(failure.Code(), std::string(failure.what()) + "; give another one with --dark, or --no-dark");
  }
  if (!trouble.empty()) Complain(trouble);
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

DarkStore StoreOf(Session& session) {
  return {StateDirectory(), session.Model(), session.Serial()};
}

FrameCorrections ApplyCorrections(Session& session, const CorrectionOptions& options, bool chosen) {
  FrameCorrections corrections(session.Camera(), session.Serial());
  if (options.dark) {
    UseDark(corrections, *options.dark);
  } else if (chosen && !options.noDark) {
    if (const std::string path = StoreOf(session).Chosen(); !path.empty()) UseDark(corrections, path);
  }
  if (options.noHotPixels) RepairHotPixels(session.Camera(), false);
  if (options.hotPixels) RepairHotPixels(session.Camera(), true);
  return corrections;
}

void TellShortExposures(const CModelCamera& camera) {
  if (camera.AutoExp == 0) return;
  Complain("automatic exposure is on: the dark is not subtracted from frames exposed for less than " +
           ExposureText(kShortAutoExposureUs));
}

void TellDifferences(const CModelCamera& camera, const FrameCorrections& corrections) {
  if (!corrections.HasDark()) return;
  TellShortExposures(camera);
  const std::string differences = corrections.Differences();
  if (!differences.empty()) Complain("the dark was taken differently: " + differences);
}

}  // namespace orq::cli
