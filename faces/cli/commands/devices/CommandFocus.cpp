// orqcam focus: the focus motor.
#include <memory>

#include "commands/Commands.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/focus/FocusMotor.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

// A position, or a way from where the lens is.
struct Target {
  int steps = 0;
  bool relative = false;
};

std::optional<Target> ParseTarget(const std::string& text) {
  if (Lower(text) == "status") return std::nullopt;
  const bool relative = text.starts_with('+') || text.starts_with('-');
  const std::int64_t number = ParseInteger(text, "position");
  if (number < -kLastFocusPosition || number > kLastFocusPosition) {
    throw CliError(kExitUsage, Format("position '%s' must be from 0 to %d", text.c_str(), kLastFocusPosition));
  }
  return Target{static_cast<int>(number), relative};
}

void Print(const Context& context, FocusMotor& motor) {
  const FocusState state = motor.State();
  Report report;
  report.Add("position", state.position);
  report.Add("moving", state.moving);
  report.Add("lower_mark", state.lowerMark ? Json(*state.lowerMark) : Json(nullptr));
  report.Add("upper_mark", state.upperMark ? Json(*state.upperMark) : Json(nullptr));
  report.Add("driver", Format("0x%02X", motor.DriverId()));
  report.Print(context.out, context.json);
}

int Resolve(FocusMotor& motor, const Target& target) {
  if (!target.relative) return target.steps;
  const int from = motor.Position();
  const int to = from + target.steps;
  if (to >= 0 && to <= kLastFocusPosition) return to;
  throw CliError(Status::Range, Format("%+d from position %d leads out of the range 0 to %d", target.steps, from,
                                       kLastFocusPosition));
}

ExitCode RunFocus(const Context& context, const std::string& text) {
  const std::optional<Target> target = ParseTarget(text);
  Session session(context);
  FocusMotor motor(session.Camera());
  if (target) {
    const int position = Resolve(motor, *target);
    StatusLine line;
    motor.MoveTo(position, WaitForStop, [&] { line.Show(Format("moving to %d", position)); });
  }
  Print(context, motor);
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
