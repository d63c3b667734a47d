// orqcam controls, get, set: the camera's controls.
#include <algorithm>
#include <memory>
#include <optional>

#include "camera/ControlAccess.h"
#include "commands/Commands.h"
#include "session/controls/FreshValues.h"
#include "session/text/Units.h"
#include "settings/StoredSettings.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

std::string Shown(ORQ_CONTROL_TYPE id, std::int64_t raw) {
  return ScaledValue(id, raw).dump();
}

std::string Shown(ORQ_CONTROL_TYPE id, const ControlReading& reading) {
  return reading.trouble.empty() ? Shown(id, reading.raw) : "unknown";
}

Json Value(ORQ_CONTROL_TYPE id, const ControlReading& reading) {
  return reading.trouble.empty() ? ScaledValue(id, reading.raw) : Json(nullptr);
}

std::string Unknown(const Control& control, const ControlReading& reading) {
  return control.Name() + " is unknown: " + reading.trouble;
}

using Reading = std::optional<ControlReading>;
using Fresh = std::optional<std::int64_t>;

Json Describe(const Control& control, const Reading& reading, const Fresh& fresh) {
  const ORQ_CONTROL_TYPE id = control.id;
  Json json;
  json["name"] = control.Name();
  json["value"] = reading ? Value(id, *reading) : Json(nullptr);
  if (reading && !reading->trouble.empty()) json["trouble"] = reading->trouble;
  json["auto"] = reading && reading->automatic;
  json["min"] = ScaledValue(id, control.caps.minValue);
  json["max"] = ScaledValue(id, control.caps.maxValue);
  json["default"] = fresh ? ScaledValue(id, *fresh) : Json(nullptr);
  json["unit"] = UnitOf(id).unit;
  json["auto_supported"] = control.caps.isAutoSupported == 1;
  json["writable"] = control.caps.isWritable == 1;
  json["description"] = control.caps.description;
  return json;
}

std::vector<std::string> Row(const Control& control, const Reading& reading, const Fresh& fresh) {
  const ORQ_CONTROL_TYPE id = control.id;
  const bool canAuto = control.caps.isAutoSupported == 1;
  const std::string unit = UnitOf(id).unit;
  return {control.Name(),
          reading ? Shown(id, *reading) : "-",
          !canAuto                        ? "-"
          : reading && reading->automatic ? "on"
                                          : "off",
          Shown(id, control.caps.minValue),
          Shown(id, control.caps.maxValue),
          fresh ? Shown(id, *fresh) : "-",
          unit.empty() ? "-" : unit,
          control.caps.isWritable == 1 ? "yes" : "no",
          control.caps.description};
}

ExitCode RunControls(const Context& context) {
  Session session(context);
  const FreshValues defaults(session.Camera());
  Table table = {{"name", "value", "auto", "min", "max", "default", "unit", "writable", "description"}};
  Json list = Json::array();
  for (const Control& control : ListControls(session.Camera())) {
    const Reading reading = TryReadControl(session.Camera(), control);
    const Fresh fresh = defaults.Of(control);
    table.push_back(Row(control, reading, fresh));
    list.push_back(Describe(control, reading, fresh));
    if (reading && !reading->trouble.empty()) Complain(Unknown(control, *reading));
  }
  if (context.json) {
    context.out.Object(list);
  } else {
    PrintTable(context.out, table);
  }
  return kExitOk;
}

// The values of `controls` as they now are. Throws CliError after that when one is unknown.
void PrintValues(const Context& context, Session& session, const std::vector<Control>& controls) {
  Json object = Json::object();
  std::vector<std::string> troubles;
  for (const Control& control : controls) {
    const ControlReading reading = ReadControl(session.Camera(), control);
    const std::string unit = reading.trouble.empty() ? UnitOf(control.id).unit : "";
    Json& entry = object[control.Name()];
    entry = {
        {"value", Value(control.id, reading)}, {"unit", UnitOf(control.id).unit}, {"auto", reading.automatic}};
    if (!reading.trouble.empty()) {
      entry["trouble"] = reading.trouble;
      troubles.push_back(Unknown(control, reading));
    }
    if (!context.json) {
      context.out.Line(control.Name() + " = " + Shown(control.id, reading) + (unit.empty() ? "" : " " + unit) +
                       (reading.automatic ? " (auto)" : ""));
    }
  }
  if (context.json) context.out.Object(object);
  if (!troubles.empty()) throw CliError(kExitFailed, Join(troubles));
}

ExitCode RunGet(const Context& context, const std::vector<std::string>& names) {
  Session session(context);
  std::vector<Control> controls;
  controls.reserve(names.size());
  for (const std::string& name : names) controls.push_back(FindControl(session.Camera(), name));
  PrintValues(context, session, controls);
  return kExitOk;
}

void TellOfLongExposure(std::uint64_t exposureUs) {
  if (exposureUs <= kLongestLoadedExposureUs) return;
  Complain("later runs start with an exposure of " + ExposureText(kLongestLoadedExposureUs) +
           "; give capture and stream --exposure " + ExposureText(exposureUs));
}

ExitCode RunSet(const Context& context, const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (word.find('=') == std::string::npos) {
      throw CliError(kExitUsage, "'" + word + "' is not a setting: write NAME=VALUE or NAME=auto");
    }
  }
  Session session(context);
  std::vector<Control> controls;
  std::vector<ControlSetting> settings;
  // All words are understood before the first control changes.
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    controls.push_back(FindControl(session.Camera(), word.substr(0, equals)));
    settings.push_back(ParseSetting(controls.back(), word.substr(equals + 1)));
  }
  if (session.Strict()) {
    for (std::size_t i = 0; i < controls.size(); ++i) DemandWithin(controls[i], settings[i]);
  }
  for (std::size_t i = 0; i < controls.size(); ++i) WriteControl(session, controls[i], settings[i]);
  PrintValues(context, session, controls);
  if (!context.settings) return kExitOk;
  session.DemandKept();
  for (const Control& control : controls) {
    if (control.id == ORQ_EXPOSURE) TellOfLongExposure(session.Camera().exposureUs);
  }
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
