// A line of the guide port that is never left on.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "models/camera/ModelCamera.h"
#include "session/Pause.h"

namespace orq::session {

/// "north", "south", "east" or "west".
const char* GuideName(GuideD direction);

/// Holds one guide line on for the length of its life. Unlike the camera's own guide operations it looks at the
/// camera's answers: a line that stays on drives the telescope away. Throws Failure.
class GuideLine {
 public:
  /// When the camera refuses, the line is switched off again, for an answer that got lost does not tell whether it
  /// went on.
  ///
  /// `warn` is told one line for a user when the line is still on at the end of this life; must not throw.
  GuideLine(CCameraBase& camera, GuideD direction, std::function<void(const std::string&)> warn);
  /// Switches it off when that has not been done.
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
  std::function<void(const std::string&)> warn_;
  std::chrono::steady_clock::time_point since_;
  bool on_ = true;
};

struct GuideOutcome {
  double ms = 0.0;  ///< from before the line went on until it was off for certain
  bool interrupted = false;
};

/// A pulse of at least `ms`, or a shorter one when `pause` says so. However it ends, the line is switched off.
/// Throws Failure.
GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms, const Pause& pause,
                            const std::function<void(const std::string&)>& warn);

}  // namespace orq::session
