// orqcam: the command line.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "options/CommandLine.h"
#include "output/ExitCodes.h"
#include "output/Output.h"
#include "output/Signals.h"
#include "support/Text.h"

namespace orq::cli {
namespace {

constexpr const char* kFooter =
    "The options of orqcam (-c, --json, --strict, --debug, --no-settings) may also follow the command.\n"
    "A camera is named by its number (0), serial:HEX, id:TEXT or virtual:<model>[,option=value...].\n"
    "Exit codes: 0 done, 1 failed or interrupted, 2 wrong command line, 3 no such camera, 4 camera lost.";

// As help lists them; the commands are added in this order.
const std::vector<std::pair<const char*, std::vector<std::string>>> kGroups = {
    {"Cameras", {"list", "info", "id", "serial", "sensor-id", "report"}},
    {"Taking frames", {"capture", "record", "ser", "stream", "trigger", "mode"}},
    {"Better frames", {"dark", "hotpixels"}},
    {"Controls and settings", {"controls", "get", "set", "gain", "settings", "profile"}},
    {"Devices", {"temp", "cooler", "fan", "led", "hub", "guide", "focus", "focus-aid", "gps"}},
    {"On the network", {"serve"}},
    {"For engineers", {"reg", "flash", "dump-controls"}},
    {"Help", {"help"}},
};

// What the library says of its own accord.
void WriteLog(void* /*user*/, std::int32_t /*level*/, const char* line) {
  const std::string text = std::string(line) + "\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

ExitCode Run(int argc, char** argv, Output& out) {
  CommandLine line("orqcam", "Cameras for astronomy: look at them, set them, take pictures.", kFooter,
                   "orqcam " ORQCAM_VERSION);
  const Command app = line.Program();
  Context context{out};
  app.AddOption("-c,--camera", context.camera, "Name of the camera: 0, serial:HEX, id:TEXT or virtual:MODEL")
      .Default("the only one connected");
  app.AddFlag("--json", context.json, "Output for programs");
  app.AddFlag("--strict", context.strict, "A value beyond its limits is an error, not brought within them");
  app.AddFlag("--debug", context.debug, "Write the debug log to standard error");
  bool noSettings = false;
  app.AddFlag("--no-settings", noSettings, "Start from the camera's defaults and keep nothing");

  const std::map<std::string, CommandRun> commands = {
      {"list", AddListCommand(app)},
      {"info", AddInfoCommand(app)},
      {"id", AddIdCommand(app)},
      {"serial", AddSerialCommand(app)},
      {"sensor-id", AddSensorIdCommand(app)},
      {"report", AddReportCommand(app)},
      {"capture", AddCaptureCommand(app)},
      {"record", AddRecordCommand(app)},
      {"ser", AddSerCommand(app)},
      {"stream", AddStreamCommand(app)},
      {"trigger", AddTriggerCommand(app)},
      {"mode", AddModeCommand(app)},
      {"dark", AddDarkCommand(app)},
      {"hotpixels", AddHotPixelsCommand(app)},
      {"controls", AddControlsCommand(app)},
      {"get", AddGetCommand(app)},
      {"set", AddSetCommand(app)},
      {"gain", AddGainCommand(app)},
      {"settings", AddSettingsCommand(app)},
      {"profile", AddProfileCommand(app)},
      {"temp", AddTempCommand(app)},
      {"cooler", AddCoolerCommand(app)},
      {"fan", AddFanCommand(app)},
      {"led", AddLedCommand(app)},
      {"hub", AddHubCommand(app)},
      {"guide", AddGuideCommand(app)},
      {"focus", AddFocusCommand(app)},
      {"focus-aid", AddFocusAidCommand(app)},
      {"gps", AddGpsCommand(app)},
      {"serve", AddServeCommand(app)},
      {"reg", AddRegCommand(app)},
      {"flash", AddFlashCommand(app)},
      {"dump-controls", AddDumpControlsCommand(app)},
      {"help", AddHelpCommand(app)},
  };
  for (const auto& [heading, names] : kGroups) app.Group(heading, names);
  if (const std::optional<std::string> text = line.Parse(argc, argv)) {
    out.Line(*text);
    return kExitOk;
  }
  context.settings = !noSettings;
  orq_log_set(context.debug ? ORQ_LOG_DEBUG : ORQ_LOG_WARNING, WriteLog, nullptr);
  return commands.at(line.Chosen())(context);
}

// Runs `action`; whatever goes wrong becomes one line and an exit code.
template <class Action>
ExitCode Guarded(Action&& action) {
  try {
    return action();
  } catch (const Error& error) {
    ComplainLast(error);
    return ExitCodeOf(error);
  } catch (const std::bad_alloc&) {
    ComplainLast(Error(ORQ_ERROR_MEMORY, "out of memory; take a smaller region"));
  } catch (const std::exception& error) {
    ComplainLast(Error(ORQ_ERROR_INTERNAL, error.what()));
  }
  return kExitFailed;
}

ExitCode RunAndFlush(int argc, char** argv, Output& out) {
  const ExitCode code = Guarded([&] { return Run(argc, argv, out); });
  const ExitCode flushed = Guarded([&] {
    out.Flush();
    return kExitOk;
  });
  return code != kExitOk ? code : flushed;
}

}  // namespace
}  // namespace orq::cli

int main(int argc, char** argv) {
  orq::cli::Output out;
  // Also of a command line that cannot be understood.
  if (std::find(argv + 1, argv + argc, std::string_view("--json")) != argv + argc) orq::cli::SpeakJson();
  orq::cli::InstallSignals();
  return orq::cli::RunAndFlush(argc, argv, out);
}
