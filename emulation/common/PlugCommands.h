// Commands in words to emulated cameras.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "emulation/common/PlugPoint.h"

namespace orq {

struct CommandAnswer {
  std::string text;   ///< one line without its end: "ok", with what was asked for, or "error: " and a reason
  bool quit = false;  ///< the command asks for the end of the program
};

/// What the commands do, a line each, for a program's help.
inline constexpr std::string_view kCommandHelp =
    R"(  unplug N    pulls camera N out (counted from 0)
  replug N    plugs it in again, power cycled and under a new device number
  stall N     refuses frame transfers until the program clears the endpoint's halt
  error N     lets the next frame transfer fail
  overflow N  sends more than the next frame transfer takes
  silence N   answers nothing any more, until it is plugged in again
  guide N     tells which lines of the guide port are closed: "ok north west"
  sent N SEQUENCE FILE
              writes a frame as the sensor sent it (one of the last few), header and payload; the answer is "ok" and
              when its exposure began, microseconds since 1970)";

/// The commands of `kCommandHelp`, and `quit`. Camera N is the N-th of `cameras`.
CommandAnswer ObeyCommand(std::span<PlugPoint* const> cameras, std::string_view line);

}  // namespace orq
