#include "options/Corrections.h"

#include <optional>
#include <string>

#include "session/text/Units.h"

namespace orq::cli {

namespace {

void UseDark(Device& camera, const std::string& path) {
  try {
    camera->useDark(path);
  } catch (const Error& error) {
    throw CliError(error.status(), std::string(error.what()) + "; give another one with --dark, or --no-dark");
  }
  const std::string trouble = camera->darkState().trouble;
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

void ApplyCorrections(Device& camera, const CorrectionOptions& options, bool chosen) {
  camera->noDark();
  if (options.dark) {
    UseDark(camera, *options.dark);
  } else if (chosen && !options.noDark) {
    if (const std::string path = ChosenDark(camera->darkChoice()); !path.empty()) UseDark(camera, path);
  }
  if (options.noHotPixels) camera->repairHotPixels(false);
  if (options.hotPixels) camera->repairHotPixels(true);
}

std::string ChosenDark(const orq_dark_choice& choice) {
  if (choice.trouble[0] != '\0') throw CliError(ORQ_ERROR_FILE, choice.trouble);
  return choice.chosen;
}

void TellShortExposures(Device& camera) {
  if (!camera->isAutomatic(ORQ_CONTROL_EXPOSURE)) return;
  Complain("automatic exposure is on: the dark is not subtracted from frames exposed for less than " +
           session::ExposureText(ORQ_SHORTEST_AUTOMATIC_DARK_US));
}

void TellDifferences(Device& camera) {
  const orq_dark_state dark = camera->darkState();
  if (dark.in_use == 0) return;
  TellShortExposures(camera);
  if (dark.differences[0] != '\0') Complain(std::string("the dark was taken differently: ") + dark.differences);
}

}  // namespace orq::cli
