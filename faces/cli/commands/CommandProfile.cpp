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

CommandRun AddProfileCommand(const Command& app) {
  const Command command = app.AddCommand("profile", "Telescope, filter, site and observer for all files");
  command.AllowOneCommand();
  const Command set = command.AddCommand("set", "State fields, and show the profile");
  const Command clear = command.AddCommand("clear", "Forget the whole profile");
  auto words = std::make_shared<std::vector<std::string>>();
  set.AddOption(
         "NAME=VALUE", *words,
         "observer, telescope, focal_length (mm), filter, site, latitude, longitude (degrees, north and east "
         "positive), elevation (m); an empty value forgets")
      .Required();
  return [words, set, clear](const Context& context) {
    if (set.Given()) return RunSet(context, *words);
    return clear.Given() ? RunClear() : Show(context, Profile::Load(Profile::UsersPath()));
  };
}

}  // namespace orq::cli
