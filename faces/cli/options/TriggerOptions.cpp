#include "options/TriggerOptions.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "camera/CameraModeTable.h"
#include "camera/TriggerSettings.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr ModeName kModes[kLastCameraMode + 1] = {
    {"free", "frame after frame, without triggers"},
    {"software", "a frame for each software trigger"},
    {"rising", "a frame for each rising edge of the trigger input"},
    {"falling", "a frame for each falling edge of the trigger input"},
    {"software-level", "a frame for each software trigger, by level"},
    {"high", "frame after frame while the trigger input is high"},
    {"low", "frame after frame while the trigger input is low"},
};
constexpr const char* kOutputNames[2] = {"--out-a", "--out-b"};

std::int32_t ParsePulseTime(const std::string& text, const std::string& what) {
  const std::uint64_t us = ParseTime(text, what);
  constexpr std::uint64_t kLongest = std::numeric_limits<std::int32_t>::max();
  if (us > kLongest) throw CliError(kExitUsage, what + " " + text + " is too long: 2147s is the most");
  return static_cast<std::int32_t>(us);
}

TriggerPulse ParsePulse(const std::string& text, const std::string& option) {
  const std::vector<std::string> parts = Split(text, ',');
  const bool levelGiven = parts.size() == 3;
  if (parts.size() != 2 && !levelGiven) {
    throw CliError(kExitUsage, option + " needs DELAY,DURATION or DELAY,DURATION,low, as in 0us,10ms");
  }
  const std::string level = levelGiven ? Lower(parts[2]) : "high";
  if (level != "high" && level != "low") {
    throw CliError(kExitUsage, option + ": unknown level '" + parts[2] + "'; there are high and low");
  }
  const TriggerPulse pulse{level == "high", ParsePulseTime(parts[0], option + " delay"),
                           ParsePulseTime(parts[1], option + " duration")};
  if (pulse.lengthUs == 0) throw CliError(kExitUsage, option + ": a pulse lasts for 1us or more");
  return pulse;
}

std::string NamesOf(const std::vector<CAM_MODE>& modes) {
  std::vector<std::string> names;
  for (const CAM_MODE mode : modes) names.emplace_back(kModes[mode].name);
  return Join(names);
}

std::string AllNames() {
  std::vector<std::string> names;
  for (const ModeName& mode : kModes) names.emplace_back(mode.name);
  return Join(names);
}

}  // namespace

std::span<const ModeName> ModeNames() {
  return kModes;
}

std::vector<CAM_MODE> OfferedModes(CModelCamera& camera) {
  _ORQ_SUPPORTED_MODE list;
  camera.GetCameraSupportedMode(&list);
  return {std::begin(list.modes), std::find(std::begin(list.modes), std::end(list.modes), -1)};
}

void TriggerOptions::AddTo(const Command& command) {
  command.AddOption("--mode", mode, "Camera mode, by number or name (see orqcam mode): " + AllNames())
      .Default(mode.empty() ? kModes[0].name : mode);
  command.AddOption(
      "--out-a", outputs[0],
      "Pulse on trigger output A for each exposure: DELAY,DURATION[,low] with units, as in 0us,10ms");
  command.AddOption("--out-b", outputs[1], "The same for output B");
}

CAM_MODE TriggerOptions::Mode() const {
  if (mode.empty()) return 0;
  for (CAM_MODE number = 0; number <= kLastCameraMode; ++number) {
    if (Lower(mode) == kModes[number].name || mode == std::to_string(number)) return number;
  }
  throw CliError(kExitUsage, "unknown mode '" + mode + "'; there are 0 to 6, or by name " + AllNames());
}

std::chrono::milliseconds TriggerOptions::Patience(const std::string& timeout) const {
  const std::uint64_t us = ParseTime(timeout, "--timeout");
  if (us == 0) throw CliError(kExitUsage, "--timeout must be longer than 0");
  if (Mode() == 0 || IsSoftwareTriggered(Mode())) {
    throw CliError(kExitUsage, "--timeout is for external triggers: choose --mode rising, falling, high or low");
  }
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(us));
}

void TriggerOptions::Check() const {
  Mode();
  for (std::size_t i = 0; i < std::size(outputs); ++i) {
    if (!outputs[i].empty()) ParsePulse(outputs[i], kOutputNames[i]);
  }
}

void TriggerOptions::Apply(Session& session) const {
  CModelCamera& camera = session.Camera();
  const std::vector<CAM_MODE> offered = OfferedModes(camera);
  const CAM_MODE wanted = Mode();
  if (std::find(offered.begin(), offered.end(), wanted) == offered.end() ||
      camera.SetCameraMode(wanted) != MODE_OK) {
    throw CliError(Status::Unsupported, std::string("the camera does not offer mode ") + kModes[wanted].name +
                                            "; it offers " + NamesOf(offered));
  }
  for (std::size_t i = 0; i < std::size(outputs); ++i) {
    if (outputs[i].empty()) continue;
    if (camera.supportTrigger == 0) throw CliError(Status::Unsupported, "the camera has no trigger outputs");
    const TriggerPulse pulse = ParsePulse(outputs[i], kOutputNames[i]);
    camera.SetTrigOutPinConf(static_cast<Trig_Output_Pin>(i), pulse.high, pulse.delayUs, pulse.lengthUs);
  }
}

}  // namespace orq::cli
