#include "options/TriggerOptions.h"

#include <iterator>
#include <limits>

#include "options/Quantities.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr ModeName kModes[] = {
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

orq_trigger_output ParsePulse(const std::string& text, const std::string& option) {
  const std::vector<std::string> parts = Split(text, ',');
  const bool levelGiven = parts.size() == 3;
  if (parts.size() != 2 && !levelGiven)
    throw CliError(kExitUsage, option + " needs DELAY,DURATION or DELAY,DURATION,low, as in 0us,10ms");
  const std::string level = levelGiven ? Lower(parts[2]) : "high";
  if (level != "high" && level != "low")
    throw CliError(kExitUsage, option + ": unknown level '" + parts[2] + "'; there are high and low");
  auto pulse = sized<orq_trigger_output>();
  pulse.active_high = level == "high" ? 1 : 0;
  pulse.delay_us = ParsePulseTime(parts[0], option + " delay");
  pulse.length_us = ParsePulseTime(parts[1], option + " duration");
  if (pulse.length_us == 0) throw CliError(kExitUsage, option + ": a pulse lasts for 1us or more");
  return pulse;
}

// Of a sum of bits.
std::string NamesOf(std::uint32_t modes) {
  std::vector<std::string> names;
  for (std::size_t mode = 0; mode < std::size(kModes); ++mode)
    if ((modes >> mode & 1U) != 0) names.emplace_back(kModes[mode].name);
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

bool IsSoftwareTriggered(int mode) {
  return mode == ORQ_MODE_SOFTWARE || mode == ORQ_MODE_SOFTWARE_LEVEL;
}

void TriggerOptions::AddTo(const Command& command) {
  command.AddOption("--mode", mode, "Camera mode, by number or name (see orqcam mode): " + AllNames())
      .Default(mode.empty() ? kModes[0].name : mode);
  command.AddOption(
      "--out-a", outputs[0],
      "Pulse on trigger output A for each exposure: DELAY,DURATION[,low] with units, as in 0us,10ms");
  command.AddOption("--out-b", outputs[1], "The same for output B");
}

int TriggerOptions::Mode() const {
  if (mode.empty()) return ORQ_MODE_FREE;
  for (std::size_t number = 0; number < std::size(kModes); ++number)
    if (Lower(mode) == kModes[number].name || mode == std::to_string(number)) return static_cast<int>(number);
  throw CliError(kExitUsage, "unknown mode '" + mode + "'; there are 0 to 6, or by name " + AllNames());
}

std::chrono::milliseconds TriggerOptions::Patience(const std::string& timeout) const {
  const std::uint64_t us = ParseTime(timeout, "--timeout");
  if (us == 0) throw CliError(kExitUsage, "--timeout must be longer than 0");
  if (Mode() == 0 || IsSoftwareTriggered(Mode()))
    throw CliError(kExitUsage, "--timeout is for external triggers: choose --mode rising, falling, high or low");
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(us));
}

void TriggerOptions::Check() const {
  Mode();
  for (std::size_t i = 0; i < std::size(outputs); ++i)
    if (!outputs[i].empty()) ParsePulse(outputs[i], kOutputNames[i]);
}

void TriggerOptions::Apply(Device& camera) const {
  const std::uint32_t offered = camera->triggerModes();
  const int wanted = Mode();
  if ((offered >> wanted & 1U) == 0) {
    throw CliError(ORQ_ERROR_UNSUPPORTED, std::string("the camera does not offer mode ") + kModes[wanted].name +
                                              "; it offers " + NamesOf(offered));
  }
  camera->triggerMode(wanted);
  for (std::size_t i = 0; i < std::size(outputs); ++i) {
    if (outputs[i].empty()) continue;
    if (!camera.Can(ORQ_ABILITY_TRIGGER))
      throw CliError(ORQ_ERROR_UNSUPPORTED, "the camera has no trigger outputs");
    camera->triggerOutput(static_cast<int>(i), ParsePulse(outputs[i], kOutputNames[i]));
  }
}

}  // namespace orq::cli
