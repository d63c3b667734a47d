// Commands in words to the cameras of an emulated bus.
#pragma once

#include <string>
#include <string_view>

namespace orq {

class EmulatedBus;

struct CommandAnswer {
  std::string text;   ///< one line without its end: "ok" or "error: " and a reason
  bool quit = false;  ///< the command asks for the end of the program
};

/// `unplug N`, `replug N`, `stall N` (N counts the cameras from 0), `quit`.
CommandAnswer ObeyCommand(EmulatedBus& bus, std::string_view line);

}  // namespace orq
