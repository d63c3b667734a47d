// What the commands that take frames in a row have in common: how the frames are taken and what is done to them.
#pragma once

#include "options/AutoControl.h"
#include "options/CommandLine.h"
#include "options/Cooling.h"
#include "options/Corrections.h"
#include "options/ShotSettings.h"

namespace orq::cli {

struct ShootingOptions {
  ShotSettings settings;
  CorrectionOptions corrections;
  CoolSettings cooling;
  AutoSettings automatic;
  bool reconnect = false;

  /// All but `reconnect`, which help shows among the options that say when to give up.
  void AddTo(const Command& command);
  void AddReconnectTo(const Command& command);
};

}  // namespace orq::cli
