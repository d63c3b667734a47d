// orqcam help: the same as --help. For programs, and for what is made from it: which commands and options there
// are.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "commands/Commands.h"

namespace orq::cli {

namespace {

Json OptionsJson(const Command& command, bool arguments) {
  Json list = Json::array();
  for (const OptionView& option : command.Options()) {
    if (option.argument != arguments) continue;
    Json one = {{"description", option.description}, {"required", option.required}, {"repeated", option.repeated}};
    if (arguments) {
      one["name"] = option.names.front();
    } else {
      one["names"] = option.names;
      one["group"] = option.group;
    }
    if (!option.value.empty()) one["value"] = option.value;
    if (!option.defaultShown.empty()) one["default"] = option.defaultShown;
    if (!option.choices.empty()) one["choices"] = option.choices;
    list.push_back(std::move(one));
  }
  return list;
}

// The command and those below it, each with all its words.
void AddCommands(const Command& above, const std::string& before, Json& list) {
  for (const Command& command : above.Commands()) {
    const std::string words = before + command.Name();
    list.push_back({{"command", words},
                    {"description", command.Description()},
                    {"group", command.Heading()},
                    {"runs", !command.NeedsCommand()},
                    {"arguments", OptionsJson(command, true)},
                    {"options", OptionsJson(command, false)}});
    AddCommands(command, words + " ", list);
  }
}

ExitCode RunHelp(const Context& context, const Command& app, const std::vector<std::string>& words) {
  Command shown = app;
  std::string name = app.Name();
  for (const std::string& word : words) {
    const std::vector<Command> commands = shown.Commands();
    const auto next = std::ranges::find(commands, word, &Command::Name);
    if (next == commands.end())
      throw CliError(kExitUsage, "there is no command '" + name + " " + word + "'; see " + name + " --help");
    shown = *next;
    name += " " + word;
  }
  if (context.json) {
    Json list = Json::array();
    AddCommands(shown, words.empty() ? "" : name.substr(app.Name().size() + 1) + " ", list);
    context.out.Object({{"commands", list}, {"options", OptionsJson(app, false)}});
    return kExitOk;
  }
  context.out.Line(shown.HelpUnder(name));
  return kExitOk;
}

}  // namespace

CommandRun AddHelpCommand(const Command& app) {
  const Command command = app.AddCommand("help", "Show the help of orqcam, or of a command, like --help");
  auto words = std::make_shared<std::vector<std::string>>();
  command.AddOption("COMMAND", *words, "The command: capture, dark take");
  return [words, app](const Context& context) { return RunHelp(context, app, *words); };
}

}  // namespace orq::cli
