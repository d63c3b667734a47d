// orqcam id, orqcam serial: which camera it is.
#include <algorithm>
#include <memory>
#include <string>

#include "camera/Device.h"
#include "camera/FlashWork.h"
#include "commands/Commands.h"

namespace orq::cli {

namespace {

constexpr std::size_t kIdBytes = 8;

struct IdOptions {
  std::string text;
  OverwriteOptions overwrite;
};

void CheckId(const std::string& text) {
  const bool plain = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (text.empty() || text.size() > kIdBytes || !plain) {
    throw CliError(kExitUsage,
                   "an id has 1 to 8 plain characters, not '" + text + "'; orqcam id clear removes it");
  }
}

void PrintId(const Context& context, const Device& camera, const std::string& backup) {
  const std::string id = camera->userId();
  Report report;
  report.Add("id", id.empty() ? Json(nullptr) : Json(id));
  if (!backup.empty()) report.Add("backup", backup);
  report.Print(context.out, context.json);
}

ExitCode RunGet(const Context& context) {
  const Device camera(context);
  PrintId(context, camera, {});
  return kExitOk;
}

ExitCode RunStore(const Context& context, const IdOptions& options, const std::string& id,
                  const std::string& what) {
  Device camera(context);
  const std::string backup = OverwriteFlash(
      camera, options.overwrite, what, [&](const char* folder, orq_flash_callback callback, void* user) {
        return orq_user_id_set(camera->get(), id.c_str(), folder, callback, user);
      });
  PrintId(context, camera, backup);
  return kExitOk;
}

ExitCode RunSerial(const Context& context) {
  const Device camera(context);
  const std::string serial = camera.Info().serial;
  if (serial.empty()) throw CliError(ORQ_ERROR_REFUSED, "the camera gives no serial number");
  Report report;
  report.Add("serial", serial);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddIdCommand(const Command& app) {
  const Command command = app.AddCommand("id", "Show or change the id that tells cameras of one model apart");
  command.RequireCommand();
  auto options = std::make_shared<IdOptions>();
  command.AddCommand("get", "Show the id");
  const Command set = command.AddCommand("set", "Store an id of up to 8 characters: id set guider");
  const Command clear = command.AddCommand("clear", "Remove the id");
  set.AddOption("TEXT", options->text, "The new id").Required();
  for (const Command& each : {set, clear}) AddOverwriteOptions(each, options->overwrite);
  return [options, set, clear](const Context& context) {
    if (set.Given()) {
      CheckId(options->text);
      return RunStore(context, *options, options->text, "store the id '" + options->text + "' in the flash");
    }
    if (clear.Given()) return RunStore(context, *options, "", "remove the id from the flash");
    return RunGet(context);
  };
}

CommandRun AddSerialCommand(const Command& app) {
  app.AddCommand("serial", "Show the serial number");
  return RunSerial;
}

}  // namespace orq::cli
