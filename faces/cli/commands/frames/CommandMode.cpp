// orqcam mode: the camera modes that a camera offers.
#include "camera/Device.h"
#include "commands/Commands.h"
#include "options/TriggerOptions.h"

namespace orq::cli {

namespace {

ExitCode RunMode(const Context& context) {
  Device camera(context);
  const std::uint32_t offered = camera->triggerModes();
  Table table = {{"mode", "name", "meaning"}};
  Json list = Json::array();
  for (std::size_t mode = 0; mode < ModeNames().size(); ++mode) {
    if ((offered >> mode & 1U) == 0) continue;
    const ModeName& known = ModeNames()[mode];
    table.push_back({std::to_string(mode), known.name, known.meaning});
    list.push_back({{"mode", mode}, {"name", known.name}, {"meaning", known.meaning}});
  }
  if (context.json)
    context.out.Object(list);
  else
    PrintTable(context.out, table);
  return kExitOk;
}

}  // namespace

CommandRun AddModeCommand(const Command& app) {
  app.AddCommand("mode",
                 "Show the camera modes that a camera offers. A mode holds only while a command uses the camera, "
                 "which runs freely again afterwards: choose it with --mode of capture, stream or trigger");
  return RunMode;
}

}  // namespace orq::cli
