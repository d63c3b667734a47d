// orqcam controls, get, set: the camera's controls.
#include <memory>
#include <optional>

#include "camera/ControlUse.h"
#include "commands/Commands.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

std::string Shown(const orq_control_info& control, std::int64_t raw) {
  return ScaledValue(control, raw).dump();
}

std::string Shown(const orq_control_info& control, const ControlState& state) {
  return state.trouble.empty() ? Shown(control, state.raw) : "unknown";
}

Json Value(const orq_control_info& control, const ControlState& state) {
  return state.trouble.empty() ? ScaledValue(control, state.raw) : Json(nullptr);
}

std::string Unknown(const orq_control_info& control, const ControlState& state) {
  return std::string(control.name) + " is unknown: " + state.trouble;
}

// What can only be read has no default.
Json Default(const orq_control_info& control) {
  return control.writable == 1 ? ScaledValue(control, control.default_value) : Json(nullptr);
}

using State = std::optional<ControlState>;

Json Describe(const orq_control_info& control, const State& state) {
  Json json;
  json["name"] = control.name;
  json["value"] = state ? Value(control, *state) : Json(nullptr);
  if (state && !state->trouble.empty()) json["trouble"] = state->trouble;
  json["auto"] = state && state->automatic;
  json["min"] = ScaledValue(control, control.minimum);
  json["max"] = ScaledValue(control, control.maximum);
  json["default"] = Default(control);
  json["unit"] = control.unit;
  json["auto_supported"] = control.automatic == 1;
  json["writable"] = control.writable == 1;
  json["description"] = control.description;
  return json;
}

std::vector<std::string> Row(const orq_control_info& control, const State& state) {
  const std::string unit = control.unit;
  return {control.name,
          state ? Shown(control, *state) : "-",
          control.automatic != 1      ? "-"
          : state && state->automatic ? "on"
                                      : "off",
          Shown(control, control.minimum),
          Shown(control, control.maximum),
          control.writable == 1 ? Shown(control, control.default_value) : "-",
          unit.empty() ? "-" : unit,
          control.writable == 1 ? "yes" : "no",
          control.description};
}

ExitCode RunControls(const Context& context) {
  Device camera(context);
  Table table = {{"name", "value", "auto", "min", "max", "default", "unit", "writable", "description"}};
  Json list = Json::array();
  for (const orq_control_info& control : camera->controls()) {
    const State state = TryReadControl(camera, control);
    table.push_back(Row(control, state));
    list.push_back(Describe(control, state));
    if (state && !state->trouble.empty()) Complain(Unknown(control, *state));
  }
  if (context.json)
    context.out.Object(list);
  else
    PrintTable(context.out, table);
  return kExitOk;
}

// The values of `controls` as they now are. Throws CliError after that when one is unknown.
void PrintValues(const Context& context, Device& camera, const std::vector<orq_control_info>& controls) {
  Json object = Json::object();
  std::vector<std::string> troubles;
  for (const orq_control_info& control : controls) {
    const ControlState state = ReadControl(camera, control);
    const std::string unit = state.trouble.empty() ? control.unit : "";
    Json& entry = object[control.name];
    entry = {{"value", Value(control, state)}, {"unit", control.unit}, {"auto", state.automatic}};
    if (!state.trouble.empty()) {
      entry["trouble"] = state.trouble;
      troubles.push_back(Unknown(control, state));
    }
    if (!context.json) {
      context.out.Line(std::string(control.name) + " = " + Shown(control, state) +
                       (unit.empty() ? "" : " " + unit) + (state.automatic ? " (auto)" : ""));
    }
  }
  if (context.json) context.out.Object(object);
  if (!troubles.empty()) throw CliError(kExitFailed, Join(troubles));
}

ExitCode RunGet(const Context& context, const std::vector<std::string>& names) {
  Device camera(context);
  std::vector<orq_control_info> controls;
  controls.reserve(names.size());
  for (const std::string& name : names) controls.push_back(camera->control(name));
  PrintValues(context, camera, controls);
  return kExitOk;
}

void TellOfLongExposure(std::uint64_t exposureUs) {
  if (exposureUs <= ORQ_LONGEST_KEPT_EXPOSURE_US) return;
  Complain("later runs start with an exposure of " + session::ExposureText(ORQ_LONGEST_KEPT_EXPOSURE_US) +
           "; give capture and stream --exposure " + session::ExposureText(exposureUs));
}

ExitCode RunSet(const Context& context, const std::vector<std::string>& words) {
  for (const std::string& word : words)
    if (word.find('=') == std::string::npos)
      throw CliError(kExitUsage, "'" + word + "' is not a setting: write NAME=VALUE or NAME=auto");
  Device camera(context);
  std::vector<orq_control_info> controls;
  std::vector<ControlChange> changes;
  // All words are understood before the first control changes.
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    controls.push_back(camera->control(word.substr(0, equals)));
    changes.push_back(ParseChange(controls.back(), word.substr(equals + 1)));
  }
  if (camera.Strict())
    for (std::size_t i = 0; i < controls.size(); ++i) DemandWithin(controls[i], changes[i]);
  for (std::size_t i = 0; i < controls.size(); ++i) WriteControl(camera, controls[i], changes[i]);
  PrintValues(context, camera, controls);
  if (!context.settings) return kExitOk;
  camera.DemandKept();
  for (const orq_control_info& control : controls)
    if (control.id == ORQ_CONTROL_EXPOSURE)
      TellOfLongExposure(static_cast<std::uint64_t>(camera->exposure().count()));
  return kExitOk;
}

}  // namespace

CommandRun AddControlsCommand(const Command& app) {
  app.AddCommand("controls", "Show all controls of a camera with their values and limits");
  return RunControls;
}

CommandRun AddGetCommand(const Command& app) {
  const Command command = app.AddCommand("get", "Show the values of controls");
  auto names = std::make_shared<std::vector<std::string>>();
  command.AddOption("NAME", *names, "Names of controls, in any case").Required();
  return [names](const Context& context) { return RunGet(context, *names); };
}

CommandRun AddSetCommand(const Command& app) {
  const Command command = app.AddCommand("set", "Set controls and show what they became");
  auto words = std::make_shared<std::vector<std::string>>();
  command.AddOption("NAME=VALUE", *words, "Settings: Gain=120, Exposure=200ms, WB_R=auto").Required();
  return [words](const Context& context) { return RunSet(context, *words); };
}

}  // namespace orq::cli
