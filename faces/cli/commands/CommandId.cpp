// orqcam id, orqcam serial: which camera it is.
#include <algorithm>
#include <array>
#include <memory>

#include "camera/Device.h"
#include "camera/FlashWork.h"
#include "commands/Commands.h"

namespace orq::cli {

namespace {

constexpr std::size_t kIdBytes = sizeof(_ORQ_ID::id);

struct IdOptions {
  std::string text;
  OverwriteOptions overwrite;
};

_ORQ_ID IdOf(const std::string& text) {
  const bool plain = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (text.empty() || text.size() > kIdBytes || !plain) {
    throw CliError(kExitUsage,
                   "an id has 1 to 8 plain characters, not '" + text + "'; orqcam id clear removes it");
  }
  _ORQ_ID id{};
  std::ranges::copy(text, id.id);
  return id;
}

void PrintId(const Context& context, Session& session, const std::string& backup) {
  std::array<unsigned char, 1> probe{};
  if (!session.Camera().ReadSPI(probe.data(), 0, 1)) session.Fail("cannot read the id");
  const std::string id = session.UserId();
  Report report;
  report.Add("id", id.empty() ? Json(nullptr) : Json(id));
  if (!backup.empty()) report.Add("backup", backup);
  report.Print(context.out, context.json);
}

ExitCode RunGet(const Context& context) {
  Session session(context);
  PrintId(context, session, {});
  return kExitOk;
}

ExitCode RunStore(const Context& context, const IdOptions& options, const _ORQ_ID& id, const std::string& what) {
  Session session(context);
  const FlashBackup backup = PrepareOverwrite(session, options.overwrite, what);
  StoreId(session, id, backup);
  PrintId(context, session, backup.path);
  return kExitOk;
}

ExitCode RunSerial(const Context& context) {
  const Device camera(context);
  const std::string serial = camera.Info().serial;
  if (serial.empty()) throw CliError(Status::Refused, "the camera gives no serial number");
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
  for (const Command& each : {set, clear}) {
    AddOverwriteOptions(each, options->overwrite);
  }
  return [options, set, clear](const Context& context) {
    if (set.Given()) {
      return RunStore(context, *options, IdOf(options->text), "store the id '" + options->text + "' in the flash");
    }
    if (clear.Given()) return RunStore(context, *options, _ORQ_ID{}, "remove the id from the flash");
    return RunGet(context);
  };
}

CommandRun AddSerialCommand(const Command& app) {
  app.AddCommand("serial", "Show the serial number");
  return RunSerial;
}

}  // namespace orq::cli
