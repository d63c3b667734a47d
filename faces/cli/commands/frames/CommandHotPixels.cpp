// orqcam hotpixels: the table of hot pixels in the camera's flash, and the correction that uses it.
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "camera/ControlUse.h"
#include "camera/DarkUse.h"
#include "camera/FlashWork.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
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
};

// The table in the camera's flash; nothing when it holds none.
std::optional<HotPixels> FindTable(const Device& camera) {
  try {
    return camera->hotPixels();
  } catch (const NotFoundError&) {
    return std::nullopt;
  }
}

HotPixels DemandTable(const Device& camera) {
  std::optional<HotPixels> table = FindTable(camera);
  if (!table) throw CliError(ORQ_ERROR_NOT_FOUND, kNoTable);
  return std::move(*table);
}

void AddCounts(Report& report, const HotPixels& table) {
  const orq_hot_pixel_counts counts = table.counts();
  report.Add("hot_pixels", counts.pixels);
  report.Add("bad_rows", counts.bad_rows);
}

// What they are; in text the pixels are a table of their own.
void AddList(Report& report, const HotPixels& table, bool json) {
  const std::vector<int> rows = table.badRows();
  if (json || !rows.empty()) report.Add("bad_row_list", rows);
  if (!json) return;
  Json pixels = Json::array();
  for (const SensorPixel& pixel : table.pixels()) pixels.push_back({{"x", pixel.x}, {"y", pixel.y}});
  report.Add("hot_pixel_list", std::move(pixels));
}

void PrintPixels(Output& out, const HotPixels& table) {
  Table rows = {{"x", "y"}};
  for (const SensorPixel& pixel : table.pixels())
    rows.push_back({std::to_string(pixel.x), std::to_string(pixel.y)});
  PrintTable(out, rows);
}

// The table as the user wants to see it.
void Show(const Context& context, const HotPixelOptions& options, Report& report, const HotPixels& table) {
  AddCounts(report, table);
  if (options.list) AddList(report, table, context.json);
  if (!options.map.empty()) {
    table.save(options.map, ORQ_TABLE_PNG, options.replaceFiles);
    report.Add("map", options.map);
  }
  const std::int32_t leftOut = table.counts().left_out;
  if (leftOut != 0) Complain(Format("%d more hot pixels are in the table than are repaired", leftOut));
}

void PrintWithList(const Context& context, const HotPixelOptions& options, const Report& report,
                   const HotPixels& table) {
  report.Print(context.out, context.json);
  if (options.list && !context.json) PrintPixels(context.out, table);
}

ExitCode RunShow(const Context& context, const HotPixelOptions& options) {
  if (!options.map.empty()) checkFile(options.map, options.replaceFiles);
  const Device camera(context);
  const std::optional<HotPixels> table = FindTable(camera);
  Report report;
  report.Add("table", table.has_value());
  report.Add("enabled", camera->repairsHotPixels());
  if (!table) {
    report.Print(context.out, context.json);
    return kExitOk;
  }
  Show(context, options, report, *table);
  PrintWithList(context, options, report, *table);
  return kExitOk;
}

ExitCode RunSwitch(const Context& context, bool on) {
  Device camera(context);
  // The camera is content with a table whose end cannot be read; a user is not.
  const std::optional<HotPixels> table = on ? std::optional(DemandTable(camera)) : std::nullopt;
  camera->repairHotPixels(on);
  Report report;
  report.Add("enabled", on);
  if (table) AddCounts(report, *table);
  report.Print(context.out, context.json);
  if (context.settings)
    camera.DemandKept();
  else
    Complain("nothing is kept with --no-settings: later runs do as before");
  return kExitOk;
}

int FormatOf(const std::string& path) {
  const std::string name = Lower(path);
  if (name.ends_with(".csv")) return ORQ_TABLE_CSV;
  if (name.ends_with(".bmp")) return ORQ_TABLE_BMP;
  throw CliError(kExitUsage, "'" + path + "' tells no format: let its name end in .csv or .bmp");
}

