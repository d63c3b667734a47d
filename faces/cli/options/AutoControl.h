// Automatic exposure, gain and white balance, as long as the command runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/Shooter.h"
#include "options/CommandLine.h"

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
  /// Throws CliError (usage) for what is wrong whatever the camera.
  void Check() const;
};

/// What it has come to.
void AddTo(Report& report, const orq_automatic_state& state);

/// Automatic control from construction until the camera is closed, when something is automatic: by an option, or
/// because the camera's settings have it so.
class AutoControl {
 public:
  /// Throws Error: not supported, refused.
  AutoControl(Device& camera, const AutoSettings& settings);

  bool Runs() const { return runs_; }
  orq_automatic_state Read() const { return camera_->automaticState(); }
  /// Takes frames of a running video until nothing has to be adjusted any more, and throws them away. Says on
  /// standard error when it rests away from its target. Throws Error: interrupted, lost, ended, or not at rest in
  /// time.
  void Settle(VideoShooter& shooter);

 private:
  bool Start();

  Device& camera_;
  const double timeoutSeconds_;
  bool runs_ = false;
};

}  // namespace orq::cli
