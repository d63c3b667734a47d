// orqcam flash: what the camera keeps for the host, as a file and back.
#include <memory>

#include "camera/FlashWork.h"
#include "commands/Commands.h"
#include "session/files/SafeFile.h"

namespace orq::cli {

namespace {

struct FlashOptions {
  std::string file;
  bool replaceFile = false;
  bool otherCamera = false;
  OverwriteOptions overwrite;
};

ExitCode RunDump(const Context& context, const FlashOptions& options) {
  const Existing existing = options.replaceFile ? Existing::Overwrite : Existing::Keep;
  DemandWritable(options.file, existing);
  Session session(context);
  const FlashImage image = ReadFlash(session);
  const FlashOutcome saved = SaveFlashImage(options.file, image, existing);
  if (!saved.Done()) throw CliError(Status::File, saved.reason);
  Report report;
  report.Add("file", options.file);
  report.Add("size", image.bytes.size(), "bytes");
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunRestore(const Context& context, const FlashOptions& options) {
  const FlashImage image = LoadFlash(options.file);
  Session session(context);
  if (!options.otherCamera && !IsImageOf(session.Camera(), image)) {
    throw CliError(Status::File,
                   "'" + options.file + "' is from another camera; give --other-camera to use it here");
  }
  const FlashBackup backup =
      PrepareOverwrite(session, options.overwrite, "overwrite hot pixels, id and parameters in the flash");
  RestoreFlash(session, image, backup);
  Report report;
  report.Add("restored", options.file);
  report.Add("backup", backup.path);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunVerify(const Context& context, const FlashOptions& options) {
  const FlashImage image = LoadFlash(options.file);
  Session session(context);
  std::string difference;
  const bool same = FlashIsLike(session, image, difference);
  Report report;
  report.Add("file", options.file);
  report.Add("same", same);
  report.Print(context.out, context.json);
  if (!same) throw CliError(Status::State, difference);
  return kExitOk;
}

}  // namespace

CommandRun AddFlashCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("flash", "Save, restore or verify what the camera's flash keeps for you");
  command->require_subcommand(1);
  auto options = std::make_shared<FlashOptions>();
  CLI::App* dump = command->add_subcommand("dump", "Save hot pixels, id and parameters in a file");
  CLI::App* restore = command->add_subcommand("restore", "Write them back from a file");
  CLI::App* verify = command->add_subcommand("verify", "Compare them with a file");
  for (CLI::App* each : {dump, restore, verify}) {
    each->fallthrough();
    each->add_option("FILE", options->file, "The file")->required();
  }
  dump->add_flag("--overwrite", options->replaceFile, "Replace the file if it exists");
  restore->add_flag("--other-camera", options->otherCamera, "Also when the file is from another camera");
  AddOverwriteOptions(*restore, options->overwrite);
  return [options, dump, restore](const Context& context) {
    if (dump->parsed()) return RunDump(context, *options);
    return restore->parsed() ? RunRestore(context, *options) : RunVerify(context, *options);
  };
}

}  // namespace orq::cli
