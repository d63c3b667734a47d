// The corrections of frames that `capture` and `stream` share: dark and hot pixels.
#pragma once

#include <optional>
#include <string>

#include "camera/Session.h"
#include "files/DarkFile.h"
#include "files/Frame.h"
#include "options/CommandLine.h"

namespace orq::cli {

struct CorrectionOptions {
  std::optional<std::string> dark;  ///< a file instead of the chosen dark
  bool noDark = false;
  bool hotPixels = false;  ///< neither of the two: as the camera has it
  bool noHotPixels = false;

  void AddTo(const Command& command);
};

/// How the present settings differ from those of a dark, as far as it matters: exposure by more than a tenth, gain
/// at all, temperature by more than 2 °C, another camera. Empty when nothing does.
std::string DarkDifferences(const DarkDescription& dark, const DarkDescription& now);
/// The camera's settings and temperature at this moment.
DarkDescription PresentSettings(Session& session);
/// Says on standard error when automatic exposure leaves frames without the dark.
void TellShortExposures(const CModelCamera& camera);

/// The corrections of one run, until the session ends.
class Corrections {
 public:
  /// Switches them on. `chosen`: the user's choice counts (not for `--no-settings`, nor for frames that are to be
  /// a dark or a bias). Throws CliError for a dark that cannot be used and for a missing table of hot pixels.
  Corrections(Session& session, const CorrectionOptions& options, bool chosen);

  /// Says on standard error what does not fit; call it when everything is set.
  void TellDifferences() const;
  /// What files say about the frames; the dark only where it was subtracted.
  CorrectionFacts FactsOf(const FrameInfo& info) const;

 private:
  void UseDark(const std::string& path);

  Session& session_;
  std::string name_;  ///< of the dark's file, without directory; empty: no dark
  std::optional<DarkDescription> description_;
};

}  // namespace orq::cli
