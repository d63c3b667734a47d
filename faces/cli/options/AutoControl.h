// Automatic exposure, gain and white balance, as long as the command runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/Session.h"
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
struct AutoReading {
  std::int32_t mean = 0;  ///< 1 to 255; 0: no brightness was measured
  std::int32_t target = 0;
  std::uint64_t exposureUs = 0;
  std::int32_t gain = 0;
  std::optional<std::pair<std::int32_t, std::int32_t>> whiteBalance;  ///< red, blue; while it is automatic
  void AddTo(Report& report) const;
};

/// Runs from construction to destruction, when something is automatic: by an option, or because the camera's
/// settings have it so. Then the camera's settings are kept as they were, with the values that were found.
class AutoControl {
 public:
  /// Throws CliError: not supported, refused.
  AutoControl(Session& session, const AutoSettings& settings);
  ~AutoControl();
  AutoControl(const AutoControl&) = delete;
  AutoControl& operator=(const AutoControl&) = delete;

  bool Runs() const { return runs_; }
  AutoReading Read() const;
  /// Takes frames of a running video until nothing has to be adjusted any more, and throws them away. Says on
  /// standard error when it rests away from its target. Throws CliError: interrupted, lost, ended, or not at rest
  /// in time.
  void Settle(VideoShooter& shooter);

 private:
  struct Flags {
    std::uint8_t exposure = 0;
    std::uint8_t gain = 0;
    std::uint8_t whiteBalance = 0;
  };
  bool AtRest() const;

  Session& session_;
  const double timeoutSeconds_;
  const Flags before_;
  bool runs_ = false;
};

}  // namespace orq::cli
