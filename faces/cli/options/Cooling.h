// Cooling the sensor, as long as the command runs or longer.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"
#include "options/CommandLine.h"

namespace orq::cli {

/// The cooling options of commands that take frames.
struct CoolSettings {
  std::optional<std::string> target;
  bool wait = false;
  bool keep = false;
  std::string timeout = "1800";

  void AddTo(const Command& command);
  /// Throws CliError (usage) for what is wrong whatever the camera.
  void Check() const;
  /// Throws Error.
  void Apply(Device& camera) const;
};

}  // namespace orq::cli
