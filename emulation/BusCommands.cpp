#include "emulation/BusCommands.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "emulation/EmulatedBus.h"
#include "link/WireProtocol.h"

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

/// Writes a frame as the sensor sent it, header and payload; the answer tells when its exposure began.
CommandAnswer WriteSent(const EmulatedDevice& device, std::uint32_t sequence, const std::string& path) {
  for (const SentFrame& frame : device.Camera().SentFrames()) {
    if (frame.header.sequence != sequence) {
      continue;
    }
    std::array<std::uint8_t, wire::kHeaderBytes> header{};
    wire::PutHeader(frame.header, header);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(header.data()), header.size());
    file.write(reinterpret_cast<const char*>(frame.payload->data()),
               static_cast<std::streamsize>(frame.payload->size()));
    if (!file.flush()) {
      return Refuse("cannot write " + path);
    }
    const auto began = std::chrono::duration_cast<std::chrono::microseconds>(frame.exposedAt.time_since_epoch());
    return {"ok " + std::to_string(began.count()), false};
  }
  return Refuse("frame " + std::to_string(sequence) + " is not one of the last few");
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
  const bool sent = verb == "sent";
  const bool known = verb == "unplug" || verb == "replug" || verb == "stall" || sent;
  std::size_t number = 0;
  std::uint32_t sequence = 0;
  std::string path;
  if (!known || !(words >> number) || (sent && !(words >> sequence >> path)) || words >> rest) {
    return Refuse("commands are: unplug N, replug N, stall N, sent N SEQUENCE FILE, quit");
  }
  if (number >= bus.Devices().size()) {
    return Refuse("there is no camera " + std::to_string(number) + "; the last is " +
                  std::to_string(bus.Devices().size() - 1));
  }
  EmulatedDevice& device = *bus.Devices()[number];
  if (verb == "replug") {
    return Replug(device);
  }
  if (sent) {
    return WriteSent(device, sequence, path);
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
