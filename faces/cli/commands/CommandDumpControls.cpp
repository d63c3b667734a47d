// orqcam dump-controls: the catalogue of controls as it was compiled, for documentation and for programs.
#include <algorithm>

#include "camera/ControlAccess.h"
#include "commands/Commands.h"
#include "controls/ControlCatalogue.h"
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
struct Entry {
  ORQ_CONTROL_TYPE id = ORQ_GAIN;
  std::vector<_ORQ_CONTROL_CAPS> caps;  ///< in the order of the models
};

// Recordings take their height, and with it some limits, from the file.
std::vector<const ModelData*> Models() {
  std::vector<const ModelData*> models;
  for (const ModelData& model : AllModels()) {
    if (model.maxHeight > 0) models.push_back(&model);
  }
  return models;
}

std::vector<Entry> Catalogue(const std::vector<const ModelData*>& models) {
  std::vector<Entry> entries;
  for (int id = 0; id < kControlTypes; ++id) {
    Entry entry{static_cast<ORQ_CONTROL_TYPE>(id), {}};
    for (const ModelData* model : models) {
      CapabilityFlags flags;
      flags.bandwidthAutoSupported = model->bandwidthAuto;
      _ORQ_CONTROL_CAPS caps{};
      DescribeControl(entry.id, {model->limits, flags, model->maxHeight}, caps);
      entry.caps.push_back(caps);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

// Of a control that a model has not, both limits are 0.
bool Has(const _ORQ_CONTROL_CAPS& caps) {
  return caps.minValue != caps.maxValue;
}

// The value in which all models that have the control agree.
template <class Value>
std::string Common(const Entry& entry, Value value) {
  std::string common;
  for (const _ORQ_CONTROL_CAPS& caps : entry.caps) {
    if (!Has(caps)) continue;
    const std::string text = value(caps);
    if (!common.empty() && common != text) return kByModel;
    common = text;
  }
  return common.empty() ? "-" : common;
}

std::string YesNo(ORQ_BOOL value) {
  return value == 1 ? "yes" : "no";
}

std::string UnitText(ORQ_CONTROL_TYPE id) {
  const ControlUnit unit = UnitOf(id);
  return unit.scale == 1 ? unit.unit : Number(1.0 / unit.scale) + " " + unit.unit;
}

std::string RangeText(const _ORQ_CONTROL_CAPS& caps) {
  if (!Has(caps)) return "-";
  return Format("%d to %d, %d", caps.minValue, caps.maxValue, caps.defaultValue);
}

void PrintRow(Output& out, const Cells& cells) {
  out.Line("| " + Join(cells, " | ") + " |");
}

void PrintHeading(Output& out, const Cells& cells) {
  PrintRow(out, cells);
  out.Line("|" + Join(Cells(cells.size(), "---"), "|") + "|");
}

void PrintMarkdown(Output& out, const std::vector<const ModelData*>& models, const std::vector<Entry>& entries) {
  for (const char* line : kIntroduction) out.Line(line);
  PrintHeading(out,
               {"Id", "Name", "Unit", "Minimum", "Maximum", "Default", "Automatic", "Writable", "Description"});
  for (const Entry& entry : entries) {
    const auto number = [](std::int32_t _ORQ_CONTROL_CAPS::*field) {
      return [field](const _ORQ_CONTROL_CAPS& caps) { return std::to_string(caps.*field); };
    };
    PrintRow(out, {std::to_string(entry.id), entry.caps.front().name, UnitText(entry.id),
                   Common(entry, number(&_ORQ_CONTROL_CAPS::minValue)),
                   Common(entry, number(&_ORQ_CONTROL_CAPS::maxValue)),
                   Common(entry, number(&_ORQ_CONTROL_CAPS::defaultValue)),
                   Common(entry, [](const auto& caps) { return YesNo(caps.isAutoSupported); }),
                   YesNo(entry.caps.front().isWritable), entry.caps.front().description});
  }
  for (const char* line : kModelIntroduction) out.Line(line);
  Cells heading = {"Name"};
  for (const ModelData* model : models) heading.emplace_back(model->key);
  PrintHeading(out, heading);
  for (const Entry& entry : entries) {
    if (Common(entry, RangeText) != kByModel) continue;
    Cells cells = {entry.caps.front().name};
    for (const _ORQ_CONTROL_CAPS& caps : entry.caps) cells.push_back(RangeText(caps));
    PrintRow(out, cells);
  }
  for (const char* line : kActions) out.Line(line);
}

Json ToJson(const std::vector<const ModelData*>& models, const std::vector<Entry>& entries) {
  Json list = Json::array();
  for (const Entry& entry : entries) {
    Json json;
    json["id"] = static_cast<int>(entry.id);
    json["name"] = entry.caps.front().name;
    json["description"] = entry.caps.front().description;
    json["unit"] = UnitText(entry.id);
    json["writable"] = entry.caps.front().isWritable == 1;
    Json limits = Json::object();
    for (std::size_t i = 0; i < models.size(); ++i) {
      const _ORQ_CONTROL_CAPS& caps = entry.caps[i];
      if (!Has(caps)) continue;
      limits[std::string(models[i]->key)] = {{"min", caps.minValue},
                                             {"max", caps.maxValue},
                                             {"default", caps.defaultValue},
                                             {"auto_supported", caps.isAutoSupported == 1}};
    }
    json["models"] = limits;
    list.push_back(json);
  }
  return list;
}

ExitCode RunDumpControls(const Context& context) {
  const std::vector<const ModelData*> models = Models();
  const std::vector<Entry> entries = Catalogue(models);
  if (context.json) {
    context.out.Object(ToJson(models, entries));
  } else {
    PrintMarkdown(context.out, models, entries);
  }
  return kExitOk;
}

}  // namespace

CommandRun AddDumpControlsCommand(const Command& app) {
  app.AddCommand("dump-controls", "Print the catalogue of controls as a Markdown table");
  return RunDumpControls;
}

}  // namespace orq::cli
