// A line of the guide port that is never left on.
#pragma once

#include <chrono>
#include <string>

#include "models/camera/ModelCamera.h"

namespace orq::cli {

/// "north", "south", "east" or "west".
const char* GuideName(GuideD direction);

/// Holds one guide line on for the length of its life. Unlike the camera's own guide operations it looks at the
/// camera's answers: a line that stays on drives the telescope away. Throws CliError.
class GuideLine {
 public:
  /// When the camera refuses, the line is switched off again, for an answer that got lost does not tell whether it
  /// went on.
  GuideLine(CCameraBase& camera, GuideD direction);
  /// Switches it off when that has not been done; says on standard error when it cannot.
  ~GuideLine();
  GuideLine(const GuideLine&) = delete;
  GuideLine& operator=(const GuideLine&) = delete;

  /// When the camera said that the line is on: writing the log must not lengthen the pulse.
  std::chrono::steady_clock::time_point Since() const { return since_; }
  /// Tries several times. The error says that the line may still be on and what to do.
  void SwitchOff();

 private:
  bool Off();
  std::string StillOn() const;

  CCameraBase& camera_;
  GuideD direction_;
  std::chrono::steady_clock::time_point since_;
  bool on_ = true;
};

struct GuideOutcome {
  double ms = 0.0;  ///< from before the line went on until it was off for certain
  bool interrupted = false;
};

/// A pulse of at least `ms`, or a shorter one when the user asks to stop. However it ends, by signals or by an
/// exception, the line is switched off; no number of Ctrl-C kills the tool meanwhile. Throws CliError.
GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms);

}  // namespace orq::cli
