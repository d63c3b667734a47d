// orqcam fan, led, hub: what the camera's board can switch.
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>

#include "camera/Device.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/Signals.h"
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
  std::int32_t control;
};
constexpr Output255 kFan = {"fan", "fan_speed", "the fan", ORQ_CONTROL_FAN_SPEED};
constexpr Output255 kLed = {"led", "led_brightness", "the power LED", ORQ_CONTROL_LED_BRIGHTNESS};

// "128" or "50%".
int ParseLevel(const Output255& output, const std::string& text) {
  const bool percent = text.ends_with('%');
  const std::string digits = percent ? text.substr(0, text.size() - 1) : text;
  const std::int64_t number = ParseInteger(digits, output.name);
  if (number < 0 || number > (percent ? 100 : kFull))
    throw CliError(kExitUsage, std::string(output.name) + " '" + text + "' must be from 0 to 255, or 0% to 100%");
  return static_cast<int>(percent ? (number * kFull + 50) / 100 : number);
}

void DemandAdjustable(const Device& camera, const char* what) {
  if (camera.Can(ORQ_ABILITY_FAN)) return;
  throw CliError(ORQ_ERROR_UNSUPPORTED, std::string("this camera cannot adjust ") + what);
}

std::int64_t Read(Device& camera, std::int32_t control, const std::string& what) {
  return camera.Do(
      "cannot read " + what, [control](const Camera& open) { return open.control(control); });
}

void SetLevel(Device& camera, const Output255& output, int level) {
  camera.Do(std::string("the camera refused to set ") + output.what,
            [&](Camera& open) { open.control(output.control, level); });
  const auto became = static_cast<int>(Read(camera, output.control, output.what));
  if (became != level)
    throw CliError(ORQ_ERROR_REFUSED, Format("%s is at %d instead of %d", output.what, became, level));
}

ExitCode RunLevel(const Context& context, const Output255& output, const std::optional<std::string>& text) {
  const int wanted = text ? ParseLevel(output, *text) : 0;
  Device camera(context);
  DemandAdjustable(camera, output.what);
  if (text) SetLevel(camera, output, wanted);
  const std::int64_t level = Read(camera, output.control, output.what);
  Report report;
  report.Add(output.levelKey, level);
  report.Add(output.name, std::lround(static_cast<double>(level) * 100.0 / kFull), "%");
  report.Print(context.out, context.json);
  return kExitOk;
}

bool IsHubOn(Device& camera) {
  return Read(camera, ORQ_CONTROL_HUB_RESET, "the USB hub") != 0;
}

void ReportHub(const Context& context, Device& camera) {
  Report report;
  report.Add("hub_on", IsHubOn(camera));
  report.Print(context.out, context.json);
}

ExitCode RunHub(const Context& context, bool reset) {
  Device camera(context);
  DemandAdjustable(camera, "a USB hub");
  if (!reset) {
    ReportHub(context, camera);
    return kExitOk;
  }
  camera.Do("the camera refused to reset its USB hub",
            [](Camera& open) { open.control(ORQ_CONTROL_HUB_RESET, 1); });
  const auto giveUp = Clock::now() + kHubPatience;
  while (!IsHubOn(camera)) {
    if (Clock::now() > giveUp) {
      throw CliError(ORQ_ERROR_TIMEOUT,
                     "the USB hub stays off after its reset; unplug the camera and plug it in again");
    }
    if (WaitForStop(kHubLook)) throw CliError(ORQ_ERROR_CANCELLED, "interrupted while the USB hub resets");
  }
  ReportHub(context, camera);
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
