// The corrections of frames that `capture` and `stream` share: dark and hot pixels.
#pragma once

#include <optional>
#include <string>

#include "camera/Session.h"
#include "options/CommandLine.h"
#include "session/darks/DarkStore.h"
#include "session/darks/FrameCorrections.h"

namespace orq::cli {

struct CorrectionOptions {
  std::optional<std::string> dark;  ///< a file instead of the chosen dark
  bool noDark = false;
  bool hotPixels = false;  ///< neither of the two: as the camera has it
  bool noHotPixels = false;

  void AddTo(const Command& command);
};

/// Switches the corrections of one run on, until the session ends. `chosen`: the user's choice counts (not for
/// `--no-settings`, nor for frames that are to be a dark or a bias). Throws Failure for a dark that cannot be used
/// and for a missing table of hot pixels.
FrameCorrections ApplyCorrections(Session& session, const CorrectionOptions& options, bool chosen);
/// Says on standard error what does not fit; call it when everything is set.
void TellDifferences(const CModelCamera& camera, const FrameCorrections& corrections);
/// Says on standard error when automatic exposure leaves frames without the dark.
void TellShortExposures(const CModelCamera& camera);

/// The place of the camera's dark.
DarkStore StoreOf(Session& session);

}  // namespace orq::cli
