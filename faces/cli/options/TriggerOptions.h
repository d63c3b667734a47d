// Camera mode and trigger outputs as options of the commands that take frames.
#pragma once

#include <chrono>
#include <span>
#include <string>

#include "camera/Device.h"
#include "options/CommandLine.h"

namespace orq::cli {

struct ModeName {
  const char* name;
  const char* meaning;
};
/// By mode.
std::span<const ModeName> ModeNames();
/// Whether it takes software triggers.
bool IsSoftwareTriggered(int mode);

/// The mode and the outputs hold while the command has the camera open.
struct TriggerOptions {
  std::string mode;        ///< number or name; empty: free running
  std::string outputs[2];  ///< `DELAY,DURATION[,low]` of A and B; empty: off

  void AddTo(const Command& command);
  /// ORQ_MODE_... Throws CliError (usage).
  int Mode() const;
  /// `timeout` with its unit; throws CliError (usage), also when the mode has no external trigger to wait for.
  std::chrono::milliseconds Patience(const std::string& timeout) const;
  /// Throws CliError (usage) for what is wrong whatever the camera.
  void Check() const;
  /// Throws CliError when the camera does not offer it.
  void Apply(Device& camera) const;
};

}  // namespace orq::cli
