#include "emulation/common/PlugCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>

namespace orq {
namespace {

const CommandAnswer kOk{"ok", false};

CommandAnswer Refuse(const std::string& reason) {
  return {"error: " + reason, false};
}

struct Verb {
  std::string_view name;
  bool whenPulledOut;  ///< it makes sense for a camera that is not plugged in
  CommandAnswer (*act)(PlugPoint& camera);
};

CommandAnswer Replug(PlugPoint& camera) {
  std::string error;
  return camera.Replug(error) ? kOk : Refuse(error);
}

constexpr std::array kVerbs = {
    Verb{"unplug", false, [](PlugPoint& camera) { return camera.Unplug(), kOk; }},
    Verb{"replug", true, Replug},
    Verb{"stall", false, [](PlugPoint& camera) { return camera.HaltFrames(), kOk; }},
    Verb{"error", false, [](PlugPoint& camera) { return camera.FailNextTransfer(-EPROTO), kOk; }},
    Verb{"overflow", false, [](PlugPoint& camera) { return camera.FailNextTransfer(-EOVERFLOW), kOk; }},
    Verb{"silence", false, [](PlugPoint& camera) { return camera.Silence(), kOk; }},
};

std::string Usage() {
  std::string text = "commands are: ";
  for (const Verb& verb : kVerbs) {
    text += std::string(verb.name) + " N, ";
  }
  return text + "quit";
}

}  // namespace

CommandAnswer ObeyCommand(std::span<PlugPoint* const> cameras, std::string_view line) {
  std::istringstream words{std::string(line)};
  std::string name;
  std::string rest;
  words >> name;
  if (name == "quit" && !(words >> rest)) {
    return {"ok", true};
  }
  const auto verb = std::ranges::find(kVerbs, name, &Verb::name);
  std::size_t number = 0;
  if (verb == kVerbs.end() || !(words >> number) || words >> rest) {
    return Refuse(Usage());
  }
  if (number >= cameras.size()) {
    return Refuse("there is no camera " + std::to_string(number) + "; the last is " +
                  std::to_string(cameras.size() - 1));
  }
  PlugPoint& camera = *cameras[number];
  if (!verb->whenPulledOut && !camera.Plugged()) {
    return Refuse("camera " + std::to_string(number) + " is not plugged in");
  }
  return verb->act(camera);
}

}  // namespace orq
