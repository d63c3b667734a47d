// orqcam: the command line.
#include <algorithm>
#include <exception>
#include <map>
#include <new>
#include <string>
#include <string_view>

#include "commands/Commands.h"
#include "output/ExitCodes.h"
#include "output/Output.h"
#include "output/Signals.h"
#include "settings/XmlStore.h"
#include "support/Text.h"

namespace orq::cli {
namespace {

constexpr const char* kFooter =
    "The options of orqcam (-c, --json, --strict, --debug, --no-settings) may also follow the command.\n"
    "A camera is named by its number (0), serial:HEX, id:TEXT or virtual:<model>[,option=value...].\n"
    "Exit codes: 0 done, 1 failed or interrupted, 2 wrong command line, 3 no such camera, 4 camera lost.";

// The parser's complaint in one line, with what would have been right.
std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
  std::string text = error.what();
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  const CLI::App& command = chosen.empty() ? app : *chosen.front();
  const std::vector<std::string> extras = app.remaining(true);
  const bool option = !extras.empty() && extras.front().starts_with('-');
  const auto is = [&error](CLI::ExitCodes kind) { return error.get_exit_code() == static_cast<int>(kind); };
  const bool commandMissing = (is(CLI::ExitCodes::RequiredError) || is(CLI::ExitCodes::ExtrasError)) &&
                              command.get_require_subcommand_min() > 0 && command.get_subcommands().empty();
  if (option) {
    std::vector<std::string> names;
    for (const CLI::Option* known : command.get_options()) {
      if (!known->get_lnames().empty()) names.push_back("--" + known->get_lnames().front());
    }
    return "unknown option " + extras.front() + "; there are " + Join(names);
  }
  if (commandMissing) {
    std::vector<std::string> names;
    for (const CLI::App* known : command.get_subcommands({})) names.push_back(known->get_name());
    const std::string what = extras.empty() ? "a command is missing" : "unknown command '" + extras.front() + "'";
    return what + "; there are " + Join(names);
  }
  if (!extras.empty()) text = "'" + extras.front() + "' is one argument too many";
  for (char& c : text) {
    if (c == '\n') c = ' ';
  }
  const std::string name = chosen.empty() ? "" : command.get_name() + " ";
  return text + "; see orqcam " + name + "--help";
}

// Settings belong to the user; without a place for them there are none.
void ChooseSettings(const Context& context) {
  const std::string directory = UserConfigDirectory();
  SetXmlDirectory(directory);
  EnableXmlStore(context.settings && !directory.empty());
}

ExitCode Run(int argc, char** argv, Output& out) {
  CLI::App app("Cameras for astronomy: look at them, set them, take pictures.", "orqcam");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", "orqcam " ORQCAM_VERSION);
  Context context{out};
  app.add_option("-c,--camera", context.camera, "Name of the camera: 0, serial:HEX, id:TEXT or virtual:MODEL")
      ->default_str("the only one connected");
  app.add_flag("--json", context.json, "Output for programs");
  app.add_flag("--strict", context.strict, "A value beyond its limits is an error, not brought within them");
  app.add_flag("--debug", context.debug, "Write the debug log to standard error");
  bool noSettings = false;
  app.add_flag("--no-settings", noSettings, "Start from the camera's defaults and keep nothing");

  const std::map<std::string, CommandRun> commands = {
      {"list", AddListCommand(app)},
      {"info", AddInfoCommand(app)},
      {"controls", AddControlsCommand(app)},
      {"get", AddGetCommand(app)},
      {"set", AddSetCommand(app)},
      {"capture", AddCaptureCommand(app)},
      {"stream", AddStreamCommand(app)},
      {"mode", AddModeCommand(app)},
      {"trigger", AddTriggerCommand(app)},
      {"reg", AddRegCommand(app)},
      {"id", AddIdCommand(app)},
      {"serial", AddSerialCommand(app)},
      {"flash", AddFlashCommand(app)},
      {"hotpixels", AddHotPixelsCommand(app)},
      {"settings", AddSettingsCommand(app)},
      {"profile", AddProfileCommand(app)},
      {"temp", AddTempCommand(app)},
      {"cooler", AddCoolerCommand(app)},
      {"fan", AddFanCommand(app)},
      {"led", AddLedCommand(app)},
      {"hub", AddHubCommand(app)},
      {"guide", AddGuideCommand(app)},
      {"focus", AddFocusCommand(app)},
      {"sensor-id", AddSensorIdCommand(app)},
      {"gps", AddGpsCommand(app)},
      {"dark", AddDarkCommand(app)},
      {"dump-controls", AddDumpControlsCommand(app)},
      {"report", AddReportCommand(app)},
      {"help", AddHelpCommand(app)},
  };
  // The options of the program may also follow the command.
  for (CLI::App* command : app.get_subcommands({})) command->fallthrough();

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    out.Line(app.help());
    return kExitOk;
  } catch (const CLI::CallForVersion& version) {
    out.Line(version.what());
    return kExitOk;
  } catch (const CLI::ParseError& error) {
    throw CliError(kExitUsage, UsageText(app, error));
  }
  context.settings = !noSettings;
  ChooseSettings(context);
  return commands.at(app.get_subcommands().front()->get_name())(context);
}

// Runs `action`; whatever goes wrong becomes one line and an exit code.
template <class Action>
ExitCode Guarded(Action&& action) {
  try {
    return action();
  } catch (const Failure& failure) {
    ComplainLast(failure);
    return ExitCodeOf(failure);
  } catch (const std::bad_alloc&) {
    ComplainLast({Status::Memory, "out of memory; take a smaller region"});
  } catch (const std::exception& error) {
    ComplainLast({Status::Internal, error.what()});
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
