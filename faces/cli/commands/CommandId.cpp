// orqcam id, orqcam serial: which camera it is.
#include <algorithm>
#include <array>
#include <memory>

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
  Session session(context);
  const std::string serial = session.Serial();
  if (serial.empty()) session.Fail("the camera gives no serial number");
  Report report;
  report.Add("serial", serial);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddIdCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("id", "Show or change the id that tells cameras of one model apart");
  command->require_subcommand(1);
  auto options = std::make_shared<IdOptions>();
  command->add_subcommand("get", "Show the id")->fallthrough();
  CLI::App* set = command->add_subcommand("set", "Store an id of up to 8 characters: id set guider");
  CLI::App* clear = command->add_subcommand("clear", "Remove the id");
  set->add_option("TEXT", options->text, "The new id")->required();
  for (CLI::App* each : {set, clear}) {
    each->fallthrough();
    AddOverwriteOptions(*each, options->overwrite);
  }
  return [options, set, clear](const Context& context) {
    if (set->parsed()) {
      return RunStore(context, *options, IdOf(options->text), "store the id '" + options->text + "' in the flash");
    }
    if (clear->parsed()) return RunStore(context, *options, _ORQ_ID{}, "remove the id from the flash");
    return RunGet(context);
  };
}

CommandRun AddSerialCommand(CLI::App& app) {
  app.add_subcommand("serial", "Show the serial number");
  return RunSerial;
}

}  // namespace orq::cli
