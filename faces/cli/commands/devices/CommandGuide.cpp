// orqcam guide: pulses on the guide port.
#include <array>
#include <chrono>
#include <cmath>
#include <memory>

#include "camera/LongWork.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/Signals.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

// Autoguiders correct in tens to hundreds of milliseconds and calibrate in a few seconds; a longer pulse is a
// slip of the keyboard, and drives a telescope far away.
constexpr int kLongestMs = 10'000;

struct GuideOptions {
  std::string direction;
  std::string ms;
};

// By ORQ_GUIDE_...
constexpr std::array kDirections = {"north", "south", "east", "west"};

int ParseDirection(const std::string& text) {
  for (std::size_t direction = 0; direction < kDirections.size(); ++direction)
    if (Lower(text) == kDirections.at(direction)) return static_cast<int>(direction);
  throw CliError(kExitUsage, "unknown direction '" + text + "'; there are north, south, east and west");
}

int ParseMs(const std::string& text) {
  const std::int64_t ms = ParseInteger(text, "pulse");
  if (ms < 1 || ms > kLongestMs)
    throw CliError(kExitUsage, Format("pulse '%s' must be from 1 to %d ms", text.c_str(), kLongestMs));
  return static_cast<int>(ms);
}

struct Pulse {
  double ms = 0.0;  ///< from before the line went on until it was off for certain
  bool interrupted = false;
};

// However it ends, the line is switched off; no number of Ctrl-C kills the tool meanwhile.
Pulse Send(Device& camera, int direction, int ms) {
  if (StopRequested()) return {0.0, true};
  const StopShield shield;
  Pulse pulse;
  RunAbortably(camera, [&] {
    const auto before = Clock::now();
    try {
      camera->guide(direction, std::chrono::milliseconds(ms));
    } catch (const CancelledError&) {
      pulse.interrupted = true;
    }
    pulse.ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
  });
  return pulse;
}

ExitCode RunGuide(const Context& context, const GuideOptions& options) {
  const int direction = ParseDirection(options.direction);
  const char* const name = kDirections.at(static_cast<std::size_t>(direction));
  const int ms = ParseMs(options.ms);
  Device camera(context);
  const Pulse pulse = Send(camera, direction, ms);
  Report report;
  report.Add("direction", name);
  report.Add("asked", ms, "ms");
  report.Add("pulse", std::round(pulse.ms * 10.0) / 10.0, "ms");
  report.Print(context.out, context.json);
  if (!pulse.interrupted) return kExitOk;
  throw CliError(ORQ_ERROR_CANCELLED, std::string("interrupted: the guide line ") + name + " is off");
}

}  // namespace

CommandRun AddGuideCommand(const Command& app) {
  const Command command = app.AddCommand("guide", "Move the mount by a pulse on the guide port");
  auto options = std::make_shared<GuideOptions>();
  command.AddOption("DIRECTION", options->direction, "north, south, east or west").Required();
  command.AddOption("MS", options->ms, Format("Length of the pulse, 1 to %d ms", kLongestMs)).Required();
  return [options](const Context& context) { return RunGuide(context, *options); };
}

}  // namespace orq::cli
