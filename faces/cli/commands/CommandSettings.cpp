// orqcam settings: what is kept from one run to the next.
#include <cstring>
#include <memory>

#include "commands/Commands.h"
#include "output/Confirm.h"
#include "settings/StoredSettings.h"
#include "settings/XmlStore.h"

namespace orq::cli {

namespace {

struct SettingUnit {
  std::string_view key;
  const char* unit;
};
constexpr SettingUnit kUnits[] = {{"Exposure", "us"},     {"FPSPercentageUSB3", "%"}, {"FPSPercentageUSB2", "%"},
                                  {"CoolPowerPctg", "%"}, {"TargetTemp", "C"},        {"OverCLKPerc", "%"},
                                  {"AutoExpMaxMs", "ms"}, {"AutoExpMax", "s"}};

std::string UnitOfSetting(std::string_view key) {
  for (const SettingUnit& unit : kUnits) {
    if (unit.key == key) return unit.unit;
  }
  return "";
}

Json Shown(const XmlValue& value) {
  std::int32_t number = 0;
  if (value.type == kXmlInteger && value.data.size() == sizeof number) {
    std::memcpy(&number, value.data.data(), sizeof number);
    return number;
  }
  if (value.data.size() == 1) return value.data[0];
  return std::string(value.data.begin(), value.data.end());
}

std::vector<std::string> Lines(const XmlKey& key) {
  Report report;
  for (const auto& [name, value] : key.values) report.Add(name, Shown(value), UnitOfSetting(name));
  return report.ToLines();
}

// Under the names that the settings bear in the file.
Json Object(const XmlKey& key) {
  Json object = Json::object();
  for (const auto& [name, value] : key.values) object[name] = Shown(value);
  return object;
}

void DemandPlace() {
  if (UserConfigDirectory().empty()) {
    throw CliError(Status::File, "there is no place for settings: set HOME or XDG_CONFIG_HOME");
  }
}

/// The name under which the chosen camera's settings are kept; empty when none was chosen.
std::string ChosenModel(const Context& context) {
  return context.camera ? FindCamera(context).camera->settingsName : std::string();
}

ExitCode RunPath(const Context& context) {
  Report report;
  report.Add("path", XmlPath(kSettingsFile));
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunShow(const Context& context) {
  const std::string chosen = ChosenModel(context);
  std::string trouble;
  const std::vector<XmlKey> keys = ListXmlKeys(kSettingsFile, trouble);
  if (!trouble.empty()) throw CliError(Status::File, trouble);
  Json models = Json::object();
  for (const XmlKey& key : keys) {
    if (!key.path.starts_with(kSettingsKeyPrefix)) continue;
    const std::string model = key.path.substr(std::strlen(kSettingsKeyPrefix));
    if (!chosen.empty() && model != chosen) continue;
    models[model] = Object(key);
    if (context.json) continue;
    for (const std::string& line : Lines(key)) {
      context.out.Line(chosen.empty() ? model + ": " + line : line);
    }
  }
  if (context.json) {
    context.out.Object(models);
  } else if (models.empty()) {
    Complain("no settings are kept" + (chosen.empty() ? "" : " for " + chosen));
  }
  return kExitOk;
}

struct ResetOptions {
  bool all = false;
  bool yes = false;
};

ExitCode RunReset(const Context& context, const ResetOptions& options) {
  const bool all = options.all;
  if (all == context.camera.has_value()) {
    throw CliError(kExitUsage, "say whose settings to forget: --camera for one model's, or --all");
  }
  const std::string model = all ? std::string() : ChosenModel(context);
  const std::string question = "this will forget the settings of " + (all ? "all cameras" : "the " + model);
  if (!options.yes) {
    DemandSomebodyToAsk(question);
    Confirm(question);
  }
  const std::string key = all ? "software" : kSettingsKeyPrefix + model;
  std::string trouble;
  if (!RemoveXmlKey(kSettingsFile, key, trouble)) throw CliError(Status::File, trouble);
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
    DemandPlace();
    if (path.Given()) return RunPath(context);
    return show.Given() ? RunShow(context) : RunReset(context, *options);
  };
}

}  // namespace orq::cli
