// orqcam dark: the dark that is subtracted from frames.
#include <memory>
#include <optional>
#include <string>

#include "camera/ControlUse.h"
#include "camera/DarkUse.h"
#include "commands/Commands.h"
#include "options/Cooling.h"
#include "options/Corrections.h"

namespace orq::cli {

namespace {

struct DarkOptions {
  std::string frames;  ///< empty: by the exposure time
  std::optional<std::string> exposure;
  std::optional<std::string> gain;
  std::optional<std::string> offset;
  CoolSettings cooling;
  std::string output;  ///< empty: kept for the camera
  std::string file;
  bool overwrite = false;
};

void AddFile(Report& report, const std::string& path, const orq_dark_info& dark) {
  report.Add("file", path);
  AddDark(report, dark);
}

orq_dark_info ReadFor(Device& camera, const std::string& path) {
  const orq_dark_info dark = camera->readDark(path);
  if (dark.trouble[0] != '\0') Complain(dark.trouble);
  return dark;
}

void DemandKept(const orq_dark_choice& choice) {
  if (choice.is_kept == 0)
    throw CliError(ORQ_ERROR_NOT_FOUND, "no dark is kept for this camera; take one with orqcam dark take");
}

// What applies, what is kept, and what is to be known about it.
ExitCode RunShow(const Context& context) {
  Device camera(context);
  const orq_dark_choice choice = camera->darkChoice();
  const std::string chosen = ChosenDark(choice);
  Report report;
  report.Add("applied", !chosen.empty());
  bool applies = false;
  std::string trouble;
  if (!chosen.empty()) {
    try {
      AddFile(report, chosen, ReadFor(camera, chosen));
      applies = true;
    } catch (const Error& error) {
      trouble = error.what();
      report.Add("file", chosen);
    }
  }
  report.Add("kept", choice.is_kept != 0 ? Json(choice.kept) : Json());
  report.Print(context.out, context.json);
  if (!trouble.empty()) throw CliError(ORQ_ERROR_FILE, trouble);
  if (applies) TellShortExposures(camera);
  return kExitOk;
}

void DemandDarkName(const std::string& path) {
  if (path.ends_with(".bmp") && path != ".bmp") return;
  throw CliError(kExitUsage, "the name of a dark ends in .bmp: '" + path + "'");
}

ExitCode RunTake(const Context& context, const DarkOptions& options) {
  const int frames = ParseFrames(options.frames);
  options.cooling.Check();
  const bool keep = options.output.empty();
  if (!keep) DemandDarkName(options.output);
  Device camera(context);
  const std::optional<std::string> path = keep ? std::nullopt : std::optional<std::string>(options.output);
  check(orq_dark_check(camera->get(), path ? path->c_str() : nullptr, options.overwrite ? 1 : 0));
  ApplyControl(camera, "Exposure", options.exposure);
  ApplyControl(camera, "Gain", options.gain);
  ApplyControl(camera, "Offset", options.offset);
  options.cooling.Apply(camera);
  const orq_dark_info dark = TakeDark(camera, path, frames, options.overwrite);
  Report report;
  AddFile(report, keep ? camera->darkChoice().kept : *path, dark);
  report.Add("applied", keep);
  report.Print(context.out, context.json);
  return kExitOk;
}

void ReportChoice(const Context& context, const std::string& path, const orq_dark_info& dark) {
  Report report;
  report.Add("applied", true);
  AddFile(report, path, dark);
  report.Print(context.out, context.json);
}

ExitCode RunUse(const Context& context, const DarkOptions& options) {
  Device camera(context);
  const orq_dark_choice choice = camera->darkChoice();
  if (options.file.empty()) DemandKept(choice);
  const std::string path = options.file.empty() ? choice.kept : options.file;
  const orq_dark_info dark = ReadFor(camera, path);
  camera->chooseDark(path);
  ReportChoice(context, path, dark);
  return kExitOk;
}

ExitCode RunOff(const Context& context) {
  Device camera(context);
  camera->chooseNoDark();
  Report report;
  report.Add("applied", false);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunSave(const Context& context, const DarkOptions& options) {
  DemandDarkName(options.file);
  Device camera(context);
  const orq_dark_choice choice = camera->darkChoice();
  DemandKept(choice);
  const orq_dark_info dark = ReadFor(camera, choice.kept);
  check(orq_dark_copy(camera->get(), choice.kept, options.file.c_str(), options.overwrite ? 1 : 0));
  Report report;
  AddFile(report, options.file, dark);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunLoad(const Context& context, const DarkOptions& options) {
  Device camera(context);
  const orq_dark_info dark = ReadFor(camera, options.file);
  check(orq_dark_copy(camera->get(), options.file.c_str(), nullptr, 0));
  ReportChoice(context, camera->darkChoice().kept, dark);
  return kExitOk;
}

void AddTakeOptions(const Command& take, DarkOptions& options) {
  take.AddOption("-n,--frames", options.frames,
                 "Number of frames, 1 to 16 (default: 5 to 1 by the exposure time)");
  take.AddOption("-e,--exposure", options.exposure,
                 "Exposure time with its unit: 5s, 200ms, 1000us (default: the camera's)");
  take.AddOption("-g,--gain", options.gain, "Gain setting (default: the camera's)");
  take.AddOption("--offset", options.offset, "Offset setting (default: the camera's)");
  options.cooling.AddTo(take);
  take.AddOption("-o,--output", options.output, "Save it in this .bmp file instead of keeping and applying it");
  take.AddFlag("--overwrite", options.overwrite, "Replace the file if it exists");
}

}  // namespace

CommandRun AddDarkCommand(const Command& app) {
  const Command command = app.AddCommand("dark", "Take a dark, and say which one is subtracted from frames");
  command.AllowOneCommand();
  auto options = std::make_shared<DarkOptions>();
  const Command take = command.AddCommand("take", "Cover the sensor, then take a dark and apply it from now on");
  const Command use = command.AddCommand("use", "Apply the kept dark, or one in a file, from now on");
  const Command off = command.AddCommand("off", "Apply no dark from now on; the kept one stays");
  const Command save = command.AddCommand("save", "Copy the kept dark into a file");
  const Command load = command.AddCommand("load", "Keep a dark from a file, and apply it from now on");
  AddTakeOptions(take, *options);
  use.AddOption("FILE", options->file, "A .bmp file (default: the kept dark)");
  for (const Command& each : {save, load}) each.AddOption("FILE", options->file, "The .bmp file").Required();
  save.AddFlag("--overwrite", options->overwrite, "Replace the file if it exists");
  return [options, take, use, off, save, load](const Context& context) {
    if (take.Given()) return RunTake(context, *options);
    if (use.Given()) return RunUse(context, *options);
    if (off.Given()) return RunOff(context);
    if (save.Given()) return RunSave(context, *options);
    return load.Given() ? RunLoad(context, *options) : RunShow(context);
  };
}

}  // namespace orq::cli
