// orqcam help: the same as --help. For programs: which commands there are.
#include <algorithm>
#include <memory>
#include <string>

#include "commands/Commands.h"

namespace orq::cli {

namespace {

// The command and those below it, each with all its words.
void AddCommands(const CLI::App& app, const std::string& before, Json& list) {
  for (const CLI::App* command : app.get_subcommands({})) {
    const std::string words = before + command->get_name();
    list.push_back({{"command", words},
                    {"description", command->get_description()},
                    {"runs", command->get_require_subcommand_min() == 0}});
    AddCommands(*command, words + " ", list);
  }
}

// The parser prints the help of the command that was given: `help` itself, so that the one that is meant is shown
// by its formatter.
ExitCode RunHelp(const Context& context, const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* shown = &app;
  std::string name = app.get_name();
  for (const std::string& word : words) {
    const auto commands = shown->get_subcommands({});
    const auto next = std::ranges::find(commands, word, &CLI::App::get_name);
    if (next == commands.end()) {
      throw CliError(kExitUsage, "there is no command '" + name + " " + word + "'; see " + name + " --help");
    }
    shown = *next;
    name += " " + word;
  }
  if (context.json) {
    Json list = Json::array();
    AddCommands(*shown, shown == &app ? "" : name.substr(app.get_name().size() + 1) + " ", list);
    context.out.Object({{"commands", list}});
    return kExitOk;
  }
  context.out.Line(shown->get_formatter()->make_help(shown, name, CLI::AppFormatMode::Normal));
  return kExitOk;
}

}  // namespace

CommandRun AddHelpCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("help", "Show the help of orqcam, or of a command, like --help");
  auto words = std::make_shared<std::vector<std::string>>();
  command->add_option("COMMAND", *words, "The command: capture, dark take");
  return [words, &app](const Context& context) { return RunHelp(context, app, *words); };
}

}  // namespace orq::cli
