// orqcam guide: pulses on the guide port.
#include <cmath>
#include <memory>

#include "camera/GuidePulse.h"
#include "commands/Commands.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

// Autoguiders correct in tens to hundreds of milliseconds and calibrate in a few seconds; a longer pulse is a
// slip of the keyboard, and drives a telescope far away.
constexpr int kLongestMs = 10'000;

struct GuideOptions {
  std::string direction;
  std::string ms;
};

GuideD ParseDirection(const std::string& text) {
  for (const GuideD direction : {GUIDE_NORTH, GUIDE_SOUTH, GUIDE_EAST, GUIDE_WEST}) {
    if (Lower(text) == GuideName(direction)) return direction;
  }
  throw CliError(kExitUsage, "unknown direction '" + text + "'; there are north, south, east and west");
}

int ParseMs(const std::string& text) {
  const std::int64_t ms = ParseInteger(text, "pulse");
  if (ms < 1 || ms > kLongestMs) {
    throw CliError(kExitUsage, Format("pulse '%s' must be from 1 to %d ms", text.c_str(), kLongestMs));
  }
  return static_cast<int>(ms);
}

ExitCode RunGuide(const Context& context, const GuideOptions& options) {
  const GuideD direction = ParseDirection(options.direction);
  const int ms = ParseMs(options.ms);
  Session session(context);
  if (session.Camera().hasGuidePort == 0) throw CliError(Status::Unsupported, "this camera has no guide port");
  const GuideOutcome outcome = SendGuidePulse(session.Camera(), direction, ms);
  Report report;
  report.Add("direction", GuideName(direction));
  report.Add("asked", ms, "ms");
  report.Add("pulse", std::round(outcome.ms * 10.0) / 10.0, "ms");
  report.Print(context.out, context.json);
  if (!outcome.interrupted) return kExitOk;
  throw CliError(Status::Cancelled,
                 std::string("interrupted: the guide line ") + GuideName(direction) + " is off");
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
