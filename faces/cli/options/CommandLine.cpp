#include "options/CommandLine.h"

#include <CLI/CLI.hpp>

#include "options/OptionWords.h"
#include "output/ExitCodes.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

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
    for (const CLI::Option* known : command.get_options())
      if (!known->get_lnames().empty()) names.push_back("--" + known->get_lnames().front());
    return "unknown option " + extras.front() + "; there are " + Join(names);
  }
  if (commandMissing) {
    std::vector<std::string> names;
    for (const CLI::App* known : command.get_subcommands({})) names.push_back(known->get_name());
    const std::string what = extras.empty() ? "a command is missing" : "unknown command '" + extras.front() + "'";
    return what + "; there are " + Join(names);
  }
  if (!extras.empty()) text = "'" + extras.front() + "' is one argument too many";
  for (char& c : text)
    if (c == '\n') c = ' ';
  const std::string name = chosen.empty() ? "" : command.get_name() + " ";
  return text + "; see orqcam " + name + "--help";
}

bool IsOfTheParser(const CLI::Option& option) {
  return option.check_lname("help") || option.check_lname("version");
}

// "dark take"; nothing of the program itself.
std::string PathOf(const CLI::App& app) {
  if (app.get_parent() == nullptr) return "";
  const std::string above = PathOf(*app.get_parent());
  return above.empty() ? app.get_name() : above + " " + app.get_name();
}

const OptionWords* FindWords(const CLI::App& app, const CLI::Option& option) {
  std::vector<std::string> names{option.get_name(true)};
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  const OptionWords* found = nullptr;
  for (const OptionWords& words : AllOptionWords()) {
    for (const std::string& name : names) {
      if (words.option == PathOf(app) + " " + name) return &words;
      if (words.option == name) found = &words;
    }
  }
  return found;
}

// Gives the options of a command, and of those below it, the words that they have everywhere.
void Describe(CLI::App& app) {
  constexpr std::size_t kLong = 15;
  const bool grouped = app.get_options().size() > kLong;
  for (CLI::Option* option : app.get_options()) {
    const OptionWords* words = FindWords(app, *option);
    if (words == nullptr) continue;
    if (!words->value.empty()) option->type_name(std::string(words->value));
    if (grouped && !words->group.empty()) option->group(std::string(words->group));
  }
  for (CLI::App* command : app.get_subcommands({})) Describe(*command);
}

OptionView ViewOf(const CLI::App& app, const CLI::Option& option) {
  OptionView view;
  view.argument = option.get_positional();
  if (view.argument) view.names.push_back(option.get_name(true));
  for (const std::string& name : option.get_snames()) view.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) view.names.push_back("--" + name);
  if (!view.argument && option.get_items_expected_max() > 0) view.value = option.get_type_name();
  view.description = option.get_description();
  view.defaultShown = option.get_default_str();
  view.group = option.get_group();
  view.required = option.get_required();
  view.repeated = option.get_expected_max() > 1;
  const OptionWords* words = FindWords(app, option);
  if (words != nullptr && !words->choices.empty())
    view.choices = CLI::detail::split(std::string(words->choices), ' ');
  return view;
}

}  // namespace

// Options ----------------------------------------------------------------------------------------------------

Option Option::Required() const {
  option_->required();
  return *this;
}

Option Option::Default(const std::string& shown) const {
  option_->default_str(shown);
  return *this;
}

// An empty value is most often a script's unset variable; the default is not what it meant.
Option Option::NotEmpty() const {
  option_->check(
      CLI::Validator([](const std::string& value) { return value.empty() ? "a value is missing" : ""; }, ""));
  return *this;
}

Option Option::Needs(Option other) const {
  option_->needs(other.option_);
  return *this;
}

Option Option::Excludes(Option other) const {
  option_->excludes(other.option_);
  return *this;
}

Option Option::Values(int least, int most) const {
  option_->expected(least, most);
  return *this;
}

Option Option::OneValueEach() const {
  option_->allow_extra_args(false);
  return *this;
}

// Commands ---------------------------------------------------------------------------------------------------

Command Command::AddCommand(const std::string& name, const std::string& help) const {
  CLI::App* command = app_->add_subcommand(name, help);
  command->fallthrough();
  return Command(*command);
}

Option Command::AddOption(const std::string& names, std::string& value, const std::string& help) const {
  return Option(*app_->add_option(names, value, help));
}

Option Command::AddOption(const std::string& names, std::optional<std::string>& value,
                          const std::string& help) const {
  return Option(*app_->add_option(names, value, help));
}

Option Command::AddOption(const std::string& names, std::vector<std::string>& values,
                          const std::string& help) const {
  return Option(*app_->add_option(names, values, help));
}

Option Command::AddFlag(const std::string& names, bool& given, const std::string& help) const {
  return Option(*app_->add_flag(names, given, help));
}

void Command::RequireCommand() const {
  app_->require_subcommand(1);
}

void Command::AllowOneCommand() const {
  app_->require_subcommand(0, 1);
}

bool Command::Given() const {
  return app_->parsed();
}

std::string Command::Name() const {
  return app_->get_name();
}

std::string Command::Description() const {
  return app_->get_description();
}

void Command::Group(const std::string& heading, const std::vector<std::string>& commands) const {
  for (const std::string& command : commands) app_->get_subcommand(command)->group(heading);
}

std::string Command::Heading() const {
  return app_->get_group();
}

std::vector<OptionView> Command::Options() const {
  std::vector<OptionView> views;
  for (const CLI::Option* option : app_->get_options())
    if (!IsOfTheParser(*option)) views.push_back(ViewOf(*app_, *option));
  return views;
}

bool Command::NeedsCommand() const {
  return app_->get_require_subcommand_min() > 0;
}

std::vector<Command> Command::Commands() const {
  std::vector<Command> commands;
  for (CLI::App* command : app_->get_subcommands({})) commands.emplace_back(*command);
  return commands;
}

// By the formatter: the parser itself prints the help of the command that was given.
std::string Command::HelpUnder(const std::string& name) const {
  return app_->get_formatter()->make_help(app_, name, CLI::AppFormatMode::Normal);
}

// The whole --------------------------------------------------------------------------------------------------

CommandLine::CommandLine(const std::string& program, const std::string& help, const std::string& footer,
                         const std::string& version)
    : app_(std::make_unique<CLI::App>(help, program)) {
  app_->footer(footer);
  app_->require_subcommand(1);
  app_->set_version_flag("--version", version);
}

CommandLine::~CommandLine() = default;

std::optional<std::string> CommandLine::Parse(int argc, char** argv) {
  Describe(*app_);
  try {
    app_->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return app_->help();
  } catch (const CLI::CallForVersion& version) {
    return version.what();
  } catch (const CLI::ParseError& error) {
    throw CliError(kExitUsage, UsageText(*app_, error));
  }
  return std::nullopt;
}

std::string CommandLine::Chosen() const {
  return app_->get_subcommands().front()->get_name();
}

}  // namespace orq::cli
