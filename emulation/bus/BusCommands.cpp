#include "emulation/bus/BusCommands.h"

#include <sstream>

#include "emulation/bus/EmulatedBus.h"

namespace orq {
namespace {

CommandAnswer Refuse(const std::string& reason) {
  return {"error: " + reason, false};
}

CommandAnswer Replug(EmulatedDevice& device) {
  std::string error;
  device.Unplug();
  return device.Plug({}, error) ? CommandAnswer{"ok", false} : Refuse(error);
}

}  // namespace

CommandAnswer ObeyCommand(EmulatedBus& bus, std::string_view line) {
  std::istringstream words{std::string(line)};
  std::string verb;
  std::string rest;
  words >> verb;
  if (verb == "quit" && !(words >> rest)) {
    return {"ok", true};
  }
  const bool known = verb == "unplug" || verb == "replug" || verb == "stall";
  std::size_t number = 0;
  if (!known || !(words >> number) || words >> rest) {
    return Refuse("commands are: unplug N, replug N, stall N, quit");
  }
  if (number >= bus.Devices().size()) {
    return Refuse("there is no camera " + std::to_string(number) + "; the last is " +
                  std::to_string(bus.Devices().size() - 1));
  }
  EmulatedDevice& device = *bus.Devices()[number];
  if (verb == "replug") {
    return Replug(device);
  }
  if (!device.Plugged()) {
    return Refuse("camera " + std::to_string(number) + " is not plugged in");
  }
  if (verb == "stall") {
    device.HaltFrames();
  } else {
    device.Unplug();
  }
  return {"ok", false};
}

}  // namespace orq
