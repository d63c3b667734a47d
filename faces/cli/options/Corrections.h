// The corrections of frames that `capture` and `stream` share: dark and hot pixels.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"
#include "options/CommandLine.h"

namespace orq::cli {

struct CorrectionOptions {
  std::optional<std::string> dark;  ///< a file instead of the chosen dark
  bool noDark = false;
  bool hotPixels = false;  ///< neither of the two: as the camera has it
  bool noHotPixels = false;

  void AddTo(const Command& command);
};

/// Switches the corrections of one run on, until the camera is closed. `chosen`: the user's choice counts (not for
/// `--no-settings`, nor for frames that are to be a dark or a bias). Throws Error for a dark that cannot be used
/// and for a missing table of hot pixels.
void ApplyCorrections(Device& camera, const CorrectionOptions& options, bool chosen);
/// The file of the dark that the user has chosen; empty: none is. Throws CliError when that cannot be told.
std::string ChosenDark(const orq_dark_choice& choice);
/// Says on standard error when automatic exposure leaves frames without the dark.
void TellShortExposures(Device& camera);
/// Says on standard error what of the dark does not fit; call it when everything is set.
void TellDifferences(Device& camera);

}  // namespace orq::cli
