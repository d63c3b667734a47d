// orqcam flash: what the camera keeps for the host, as a file and back.
#include <memory>

#include "camera/FlashWork.h"
#include "commands/Commands.h"

namespace orq::cli {

namespace {

struct FlashOptions {
  std::string file;
  bool replaceFile = false;
  bool otherCamera = false;
  OverwriteOptions overwrite;
};

ExitCode RunDump(const Context& context, const FlashOptions& options) {
  Device camera(context);
  RunFlashWork(camera, [&](orq_flash_callback callback, void* user) {
    return orq_flash_save(camera->get(), options.file.c_str(), options.replaceFile ? 1 : 0, callback, user);
  });
  Report report;
  report.Add("file", options.file);
  report.Add("size", camera->flashFile(options.file).bytes, "bytes");
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunRestore(const Context& context, const FlashOptions& options) {
  Device camera(context);
  if (camera->flashFile(options.file).is_of_camera == 0 && !options.otherCamera) {
    throw CliError(ORQ_ERROR_FILE,
                   "'" + options.file + "' is from another camera; give --other-camera to use it here");
  }
  const std::string backup =
      OverwriteFlash(camera, options.overwrite, "overwrite hot pixels, id and parameters in the flash",
                     [&](const char* folder, orq_flash_callback callback, void* user) {
                       return orq_flash_restore(camera->get(), options.file.c_str(), options.otherCamera ? 1 : 0,
                                                folder, callback, user);
                     });
  Report report;
  report.Add("restored", options.file);
  report.Add("backup", backup);
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunVerify(const Context& context, const FlashOptions& options) {
  Device camera(context);
  auto comparison = sized<orq_flash_comparison>();
  RunFlashWork(camera, [&](orq_flash_callback callback, void* user) {
    return orq_flash_compare(camera->get(), options.file.c_str(), callback, user, &comparison);
  });
  Report report;
  report.Add("file", options.file);
  report.Add("same", comparison.same != 0);
  report.Print(context.out, context.json);
  if (comparison.same == 0) throw CliError(ORQ_ERROR_STATE, comparison.difference);
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
  for (const Command& each : {dump, restore, verify}) each.AddOption("FILE", options->file, "The file").Required();
  dump.AddFlag("--overwrite", options->replaceFile, "Replace the file if it exists");
  restore.AddFlag("--other-camera", options->otherCamera, "Also when the file is from another camera");
  AddOverwriteOptions(restore, options->overwrite);
  return [options, dump, restore](const Context& context) {
    if (dump.Given()) return RunDump(context, *options);
    return restore.Given() ? RunRestore(context, *options) : RunVerify(context, *options);
  };
}

}  // namespace orq::cli
