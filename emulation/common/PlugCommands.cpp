#include "emulation/common/PlugCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>

#include "link/WireProtocol.h"

namespace orq {
namespace {

const CommandAnswer kOk{"ok", false};

CommandAnswer Refuse(const std::string& reason) {
  return {"error: " + reason, false};
}

/// Writes a frame as the sensor sent it, header and payload; the answer tells when its exposure began.
CommandAnswer WriteSent(const PlugPoint& camera, std::uint32_t sequence, const std::string& path) {
  const auto frames = camera.Camera().SentFrames();
  // The latest first: numbers begin anew with the camera's power.
  const auto frame = std::find_if(frames.rbegin(), frames.rend(),
                                  [&](const SentFrame& sent) { return sent.header.sequence == sequence; });
  if (frame == frames.rend()) return Refuse("frame " + std::to_string(sequence) + " is not one of the last few");
  std::array<std::uint8_t, wire::kHeaderBytes> header{};
  wire::PutHeader(frame->header, header);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(header.data()), header.size());
  file.write(reinterpret_cast<const char*>(frame->payload->data()),
             static_cast<std::streamsize>(frame->payload->size()));
  if (!file.flush()) return Refuse("cannot write " + path);
  const auto began = std::chrono::duration_cast<std::chrono::microseconds>(frame->exposedAt.time_since_epoch());
  return {"ok " + std::to_string(began.count()), false};
}

/// Names of the lines of the guide port that are closed at this moment.
CommandAnswer TellGuideLines(PlugPoint& camera) {
  constexpr std::array kNames = {"north", "south", "east", "west"};
  const auto closed = camera.Camera().Readings().guideLines;
  CommandAnswer answer = kOk;
  for (std::size_t line = 0; line < closed.size(); ++line)
    if (closed.at(line)) answer.text += std::string(" ") + kNames.at(line);
  return answer;
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
    Verb{"guide", true, TellGuideLines},
};

std::string Usage() {
  std::string text = "commands are: ";
  for (const Verb& verb : kVerbs) text += std::string(verb.name) + " N, ";
  return text + "sent N SEQUENCE FILE, quit";
}

}  // namespace

CommandAnswer ObeyCommand(std::span<PlugPoint* const> cameras, std::string_view line) {
  std::istringstream words{std::string(line)};
  std::string name;
  std::string rest;
  words >> name;
  if (name == "quit" && !(words >> rest)) return {"ok", true};
  const bool asksSent = name == "sent";
  const auto verb = std::ranges::find(kVerbs, name, &Verb::name);
  std::size_t number = 0;
  std::uint32_t sequence = 0;
  std::string path;
  if ((verb == kVerbs.end() && !asksSent) || !(words >> number) || (asksSent && !(words >> sequence >> path)) ||
      words >> rest)
    return Refuse(Usage());
  if (number >= cameras.size()) {
    return Refuse("there is no camera " + std::to_string(number) + "; the last is " +
                  std::to_string(cameras.size() - 1));
  }
  PlugPoint& camera = *cameras[number];
  if (asksSent) return WriteSent(camera, sequence, path);
  if (!verb->whenPulledOut && !camera.Plugged())
    return Refuse("camera " + std::to_string(number) + " is not plugged in");
  return verb->act(camera);
}

}  // namespace orq
