// orqcam hotpixels: the table of hot pixels in the camera's flash, and the correction that uses it.
#include <algorithm>
#include <cstring>
#include <memory>

#include "Commands.h"
#include "FlashWork.h"
#include "HotPixelView.h"
#include "SafeFile.h"
#include "Text.h"

namespace orq::cli {

namespace {

constexpr const char* kNoTable = "the camera has no hot-pixel table; make one with orqcam hotpixels build --save";

struct HotPixelOptions {
  bool list = false;
  std::string map;                 ///< PNG file; empty: none
  std::vector<std::string> files;  ///< to export
  bool replaceFiles = false;

  Existing ExistingFiles() const { return replaceFiles ? Existing::Overwrite : Existing::Keep; }
};

void Write(const std::string& path, const std::vector<std::uint8_t>& bytes, Existing existing) {
  const int error = PutFile(path, bytes, existing, Durability::Synced);
  if (error != 0) throw CliError(kExitFailed, "cannot write '" + path + "': " + std::strerror(error));
}

// The table as the user wants to see it.
void Show(const Context& context, const HotPixelOptions& options, Report& report, const HotPixelView& view) {
  AddCounts(report, view);
  if (options.list) AddList(report, view, context.json);
  if (!options.map.empty()) {
    Write(options.map, EncodeMap(view), options.ExistingFiles());
    report.Add("map", options.map);
  }
  if (view.leftOut != 0) {
    Complain(Format("%zu more hot pixels are in the table than are repaired", view.leftOut));
  }
}

void PrintWithList(const Context& context, const HotPixelOptions& options, const Report& report,
                   const HotPixelView& view) {
  report.Print(context.out, context.json);
  if (options.list && !context.json) PrintPixels(context.out, view);
}

ExitCode RunShow(const Context& context, const HotPixelOptions& options) {
  if (!options.map.empty()) DemandNoFile(options.map, options.ExistingFiles());
  Session session(context);
  HotPixelMarks marks = ReadTable(session);
  Report report;
  report.Add("table", !marks.empty());
  report.Add("enabled", session.Camera().HPC != 0);
  if (marks.empty()) {
    report.Print(context.out, context.json);
    return kExitOk;
  }
  const HotPixelView view = ViewOf(session.Camera(), std::move(marks));
  Show(context, options, report, view);
  PrintWithList(context, options, report, view);
  return kExitOk;
}

ExitCode RunSwitch(const Context& context, bool on) {
  Session session(context);
  Report report;
  if (on) {
    // The core is content with a table whose end cannot be read; a user is not.
    HotPixelMarks marks = ReadTable(session);
    if (marks.empty()) throw CliError(kExitFailed, kNoTable);
    if (!session.Camera().SetHPCStates(true)) session.Fail("the hot-pixel table cannot be loaded");
    report.Add("enabled", true);
    AddCounts(report, ViewOf(session.Camera(), std::move(marks)));
  } else {
    session.Camera().SetHPCStates(false);
    report.Add("enabled", false);
  }
  report.Print(context.out, context.json);
  if (context.settings) {
    session.KeepSettings();
  } else {
    Complain("nothing is kept with --no-settings: later runs do as before");
  }
  return kExitOk;
}

using Encoder = std::vector<std::uint8_t> (*)(const HotPixelView&);

Encoder EncoderFor(const std::string& path) {
  const std::string name = Lower(path);
  if (name.ends_with(".csv")) return EncodeCsv;
  if (name.ends_with(".bmp")) return EncodeBmp;
  throw CliError(kExitUsage, "'" + path + "' tells no format: let its name end in .csv or .bmp");
}

ExitCode RunExport(const Context& context, const HotPixelOptions& options) {
  for (const std::string& file : options.files) {
    EncoderFor(file);
    DemandNoFile(file, options.ExistingFiles());
  }
  Session session(context);
  HotPixelMarks marks = ReadTable(session);
  if (marks.empty()) throw CliError(kExitFailed, kNoTable);
  const HotPixelView view = ViewOf(session.Camera(), std::move(marks));
  for (const std::string& file : options.files) Write(file, EncoderFor(file)(view), options.ExistingFiles());
  Report report;
  report.Add("files", options.files);
  AddCounts(report, view);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddHotPixelsCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("hotpixels", "Hot pixels: their table in the camera, and their correction");
  command->require_subcommand(1);
  auto options = std::make_shared<HotPixelOptions>();
  CLI::App* show = command->add_subcommand("show", "Show the camera's table and whether it is used");
  CLI::App* enable = command->add_subcommand("enable", "Repair hot pixels in frames from now on");
  CLI::App* disable = command->add_subcommand("disable", "Leave frames as they are");
  CLI::App* save = command->add_subcommand("export", "Save the table in files");
  for (CLI::App* each : {show, enable, disable, save}) each->fallthrough();
  for (CLI::App* each : {show}) {
    each->add_flag("--list", options->list, "List the hot pixels and bad rows, counted from 0 at the top left");
    each->add_option("--map", options->map, "Save a picture of the sensor: a PNG file, hot pixels white");
  }
  save->add_option("FILE", options->files, "Its name says the format: .csv (x, y, value) or .bmp")->required();
  for (CLI::App* each : {show, save}) {
    each->add_flag("--overwrite", options->replaceFiles, "Replace files that exist");
  }
  return [options, show, enable, save](const Context& context) {
    if (show->parsed()) return RunShow(context, *options);
    if (save->parsed()) return RunExport(context, *options);
    return RunSwitch(context, enable->parsed());
  };
}

}  // namespace orq::cli
