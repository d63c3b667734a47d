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

CommandRun AddFlashCommand(const Command& app) {
  const Command command = app.AddCommand("flash", "Save, restore or verify what the camera's flash keeps for you");
  command.RequireCommand();
  auto options = std::make_shared<FlashOptions>();
  const Command dump = command.AddCommand("dump", "Save hot pixels, id and parameters in a file");
  const Command restore = command.AddCommand("restore", "Write them back from a file");
  const Command verify = command.AddCommand("verify", "Compare them with a file");
  for (const Command& each : {dump, restore, verify}) {
    each.AddOption("FILE", options->file, "The file").Required();
  }
  dump.AddFlag("--overwrite", options->replaceFile, "Replace the file if it exists");
  restore.AddFlag("--other-camera", options->otherCamera, "Also when the file is from another camera");
  AddOverwriteOptions(restore, options->overwrite);
  return [options, dump, restore](const Context& context) {
    if (dump.Given()) return RunDump(context, *options);
    return restore.Given() ? RunRestore(context, *options) : RunVerify(context, *options);
  };
}

}  // namespace orq::cli
