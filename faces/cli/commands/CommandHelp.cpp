// orqcam help: the same as --help.
#include <memory>

#include "commands/Commands.h"

namespace orq::cli {

CommandRun AddHelpCommand(const Command& app) {
  const Command command = app.AddCommand("help", "Show the help of orqcam, or of a command, like --help");
  auto words = std::make_shared<std::vector<std::string>>();
  command.AddOption("COMMAND", *words, "The command: capture, dark take");
  return [words, app](const Context& context) {
    context.out.Line(app.HelpOf(*words));
    return kExitOk;
  };
}

}  // namespace orq::cli
