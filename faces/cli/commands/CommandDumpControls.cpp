// orqcam dump-controls: the catalogue of controls as it was compiled, for documentation and for programs.
#include <orqcam/orqcam.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr const char* kIntroduction[] = {
    "# Controls", "",
    "Made by `orqcam dump-controls`. Numbers are those of the programming interface, in the unit beside them; "
    "`orqcam",
    "controls` shows what a camera has and in which order. Id and name are the same for all cameras; `-`: no "
    "model has the control.",
    ""};
constexpr const char* kModelIntroduction[] = {
    "", "## Limits of the models", "",
    "Minimum to maximum and default, where the models differ and for models that have the control.", ""};

constexpr const char* kActions[] = {
    "",
    "## What they act on",
    "",
    "- `WB_R` and `WB_B`: colour and luminance frames (`rgb24`, `y8`), after binning. Raw frames are delivered as",
    "  the sensor measured them; their files carry the balance as advice.",
    "- `Gamma`: all frames. Files say so, and do not state `EGAIN` then.",
    "- Binning on the host sums 8-bit samples (at most 255) and averages 16-bit ones; in hardware it adds charge",
    "  (`HardwareBin`). See [models.md](models.md).",
    "- `Offset`: the black level. By default it leaves room for the noise at the highest gain.",
    "- `ReadoutMode` (29): which way the sensor is read out, from 0; of sensors that have several",
    "  ([models.md](models.md)). The control's description names them."};

constexpr const char* kByModel = "by model";

using Cells = std::vector<std::string>;

// What the catalogue says of one control for each model.
using Entry = std::vector<orq_control_info>;

// Keys of the models. Recordings take their size, and with it some limits, from the file.
std::vector<std::string> Models() {
  constexpr std::string_view kVirtual = "virtual:";
  std::vector<std::string> models;
  for (const orq_camera_entry& entry : cameras(ORQ_LIST_VIRTUAL))
    models.emplace_back(entry.name + kVirtual.size());
  return models;
}

std::vector<Entry> Catalogue(const std::vector<std::string>& models) {
  std::vector<Entry> entries;
  for (std::int32_t id = ORQ_CONTROL_GAIN; id <= ORQ_CONTROL_ROLLING_INTERVAL; ++id) {
    Entry entry;
    for (const std::string& model : models) entry.push_back(modelControl(model, id));
    entries.push_back(std::move(entry));
  }
  return entries;
}

// Of a control that a model has not, both limits are 0.
bool Has(const orq_control_info& control) {
  return control.minimum != control.maximum;
}

// The value in which all models that have the control agree.
template <class Value>
std::string Common(const Entry& entry, Value value) {
  std::string common;
  for (const orq_control_info& control : entry) {
    if (!Has(control)) continue;
    const std::string text = value(control);
    if (!common.empty() && common != text) return kByModel;
    common = text;
  }
  return common.empty() ? "-" : common;
}

std::string YesNo(std::int32_t value) {
  return value == 1 ? "yes" : "no";
}

std::string UnitText(const orq_control_info& control) {
  return control.scale == 1 ? control.unit : Number(1.0 / control.scale) + " " + control.unit;
}

std::string RangeText(const orq_control_info& control) {
  if (!Has(control)) return "-";
  return std::to_string(control.minimum) + " to " + std::to_string(control.maximum) + ", " +
         std::to_string(control.default_value);
}

void PrintRow(Output& out, const Cells& cells) {
  out.Line("| " + Join(cells, " | ") + " |");
}

void PrintHeading(Output& out, const Cells& cells) {
  PrintRow(out, cells);
  out.Line("|" + Join(Cells(cells.size(), "---"), "|") + "|");
}

void PrintMarkdown(Output& out, const std::vector<std::string>& models, const std::vector<Entry>& entries) {
  for (const char* line : kIntroduction) out.Line(line);
  PrintHeading(out,
               {"Id", "Name", "Unit", "Minimum", "Maximum", "Default", "Automatic", "Writable", "Description"});
  for (const Entry& entry : entries) {
    const auto number = [](std::int64_t orq_control_info::*field) {
      return [field](const orq_control_info& control) { return std::to_string(control.*field); };
    };
    const orq_control_info& any = entry.front();
    PrintRow(out,
             {std::to_string(any.id), any.name, UnitText(any), Common(entry, number(&orq_control_info::minimum)),
              Common(entry, number(&orq_control_info::maximum)),
              Common(entry, number(&orq_control_info::default_value)),
              Common(entry, [](const orq_control_info& control) { return YesNo(control.automatic); }),
              YesNo(any.writable), any.description});
  }
  for (const char* line : kModelIntroduction) out.Line(line);
  Cells heading = {"Name"};
  heading.insert(heading.end(), models.begin(), models.end());
  PrintHeading(out, heading);
  for (const Entry& entry : entries) {
    if (Common(entry, RangeText) != kByModel) continue;
    Cells cells = {entry.front().name};
    for (const orq_control_info& control : entry) cells.push_back(RangeText(control));
    PrintRow(out, cells);
  }
  for (const char* line : kActions) out.Line(line);
}

Json ToJson(const std::vector<std::string>& models, const std::vector<Entry>& entries) {
  Json list = Json::array();
  for (const Entry& entry : entries) {
    const orq_control_info& any = entry.front();
    Json json;
    json["id"] = any.id;
    json["name"] = any.name;
    json["description"] = any.description;
    json["unit"] = UnitText(any);
    json["writable"] = any.writable == 1;
    Json limits = Json::object();
    for (std::size_t i = 0; i < models.size(); ++i) {
      const orq_control_info& control = entry[i];
      if (!Has(control)) continue;
      limits[models[i]] = {{"min", control.minimum},
                           {"max", control.maximum},
                           {"default", control.default_value},
                           {"auto_supported", control.automatic == 1}};
    }
    json["models"] = limits;
    list.push_back(json);
  }
  return list;
}

ExitCode RunDumpControls(const Context& context) {
  const std::vector<std::string> models = Models();
  const std::vector<Entry> entries = Catalogue(models);
  if (context.json)
    context.out.Object(ToJson(models, entries));
  else
    PrintMarkdown(context.out, models, entries);
  return kExitOk;
}

}  // namespace

CommandRun AddDumpControlsCommand(const Command& app) {
  app.AddCommand("dump-controls", "Print the catalogue of controls as a Markdown table");
  return RunDumpControls;
}

}  // namespace orq::cli
