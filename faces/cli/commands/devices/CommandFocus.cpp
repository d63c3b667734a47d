// orqcam focus: the focus motor.
#include <chrono>
#include <memory>

#include "commands/Commands.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLastPosition = 1023;            // ten bits
constexpr unsigned short kStatusRegister = 5;  // of the motor's driver
constexpr unsigned char kMovingBit = 0x01;
constexpr std::chrono::seconds kPatience{5};  // a move takes a fraction of a second
constexpr std::chrono::milliseconds kLook{2};

// A position, or a way from where the lens is.
struct Target {
  int steps = 0;
  bool relative = false;
};

std::optional<Target> ParseTarget(const std::string& text) {
  if (Lower(text) == "status") return std::nullopt;
  const bool relative = text.starts_with('+') || text.starts_with('-');
  const std::int64_t number = ParseInteger(text, "position");
  if (number < -kLastPosition || number > kLastPosition) {
    throw CliError(kExitUsage, Format("position '%s' must be from 0 to %d", text.c_str(), kLastPosition));
  }
  return Target{static_cast<int>(number), relative};
}

class Motor {
 public:
  explicit Motor(Session& session) : session_(session), request_(session.Model().focusMotorRequest) {
    if (request_ == 0) throw CliError(Status::Unsupported, "this camera has no focus motor");
    if (Camera().GetDW9800ID(request_, &id_) == 0) session_.Fail("the focus motor does not answer");
  }

  int Position() {
    int position = 0;
    if (Camera().GetDW9800POS(request_, &position) == 0) session_.Fail("cannot read the focus motor's position");
    return position;
  }

  bool Moving() {
    unsigned char status = 0;
    if (!Camera().SendCMD(request_, kStatusRegister, 0, true, &status, 1)) {
      session_.Fail("cannot read the focus motor's status");
    }
    return (status & kMovingBit) != 0;
  }

  // The order to move is not answered; the position says whether it was taken.
  void MoveTo(int position) {
    Camera().SetDW9800POS(request_, position);
    if (Position() != position) session_.Fail(Format("the focus motor refused to go to %d", position));
    StatusLine line;
    const auto giveUp = Clock::now() + kPatience;
    while (Moving()) {
      line.Show(Format("moving to %d", position));
      if (Clock::now() > giveUp) {
        throw CliError(Status::Timeout,
                       Format("the lens still moves %lld s after it was sent to %d; check that nothing "
                              "blocks it",
                              static_cast<long long>(kPatience.count()), position));
      }
      if (WaitForStop(kLook)) {
        throw CliError(Status::Cancelled, Format("interrupted: the lens is on its way to %d", position));
      }
    }
  }

  void Print(const Context& context) {
    int upper = 0;
    int lower = 0;
    const bool marked =
        Camera().GetDW9800AFH(request_, &upper) != 0 && Camera().GetDW9800AFL(request_, &lower) != 0;
    Report report;
    report.Add("position", Position());
    report.Add("moving", Moving());
    report.Add("lower_mark", marked ? Json(lower) : Json(nullptr));
    report.Add("upper_mark", marked ? Json(upper) : Json(nullptr));
    report.Add("driver", Format("0x%02X", id_));
    report.Print(context.out, context.json);
  }

 private:
  CModelCamera& Camera() { return session_.Camera(); }

  Session& session_;
  unsigned char request_;
  unsigned char id_ = 0;
};

int Resolve(Motor& motor, const Target& target) {
  if (!target.relative) return target.steps;
  const int from = motor.Position();
  const int to = from + target.steps;
  if (to >= 0 && to <= kLastPosition) return to;
  throw CliError(Status::Range,
                 Format("%+d from position %d leads out of the range 0 to %d", target.steps, from, kLastPosition));
}

ExitCode RunFocus(const Context& context, const std::string& text) {
  const std::optional<Target> target = ParseTarget(text);
  Session session(context);
  Motor motor(session);
  if (target) motor.MoveTo(Resolve(motor, *target));
  motor.Print(context);
  return kExitOk;
}

}  // namespace

CommandRun AddFocusCommand(const Command& app) {
  const Command command = app.AddCommand("focus", "Show or move the focus motor");
  auto target = std::make_shared<std::string>("status");
  command.AddOption("TARGET", *target, Format("status, a position from 0 to %d, or +N or -N steps", kLastPosition))
      .Default("status");
  return [target](const Context& context) { return RunFocus(context, *target); };
}

}  // namespace orq::cli
