// orqcam dark: the dark that is subtracted from frames.
#include <memory>

#include "camera/ControlAccess.h"
#include "camera/DarkWork.h"
#include "commands/Commands.h"
#include "options/Cooling.h"
#include "session/darks/DarkFile.h"
#include "session/darks/DarkStore.h"

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

Existing ExistingOf(const DarkOptions& options) {
  return options.overwrite ? Existing::Overwrite : Existing::Keep;
}

void AddFile(Report& report, const std::string& path, const DarkFile& dark) {
  report.Add("file", path);
  if (dark.description) report.Add(DescriptionValues(*dark.description));
}

DarkFile ReadFor(const Session& session, const std::string& path) {
  DarkFile dark = ReadDarkFile(path);
  DemandGeometry(session.Camera(), dark, path);
  if (!dark.trouble.empty()) Complain(dark.trouble);
  return dark;
}

void DemandKept(const DarkStore& store) {
  if (!store.HasKept()) {
    throw CliError(Status::NotFound, "no dark is kept for this camera; take one with orqcam dark take");
  }
}

// What applies, what is kept, and what is to be known about it.
ExitCode RunShow(const Context& context) {
  Session session(context);
  const DarkStore store = StoreOf(session);
  const std::string chosen = store.Chosen();
  Report report;
  report.Add("applied", !chosen.empty());
  std::optional<DarkFile> dark;
  std::string trouble;
  if (!chosen.empty()) {
    try {
      dark = ReadFor(session, chosen);
      AddFile(report, chosen, *dark);
    } catch (const Failure& failure) {
      trouble = failure.what();
      report.Add("file", chosen);
    }
  }
  report.Add("kept", store.HasKept() ? Json(store.KeptPath()) : Json());
  report.Print(context.out, context.json);
  if (!trouble.empty()) throw CliError(Status::File, trouble);
  if (dark) TellShortExposures(session.Camera());
  return kExitOk;
}

ExitCode RunTake(const Context& context, const DarkOptions& options) {
  const int frames = ParseDarkFrames(options.frames);
  options.cooling.Check();
  if (!options.output.empty()) DemandDarkName(options.output);
  Session session(context);
  const DarkStore store = StoreOf(session);
  const bool keep = options.output.empty();
  const std::string path = keep ? store.KeptPath() : options.output;
  const Existing existing = keep ? Existing::Overwrite : ExistingOf(options);
  if (keep) store.DemandPlace();
  CheckDarkWritable(path, existing);
  ApplyControl(session, ORQ_EXPOSURE, options.exposure);
  ApplyControl(session, ORQ_GAIN, options.gain);
  ApplyControl(session, ORQ_OFFSET, options.offset);
  options.cooling.Apply(session);

  DarkSession work(session.Camera());
  DarkDescription description;
  description.model = session.Camera().modelName;
  description.serial = session.Serial();
  description.facts = CollectDark(session, work, frames);
  RestoreAfterDark(session, work);
  const DarkFile dark = MakeDarkFile(session.Camera(), std::move(description));
  WriteDarkFile(path, dark, existing);
  if (keep) store.Choose(path);
  Report report;
  AddFile(report, path, dark);
  report.Add("applied", keep);
  report.Print(context.out, context.json);
  return kExitOk;
}

void ReportChoice(const Context& context, const std::string& path, const DarkFile& dark) {
  Report report;
  report.Add("applied", true);
  AddFile(report, path, dark);
  report.Print(context.out, context.json);
}

ExitCode RunUse(const Context& context, const DarkOptions& options) {
  Session session(context);
  const DarkStore store = StoreOf(session);
  if (options.file.empty()) DemandKept(store);
  const std::string path = options.file.empty() ? store.KeptPath() : options.file;
  const DarkFile dark = ReadFor(session, path);
  store.Choose(path);
  ReportChoice(context, path, dark);
  return kExitOk;
}

ExitCode RunOff(const Context& context) {
  Session session(context);
  StoreOf(session).ChooseNone();
  Report report;
  report.Add("applied", false);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunSave(const Context& context, const DarkOptions& options) {
  DemandDarkName(options.file);
  Session session(context);
  const DarkStore store = StoreOf(session);
  DemandKept(store);
  const DarkFile dark = ReadFor(session, store.KeptPath());
  WriteDarkFile(options.file, dark, ExistingOf(options));
  Report report;
  AddFile(report, options.file, dark);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunLoad(const Context& context, const DarkOptions& options) {
  Session session(context);
  const DarkStore store = StoreOf(session);
  const DarkFile dark = ReadFor(session, options.file);
  store.DemandPlace();
  WriteDarkFile(store.KeptPath(), dark, Existing::Overwrite);
  store.Choose(store.KeptPath());
  ReportChoice(context, store.KeptPath(), dark);
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
