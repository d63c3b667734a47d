// orqcam fan, led, hub: what the camera's board can switch.
#include <chrono>
#include <cmath>
#include <memory>

#include "commands/Commands.h"
#include "output/Signals.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFull = 255;
constexpr std::chrono::seconds kHubPatience{5};
constexpr std::chrono::milliseconds kHubLook{20};

// An output of the board with a level from 0 to 255.
struct Output255 {
  const char* name;      ///< of the command and, in percent, of the value
  const char* levelKey;  ///< of the value from 0 to 255
  const char* what;
  int (CCameraBase::*get)();
  bool (CCameraBase::*set)(int);
};
constexpr Output255 kFan = {"fan", "fan_speed", "the fan", &CCameraBase::GetFanSpeed, &CCameraBase::SetFanSpeed};
constexpr Output255 kLed = {"led", "led_brightness", "the power LED", &CCameraBase::GetPowerLedBrightness,
                            &CCameraBase::SetPowerLedBrightness};

// "128" or "50%".
int ParseLevel(const Output255& output, const std::string& text) {
  const bool percent = text.ends_with('%');
  const std::string digits = percent ? text.substr(0, text.size() - 1) : text;
  const std::int64_t number = ParseInteger(digits, output.name);
  if (number < 0 || number > (percent ? 100 : kFull)) {
    throw CliError(kExitUsage, std::string(output.name) + " '" + text + "' must be from 0 to 255, or 0% to 100%");
  }
  return static_cast<int>(percent ? (number * kFull + 50) / 100 : number);
}

void DemandAdjustable(Session& session, const char* what) {
  if (session.Camera().FanAdjustCheck()) return;
  if (session.Camera().DeviceLost()) session.Fail("cannot ask the camera");
  throw CliError(Status::Unsupported, std::string("this camera cannot adjust ") + what);
}

void SetLevel(Session& session, const Output255& output, int level) {
  CModelCamera& camera = session.Camera();
  if (!(camera.*output.set)(level)) session.Fail(std::string("the camera refused to set ") + output.what);
  const int became = (camera.*output.get)();
  if (camera.DeviceLost()) session.Fail(std::string("cannot read ") + output.what);
  if (became != level) {
    throw CliError(Status::Refused, Format("%s is at %d instead of %d", output.what, became, level));
  }
}

ExitCode RunLevel(const Context& context, const Output255& output, const std::optional<std::string>& text) {
  const int wanted = text ? ParseLevel(output, *text) : 0;
  Session session(context);
  DemandAdjustable(session, output.what);
  if (text) SetLevel(session, output, wanted);
  const int level = (session.Camera().*output.get)();
  if (session.Camera().DeviceLost()) session.Fail(std::string("cannot read ") + output.what);
  Report report;
  report.Add(output.levelKey, level);
  report.Add(output.name, std::lround(level * 100.0 / kFull), "%");
  report.Print(context.out, context.json);
  return kExitOk;
}

void ReportHub(const Context& context, Session& session) {
  const bool on = session.Camera().GetUSBHubOn();
  if (session.Camera().DeviceLost()) session.Fail("cannot read the USB hub");
  Report report;
  report.Add("hub_on", on);
  report.Print(context.out, context.json);
}

ExitCode RunHub(const Context& context, bool reset) {
  Session session(context);
  DemandAdjustable(session, "a USB hub");
  if (!reset) {
    ReportHub(context, session);
    return kExitOk;
  }
  if (!session.Camera().ResetUSBHub()) session.Fail("the camera refused to reset its USB hub");
  const auto giveUp = Clock::now() + kHubPatience;
  while (!session.Camera().GetUSBHubOn()) {
    if (session.Camera().DeviceLost()) session.Fail("cannot read the USB hub");
    if (Clock::now() > giveUp) {
      throw CliError(Status::Timeout,
                     "the USB hub stays off after its reset; unplug the camera and plug it in again");
    }
    if (WaitForStop(kHubLook)) throw CliError(Status::Cancelled, "interrupted while the USB hub resets");
  }
  ReportHub(context, session);
  return kExitOk;
}

CommandRun AddLevelCommand(const Command& app, const Output255& output, const std::string& help) {
  const Command command = app.AddCommand(output.name, help);
  auto level = std::make_shared<std::optional<std::string>>();
  command.AddOption("LEVEL", *level, "0 to 255 or 0% to 100%; without it the level is shown");
  return [level, &output](const Context& context) { return RunLevel(context, output, *level); };
}

}  // namespace

CommandRun AddFanCommand(const Command& app) {
  return AddLevelCommand(app, kFan, "Show or set the speed of the fan");
}

CommandRun AddLedCommand(const Command& app) {
  return AddLevelCommand(app, kLed, "Show or set the brightness of the power LED");
}

CommandRun AddHubCommand(const Command& app) {
  const Command command = app.AddCommand("hub", "Show or reset the camera's USB hub");
  command.RequireCommand();
  command.AddCommand("status", "Show whether the hub has power");
  const Command reset = command.AddCommand("reset", "Take the power from everything on the hub for a moment");
  return [reset](const Context& context) { return RunHub(context, reset.Given()); };
}

}  // namespace orq::cli
