// orqcam cooler: the sensor's cooler, by hand.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>

#include "camera/CoolerUse.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/Signals.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kOnlyWhile =
    "the cooler is on only while orqcam runs and goes off when it ends; to take cooled frames use "
    "orqcam capture --cool, to leave it on for the next command --keep-cooling";

struct CoolerOptions {
  std::string action = "status";
  bool wait = false;
  bool warm = false;
  bool keep = false;
  std::string timeout = "1800";
};

enum class Action { Status, Off, On };

struct Wanted {
  Action action = Action::Status;
  std::optional<std::string> target;
};

Wanted ParseAction(const std::string& text) {
  const std::string word = Lower(text);
  if (word == "status") return {Action::Status, {}};
  if (word == "off") return {Action::Off, {}};
  if (word == "on") return {Action::On, {}};
  const bool number = !text.empty() && text.find_first_not_of("+-0123456789") == std::string::npos;
  if (!number)
    throw CliError(kExitUsage, "'" + text + "' is neither on, off, status nor a target in whole degrees Celsius");
  ParseInteger(text, "target");
  return {Action::On, text};
}

bool HasHeater(const Camera& camera) {
  const auto controls = camera.controls();
  return std::ranges::find(controls, std::int32_t{ORQ_CONTROL_ANTI_DEW_HEATER}, &orq_control_info::id) !=
         controls.end();
}

Report Describe(Device& camera) {
  return camera.Do(
      "cannot read the cooler",
      [](const Camera& open) {
        const orq_cooler_state state = open.cooler();
        Report report;
        report.Add("temperature", std::isnan(state.sensor_c) ? Json(nullptr) : Json(state.sensor_c), "C");
        report.Add("target", std::lround(state.target_c), "C");
        report.Add("cooler_on", state.on != 0);
        report.Add("power", std::lround(state.power), "%");
        if (HasHeater(open)) report.Add("heater_on", open.control(ORQ_CONTROL_ANTI_DEW_HEATER) == 1);
        return report;
      });
}

// Keeps the sensor at its target and says each second how it is, until the user stops it.
void Hold(const Context& context, Device& camera) {
  CoolerTeller teller;
  const auto start = Clock::now();
  do {
    Report report;
    report.Add("time", std::round(std::chrono::duration<double>(Clock::now() - start).count()), "s");
    const Report state = Describe(camera);
    if (context.json) {
      Json object = report.ToJson();
      object.update(state.ToJson());
      context.out.Object(object);
    } else {
      context.out.Line(Join(report.ToLines()) + ", " + Join(state.ToLines()));
    }
    context.out.Flush();
    teller.Look(camera);
  } while (!WaitForStop(std::chrono::seconds(1)));
}

ExitCode RunCooler(const Context& context, const CoolerOptions& options) {
  const Wanted wanted = ParseAction(options.action);
  const double timeout = ParseSeconds(options.timeout, "--timeout");
  if (options.wait && wanted.action != Action::On)
    throw CliError(kExitUsage, "--wait needs a target temperature, as in orqcam cooler -10 --wait");
  if (options.keep && wanted.action != Action::On) {
    throw CliError(kExitUsage,
                   "--keep-cooling needs a target temperature, as in orqcam cooler -10 --wait --keep-cooling");
  }
  if (options.warm && wanted.action != Action::Status)
    throw CliError(kExitUsage, "--warm switches the cooler off when it is done: give it alone");
  Device camera(context);
  if (!camera.Can(ORQ_ABILITY_COOLER)) throw CliError(ORQ_ERROR_UNSUPPORTED, "this camera has no cooler");
  if (wanted.action != Action::On) {
    if (options.warm) WarmUp(camera, timeout);
    if (wanted.action == Action::Off) camera->coolerOff();
    Describe(camera).Print(context.out, context.json);
    return kExitOk;
  }
  StartCooler(camera, wanted.target, options.keep);
  if (!options.keep) Complain(kOnlyWhile);
  if (options.wait) {
    AwaitTarget(camera, timeout);
    Describe(camera).Print(context.out, context.json);
  } else {
    Hold(context, camera);
  }
  // The end of the session switches it off as well, but has nobody to tell when that fails.
  if (!options.keep) camera->coolerOff();
  return kExitOk;
}

}  // namespace

CommandRun AddCoolerCommand(const Command& app) {
  const Command command =
      app.AddCommand("cooler", "Show the cooler, cool the sensor while orqcam runs, warm it up");
  auto options = std::make_shared<CoolerOptions>();
  command
      .AddOption("ACTION", options->action,
                 "status; on or a target in degrees Celsius: cool until Ctrl-C; off: off at once")
      .Default("status");
  command.AddFlag("--wait", options->wait, "End as soon as the sensor is within 0.2 C of the target");
  command.AddFlag("--warm", options->warm,
                  "Warm the sensor up at the ramp, 5 C per minute, and switch the cooler off");
  command.AddFlag(
      "--keep-cooling", options->keep,
      "Leave the cooler on at the end; without another command the camera switches it off after 255 s");
  command.AddOption("--timeout", options->timeout, "Give up waiting after this many seconds").Default("1800");
  return [options](const Context& context) { return RunCooler(context, *options); };
}

}  // namespace orq::cli
