// orqcam hotpixels: the table of hot pixels in the camera's flash, and the correction that uses it.
#include <cmath>
#include <memory>
#include <optional>

#include "camera/ControlAccess.h"
#include "camera/DarkWork.h"
#include "camera/FlashWork.h"
#include "commands/Commands.h"
#include "output/HotPixelView.h"
#include "session/files/SafeFile.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr const char* kNoTable = "the camera has no hot-pixel table; make one with orqcam hotpixels build --save";

struct HotPixelOptions {
  bool list = false;
  std::string map;                 ///< PNG file; empty: none
  std::vector<std::string> files;  ///< to export
  bool replaceFiles = false;

  std::string frames;                   ///< to build from; empty: as the exposure asks for
  std::optional<std::string> exposure;  ///< none: as the camera has it
  std::optional<std::string> gain;      ///< the same
  bool save = false;
  OverwriteOptions overwrite;

  Existing ExistingFiles() const { return replaceFiles ? Existing::Overwrite : Existing::Keep; }
};

HotPixelView SensorView(Session& session, HotPixelMarks marks) {
  return ViewOf(std::move(marks), session.Camera().iMaxWidth, session.Camera().iMaxHeight);
}

void Write(const std::string& path, const std::vector<std::uint8_t>& bytes, Existing existing) {
  const int error = PutFile(path, bytes, existing, Durability::Synced);
  if (error != 0) CannotWrite(path, error);
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
  if (!options.map.empty()) DemandWritable(options.map, options.ExistingFiles());
  Session session(context);
  HotPixelMarks marks = ReadTable(session);
  Report report;
  report.Add("table", !marks.empty());
  report.Add("enabled", session.Camera().HPC != 0);
  if (marks.empty()) {
    report.Print(context.out, context.json);
    return kExitOk;
  }
  const HotPixelView view = SensorView(session, std::move(marks));
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
    if (marks.empty()) throw CliError(Status::NotFound, kNoTable);
    if (!session.Camera().SetHPCStates(true)) session.Fail("the hot-pixel table cannot be loaded");
    report.Add("enabled", true);
    AddCounts(report, SensorView(session, std::move(marks)));
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
    DemandWritable(file, options.ExistingFiles());
  }
  Session session(context);
  HotPixelMarks marks = ReadTable(session);
  if (marks.empty()) throw CliError(Status::NotFound, kNoTable);
  const HotPixelView view = SensorView(session, std::move(marks));
  for (const std::string& file : options.files) Write(file, EncoderFor(file)(view), options.ExistingFiles());
  Report report;
  report.Add("files", options.files);
  AddCounts(report, view);
  report.Print(context.out, context.json);
  return kExitOk;
}

// Beyond the bright dark that `CollectDark` tells of.
void TellCrowd(const HotPixelView& view) {
  constexpr std::size_t kOneIn = 100;
  if (kOneIn * view.pixels.size() <= view.marks.size()) return;
  Complain(Format("more than 1 in %zu pixels is hot: was the sensor covered?", kOneIn));
}

void AddFacts(Report& report, const DarkFacts& facts) {
  report.Add("exposure", facts.exposureUs, "us");
  report.Add("gain", facts.gain);
  if (facts.sensorC) report.Add("temperature", std::round(10.0 * static_cast<double>(*facts.sensorC)) / 10.0, "C");
  report.Add("frames", facts.frames);
  report.Add("average", facts.average);
}

ExitCode RunBuild(const Context& context, const HotPixelOptions& options) {
  const int frames = ParseDarkFrames(options.frames);
  if (options.exposure) ParseExposure(*options.exposure);
  if (options.gain) ParseInteger(*options.gain, "--gain");
  if (!options.map.empty()) DemandWritable(options.map, options.ExistingFiles());
  Session session(context);
  if (options.save) DemandAnswerable(session, options.overwrite, "replace the hot-pixel table in the flash");
  ApplyControl(session, ORQ_EXPOSURE, options.exposure);
  ApplyControl(session, ORQ_GAIN, options.gain);
  DarkSession darks(session.Camera());
  const DarkFacts facts = CollectDark(session, darks, frames);
  const HotPixelView view = SensorView(session, HotPixelsOfDark(session.Camera()));
  TellCrowd(view);
  Report report;
  AddFacts(report, facts);
  Show(context, options, report, view);
  if (options.save) {
    const std::string what = Format("put a table of %zu hot pixels and %zu bad rows into the flash",
                                    view.pixels.size(), view.badRows.size());
    const FlashBackup backup = PrepareOverwrite(session, options.overwrite, what);
    SaveTable(session, backup);
    report.Add("backup", backup.path);
  }
  report.Add("saved", options.save);
  PrintWithList(context, options, report, view);
  if (!options.save) {
    Complain("this table ends with the command; --save keeps it in the camera's flash");
  } else if (session.Camera().HPC == 0) {
    Complain("the table is not used yet; switch that on with orqcam hotpixels enable");
  }
  return kExitOk;
}

}  // namespace

CommandRun AddHotPixelsCommand(const Command& app) {
  const Command command =
      app.AddCommand("hotpixels", "Hot pixels: their table in the camera, and their correction");
  command.RequireCommand();
  auto options = std::make_shared<HotPixelOptions>();
  const Command build = command.AddCommand("build", "Make a table from darks: cover the sensor first");
  const Command show = command.AddCommand("show", "Show the camera's table and whether it is used");
  const Command enable = command.AddCommand("enable", "Repair hot pixels in frames from now on");
  command.AddCommand("disable", "Leave frames as they are");
  const Command save = command.AddCommand("export", "Save the table in files");
  build.AddOption("-n,--frames", options->frames, "Number of darks, 1 to 16")
      .Default("5 for short exposures, 1 from 776ms on");
  build.AddOption("-e,--exposure", options->exposure,
                  "Exposure time with its unit: 5s, 200ms (default: the camera's)");
  build.AddOption("-g,--gain", options->gain, "Gain setting (default: the camera's)");
  build.AddFlag("--save", options->save, "Save the table in the camera's flash");
  AddOverwriteOptions(build, options->overwrite);
  for (const Command& each : {build, show}) {
    each.AddFlag("--list", options->list, "List the hot pixels and bad rows, counted from 0 at the top left");
    each.AddOption("--map", options->map, "Save a picture of the sensor: a PNG file, hot pixels white");
  }
  save.AddOption("FILE", options->files, "Its name says the format: .csv (x, y, value) or .bmp").Required();
  for (const Command& each : {build, show, save}) {
    each.AddFlag("--overwrite", options->replaceFiles, "Replace files that exist");
  }
  return [options, build, show, enable, save](const Context& context) {
    if (build.Given()) return RunBuild(context, *options);
    if (show.Given()) return RunShow(context, *options);
    if (save.Given()) return RunExport(context, *options);
    return RunSwitch(context, enable.Given());
  };
}

}  // namespace orq::cli
