// The command line: its commands, their options and their help. The one door to the parser's library, whose
// headers take longer to compile than any command.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace orq::cli {

/// An option or an argument of a command; a handle, good for as long as the command line is.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option Required() const;
  /// What help shows as the value of who does not give it.
  Option Default(const std::string& shown) const;
  /// An empty value is a wrong command line.
  Option NotEmpty() const;
  Option Needs(Option other) const;
  Option Excludes(Option other) const;
  Option Values(int least, int most) const;
  /// One value each time that it is given.
  Option OneValueEach() const;

 private:
  CLI::Option* option_;
};

/// An option or an argument as help tells it.
struct OptionView {
  std::vector<std::string> names;  ///< "-e", "--exposure"; of an argument its name alone
  std::string value;               ///< "TIME"; empty: a switch, or an argument
  std::string description;
  std::string defaultShown;
  std::string group;
  std::vector<std::string> choices;  ///< empty: anything
  bool argument = false;
  bool required = false;
  bool repeated = false;
};

/// A command, or the program itself; a handle like `Option`.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// A command below this one; the options of this one may also follow it.
  Command AddCommand(const std::string& name, const std::string& help) const;
  /// `names`: "-n,--count", or without dashes an argument. What is given is stored in `value` by
  /// `CommandLine::Parse`.
  Option AddOption(const std::string& names, std::string& value, const std::string& help) const;
  Option AddOption(const std::string& names, std::optional<std::string>& value, const std::string& help) const;
  Option AddOption(const std::string& names, std::vector<std::string>& values, const std::string& help) const;
  Option AddFlag(const std::string& names, bool& given, const std::string& help) const;
  /// One of the commands below it must be given.
  void RequireCommand() const;
  /// One of them may be given, and no more.
  void AllowOneCommand() const;

  /// Whether it was given.
  bool Given() const;
  std::string Name() const;
  std::string Description() const;
  /// Heading under which the program's help lists those of its commands.
  void Group(const std::string& heading, const std::vector<std::string>& commands) const;
  std::string Heading() const;
  /// Its own options and arguments, but for help and version.
  std::vector<OptionView> Options() const;
  /// Whether one of the commands below it must be given.
  bool NeedsCommand() const;
  std::vector<Command> Commands() const;
  /// Its help, as that of `name`: "orqcam dark take".
  std::string HelpUnder(const std::string& name) const;

 private:
  CLI::App* app_;
};

/// The whole of it.
class CommandLine {
 public:
  /// `version` is the whole line that --version prints.
  CommandLine(const std::string& program, const std::string& help, const std::string& footer,
              const std::string& version);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command Program() const { return Command(*app_); }
  /// The text, where help or the version is asked for; else nothing, and every value is stored. Throws CliError
  /// with one line that says what would have been right.
  std::optional<std::string> Parse(int argc, char** argv);
  /// Name of the command that was given.
  std::string Chosen() const;

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace orq::cli
