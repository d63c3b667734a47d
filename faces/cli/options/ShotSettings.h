// The settings that `capture` and `stream` share.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"
#include "options/CommandLine.h"
#include "options/TriggerOptions.h"

namespace orq::cli {

struct ShotSettings {
  std::string exposure;  ///< with its unit; empty: as the camera has it
  std::optional<std::string> gain;
  std::optional<std::string> offset;
  std::string region;  ///< X,Y,W,H in sensor pixels
  std::string center;  ///< W,H in sensor pixels
  std::string binText = "1";
  std::string format;        ///< empty: raw16, or raw8 where that is not offered
  std::string flip;          ///< none, h, v or both; empty: as the camera has it
  bool hardwareBin = false;  ///< neither of the two: as the camera has it
  bool noHardwareBin = false;
  bool monoBin = false;
  bool timeMark = false;
  std::optional<std::string> gamma;
  TriggerOptions triggers;

  void AddTo(const Command& command);
  /// Throws CliError (usage).
  int Bin() const;
  /// Throws CliError (usage) for what is wrong whatever the camera.
  void Check() const;
  /// Sets the camera; says on standard error what had to be changed. Throws CliError.
  void Apply(Device& camera) const;
};

}  // namespace orq::cli
