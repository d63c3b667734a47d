// orqcam focus: the focus motor.
#include <memory>
#include <optional>

#include "camera/LongWork.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/StatusLine.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kLastFocusPosition = 1023;

// A position, or a way from where the lens is.
struct Target {
  int steps = 0;
  bool relative = false;
};

std::optional<Target> ParseTarget(const std::string& text) {
  if (Lower(text) == "status") return std::nullopt;
  const bool relative = text.starts_with('+') || text.starts_with('-');
  const std::int64_t number = ParseInteger(text, "position");
  if (number < -kLastFocusPosition || number > kLastFocusPosition)
    throw CliError(kExitUsage, Format("position '%s' must be from 0 to %d", text.c_str(), kLastFocusPosition));
  return Target{static_cast<int>(number), relative};
}

// A mark; a lens may have none.
Json Mark(std::int32_t mark) {
  return mark < 0 ? Json(nullptr) : Json(mark);
}

void Print(const Context& context, const orq_focus_state& state) {
  Report report;
  report.Add("position", state.position);
  report.Add("moving", state.moving != 0);
  report.Add("lower_mark", Mark(state.lower_mark));
  report.Add("upper_mark", Mark(state.upper_mark));
  report.Add("driver", Format("0x%02X", static_cast<unsigned>(state.driver_id)));
  report.Print(context.out, context.json);
}

int Resolve(Device& camera, const Target& target) {
  if (!target.relative) return target.steps;
  const int from = camera->focus().position;
  const int to = from + target.steps;
  if (to >= 0 && to <= kLastFocusPosition) return to;
  throw CliError(ORQ_ERROR_RANGE, Format("%+d from position %d leads out of the range 0 to %d", target.steps, from,
                                         kLastFocusPosition));
}

ExitCode RunFocus(const Context& context, const std::string& text) {
  const std::optional<Target> target = ParseTarget(text);
  Device camera(context);
  if (target) {
    const int position = Resolve(camera, *target);
    StatusLine line;
    RunAbortably(
        camera, [&] { camera->focus(position); }, [&] { line.Show(Format("moving to %d", position)); });
  }
  Print(context, camera->focus());
  return kExitOk;
}

}  // namespace

CommandRun AddFocusCommand(const Command& app) {
  const Command command = app.AddCommand("focus", "Show or move the focus motor");
  auto target = std::make_shared<std::string>("status");
  command
      .AddOption("TARGET", *target,
                 Format("status, a position from 0 to %d, or +N or -N steps", kLastFocusPosition))
      .Default("status");
  return [target](const Context& context) { return RunFocus(context, *target); };
}

}  // namespace orq::cli
