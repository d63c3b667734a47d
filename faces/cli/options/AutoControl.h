// Automatic exposure, gain and white balance, as long as the command runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/Session.h"
#include "camera/Shooter.h"
#include "options/CommandLine.h"
#include "session/autocontrol/AutomaticControl.h"

namespace orq::cli {

/// The options of commands that take frames.
struct AutoSettings {
  bool exposure = false;
  bool gain = false;
  bool whiteBalance = false;
  std::optional<std::string> target;
  std::optional<std::string> maxExposure;
  std::optional<std::string> maxGain;
  std::string timeout = "120";

  void AddTo(const Command& command);
  /// Of commands that wait for it to settle.
  void AddTimeoutTo(const Command& command);
  /// Throws Failure (usage) for what is wrong whatever the camera.
  void Check() const;
};

/// What it has come to.
void AddTo(Report& report, const AutoReading& reading);

/// Runs from construction to destruction, when something is automatic: by an option, or because the camera's
/// settings have it so. Then the camera's settings are kept as they were, with the values that were found.
class AutoControl {
 public:
  /// Throws Failure: not supported, refused.
  AutoControl(Session& session, const AutoSettings& settings);

  bool Runs() const { return control_.Runs(); }
  AutoReading Read() const { return control_.Read(); }
  /// Takes frames of a running video until nothing has to be adjusted any more, and throws them away. Says on
  /// standard error when it rests away from its target. Throws Failure: interrupted, lost, ended, or not at rest
  /// in time.
  void Settle(VideoShooter& shooter);

 private:
  const double timeoutSeconds_;
  AutomaticControl control_;
};

}  // namespace orq::cli
