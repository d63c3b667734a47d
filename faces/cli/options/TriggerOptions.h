// Camera mode and trigger outputs as options of the commands that take frames.
#pragma once

#include <chrono>
#include <span>
#include <string>

#include "camera/CameraModeTypes.h"
#include "camera/Session.h"
#include "options/CommandLine.h"

namespace orq::cli {

struct ModeName {
  const char* name;
  const char* meaning;
};
/// By mode.
std::span<const ModeName> ModeNames();
/// The modes that the camera offers, in order.
std::vector<CAM_MODE> OfferedModes(CModelCamera& camera);

/// The mode and the outputs hold while the command has the camera open.
struct TriggerOptions {
  std::string mode;        ///< number or name; empty: free running
  std::string outputs[2];  ///< `DELAY,DURATION[,low]` of A and B; empty: off

  void AddTo(const Command& command);
  /// Throws CliError (usage).
  CAM_MODE Mode() const;
  /// `timeout` with its unit; throws CliError (usage), also when the mode has no external trigger to wait for.
  std::chrono::milliseconds Patience(const std::string& timeout) const;
  /// Throws CliError (usage) for what is wrong whatever the camera.
  void Check() const;
  /// Throws CliError when the camera does not offer it.
  void Apply(Session& session) const;
};

}  // namespace orq::cli
