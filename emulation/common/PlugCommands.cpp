#include "emulation/common/PlugCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>
#include <vector>

#include <zlib.h>

#include "link/WireProtocol.h"

namespace orq {
namespace {

const CommandAnswer kOk{"ok", false};

CommandAnswer Refuse(const std::string& reason) {
  return {"error: " + reason, false};
}

/// Pixels as hosts keep them, whatever order they travelled in.
void PutLowByteFirst(std::vector<std::uint8_t>& payload, const VirtualCamera& camera) {
  if ((camera.FpgaRegister(wire::kFpgaFormat) & wire::kFormatMsbFirst) == 0) {
    return;
  }
  for (std::size_t i = 0; i + 1 < payload.size(); i += 2) {
    std::swap(payload[i], payload[i + 1]);
  }
}

CommandAnswer TellSent(PlugPoint& camera, std::uint32_t sequence) {
  std::vector<std::uint8_t> payload = camera.Camera().SentPayload(sequence);
  if (payload.empty()) {
    return Refuse("no frame " + std::to_string(sequence) + " among the last few");
  }
  PutLowByteFirst(payload, camera.Camera());
  char text[64];
  std::snprintf(text, sizeof text, "ok %08lx %zu bytes", ::crc32_z(0, payload.data(), payload.size()),
                payload.size());
  return {text, false};
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
  return text + "sent N SEQ, quit";
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
  const bool asksSent = name == "sent";
  const auto verb = std::ranges::find(kVerbs, name, &Verb::name);
  std::size_t number = 0;
  std::uint32_t sequence = 0;
  if ((verb == kVerbs.end() && !asksSent) || !(words >> number) || (asksSent && !(words >> sequence)) ||
      words >> rest) {
    return Refuse(Usage());
  }
  if (number >= cameras.size()) {
    return Refuse("there is no camera " + std::to_string(number) + "; the last is " +
                  std::to_string(cameras.size() - 1));
  }
  PlugPoint& camera = *cameras[number];
  if (asksSent) {
    return TellSent(camera, sequence);
  }
  if (!verb->whenPulledOut && !camera.Plugged()) {
    return Refuse("camera " + std::to_string(number) + " is not plugged in");
  }
  return verb->act(camera);
}

}  // namespace orq
