// orqcam settings: what is kept from one run to the next.
#include <memory>
#include <optional>
#include <string>

#include "camera/Device.h"
#include "commands/Commands.h"
#include "output/Confirm.h"

namespace orq::cli {

namespace {

Json Shown(const orq_setting& setting) {
  return setting.is_text != 0 ? Json(setting.text) : Json(setting.number);
}

/// Whose settings the chosen camera has; empty when none was chosen.
std::string ChosenOwner(const Context& context) {
  if (!context.camera) return {};
  try {
    return settingsOwner(Device::NameIn(context));
  } catch (const NotFoundError& none) {
    throw CliError(kExitNoCamera, none.what());
  }
}

ExitCode RunPath(const Context& context) {
  Report report;
  report.Add("path", settingsPath());
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunShow(const Context& context) {
  const std::string chosen = ChosenOwner(context);
  Json owners = Json::object();
  for (const orq_setting& setting : settings()) {
    const std::string owner = setting.owner;
    if (!chosen.empty() && owner != chosen) continue;
    // Under the names that the settings bear in the file.
    owners[owner][setting.name] = Shown(setting);
    if (context.json) continue;
    Report report;
    report.Add(setting.name, Shown(setting), setting.unit);
    for (const std::string& line : report.ToLines()) context.out.Line(chosen.empty() ? owner + ": " + line : line);
  }
  if (context.json)
    context.out.Object(owners);
  else if (owners.empty())
    Complain("no settings are kept" + (chosen.empty() ? "" : " for " + chosen));
  return kExitOk;
}

struct ResetOptions {
  bool all = false;
  bool yes = false;
};

ExitCode RunReset(const Context& context, const ResetOptions& options) {
  const bool all = options.all;
  if (all == context.camera.has_value())
    throw CliError(kExitUsage, "say whose settings to forget: --camera for one model's, or --all");
  const std::optional<std::string> owner = all ? std::nullopt : std::optional(ChosenOwner(context));
  const std::string question = "this will forget the settings of " + (owner ? "the " + *owner : "all cameras");
  if (!options.yes) {
    DemandSomebodyToAsk(question);
    Confirm(question);
  }
  forgetSettings(owner);
  return kExitOk;
}

}  // namespace

CommandRun AddSettingsCommand(const Command& app) {
  const Command command = app.AddCommand("settings", "Show or forget what is kept from one run to the next");
  command.RequireCommand();
  const Command path = command.AddCommand("path", "Show where the settings are kept");
  const Command show = command.AddCommand("show", "Show the settings of all models, or of one camera's model");
  const Command reset = command.AddCommand("reset", "Forget the settings of one camera's model, or of all");
  auto options = std::make_shared<ResetOptions>();
  reset.AddFlag("--all", options->all, "The settings of all models");
  reset.AddFlag("--yes", options->yes, "Do not ask");
  return [options, path, show](const Context& context) {
    settingsPath();  // without a place for them there is nothing to do
    if (path.Given()) return RunPath(context);
    return show.Given() ? RunShow(context) : RunReset(context, *options);
  };
}

}  // namespace orq::cli
