// orqcam profile: what is the same in all files of an observer.
#include <memory>

#include "commands/Commands.h"
#include "session/files/Profile.h"

namespace orq::cli {

namespace {

ExitCode Show(const Context& context, const Profile& profile) {
  Report report;
  report.Add(profile.Fields());
  report.Print(context.out, context.json);
  return kExitOk;
}

ExitCode RunSet(const Context& context, const std::vector<std::string>& words) {
  Profile profile = Profile::Load(Profile::UsersPath());
  for (const std::string& word : words) profile.Set(word);
  profile.Save(Profile::UsersPath());
  return Show(context, profile);
}

ExitCode RunClear() {
  Profile::Remove(Profile::UsersPath());
  return kExitOk;
}

}  // namespace

CommandRun AddProfileCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("profile", "Telescope, filter, site and observer for all files");
  command->require_subcommand(0, 1);
  CLI::App* set = command->add_subcommand("set", "State fields, and show the profile");
  CLI::App* clear = command->add_subcommand("clear", "Forget the whole profile");
  for (CLI::App* each : {set, clear}) each->fallthrough();
  auto words = std::make_shared<std::vector<std::string>>();
  set->add_option(
         "NAME=VALUE", *words,
         "observer, telescope, focal_length (mm), filter, site, latitude, longitude (degrees, north and east "
         "positive), elevation (m); an empty value forgets")
      ->required();
  return [words, set, clear](const Context& context) {
    if (set->parsed()) return RunSet(context, *words);
    return clear->parsed() ? RunClear() : Show(context, Profile::Load(Profile::UsersPath()));
  };
}

}  // namespace orq::cli