ExitCode RunExport(const Context& context, const HotPixelOptions& options) {
  for (const std::string& file : options.files) {
    FormatOf(file);
    checkFile(file, options.replaceFiles);
  }
  const Device camera(context);
  const HotPixels table = DemandTable(camera);
  for (const std::string& file : options.files) table.save(file, FormatOf(file), options.replaceFiles);
  Report report;
  report.Add("files", options.files);
  AddCounts(report, table);
  report.Print(context.out, context.json);
  return kExitOk;
}

// Beyond the bright dark that `WatchDark` tells of.
void TellCrowd(const orq_hot_pixel_counts& counts) {
  constexpr std::int64_t kOneIn = 100;
  if (kOneIn * counts.pixels <= std::int64_t{counts.width} * counts.height) return;
  Complain(Format("more than 1 in %d pixels is hot: was the sensor covered?", static_cast<int>(kOneIn)));
}

void AddFacts(Report& report, const orq_dark_info& dark) {
  report.Add("exposure", dark.exposure_us, "us");
  report.Add("gain", dark.gain);
  if (!std::isnan(dark.sensor_c)) report.Add("temperature", std::round(10.0 * dark.sensor_c) / 10.0, "C");
  report.Add("frames", dark.frames);
  report.Add("average", dark.average);
}

// What stands out in a dark that is taken now, and how that was taken.
HotPixels FindInDark(Device& camera, int frames, orq_dark_info& dark) {
  auto options = sized<orq_dark_options>();
  options.frames = frames;
  orq_hot_pixel_table* found = nullptr;
  dark = WatchDark(camera, [&](orq_dark_callback callback, void* user, orq_dark_info* info) {
    return orq_hot_pixels_find(camera->get(), &options, callback, user, info, &found);
  });
  return HotPixels(found);
}

// Returns the backup.
std::string SaveInFlash(Device& camera, const OverwriteOptions& options, const orq_hot_pixel_counts& counts) {
  const std::string what =
      Format("put a table of %d hot pixels and %d bad rows into the flash", counts.pixels, counts.bad_rows);
  return OverwriteFlash(camera, options, what, [&](const char* folder, orq_flash_callback callback, void* user) {
    return orq_hot_pixels_save(camera->get(), folder, callback, user);
  });
}

ExitCode RunBuild(const Context& context, const HotPixelOptions& options) {
  const int frames = ParseFrames(options.frames);
  if (options.exposure) ParseExposure(*options.exposure);
  if (options.gain) ParseInteger(*options.gain, "--gain");
  if (!options.map.empty()) checkFile(options.map, options.replaceFiles);
  Device camera(context);
  if (options.save) DemandAnswerable(camera, options.overwrite, "replace the hot-pixel table in the flash");
  ApplyControl(camera, "Exposure", options.exposure);
  ApplyControl(camera, "Gain", options.gain);
  orq_dark_info dark{};
  const HotPixels table = FindInDark(camera, frames, dark);
  TellCrowd(table.counts());
  Report report;
  AddFacts(report, dark);
  Show(context, options, report, table);
  if (options.save) report.Add("backup", SaveInFlash(camera, options.overwrite, table.counts()));
  report.Add("saved", options.save);
  PrintWithList(context, options, report, table);
  if (!options.save)
    Complain("this table ends with the command; --save keeps it in the camera's flash");
  else if (!camera->repairsHotPixels())
    Complain("the table is not used yet; switch that on with orqcam hotpixels enable");
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
  for (const Command& each : {build, show, save})
    each.AddFlag("--overwrite", options->replaceFiles, "Replace files that exist");
  return [options, build, show, enable, save](const Context& context) {
    if (build.Given()) return RunBuild(context, *options);
    if (show.Given()) return RunShow(context, *options);
    if (save.Given()) return RunExport(context, *options);
    return RunSwitch(context, enable.Given());
  };
}

}  // namespace orq::cli
