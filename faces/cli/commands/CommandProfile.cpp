// orqcam profile: what is the same in all files of an observer.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>

#include "commands/Commands.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using ProfileText = char (orq_profile::*)[sizeof orq_profile::observer];
using ProfileNumber = double orq_profile::*;

/// Either a text or a number with a unit.
struct Field {
  std::string_view name;
  ProfileText text;
  ProfileNumber number;
  const char* unit;
};
constexpr std::array<Field, 8> kFields{{
    {"observer", &orq_profile::observer, nullptr, ""},
    {"telescope", &orq_profile::telescope, nullptr, ""},
    {"focal_length", nullptr, &orq_profile::focal_length_mm, "mm"},
    {"filter", &orq_profile::filter, nullptr, ""},
    {"site", &orq_profile::site, nullptr, ""},
    {"latitude", nullptr, &orq_profile::latitude_deg, "deg"},
    {"longitude", nullptr, &orq_profile::longitude_deg, "deg"},
    {"elevation", nullptr, &orq_profile::elevation_m, "m"},
}};

ExitCode Show(const Context& context) {
  const orq_profile stated = profile();
  Report report;
  for (const Field& field : kFields) {
    if (field.text != nullptr) {
      const std::string text = stated.*field.text;
      if (!text.empty()) report.Add(std::string(field.name), text);
    } else if (!std::isnan(stated.*field.number)) {
      report.Add(std::string(field.name), stated.*field.number, field.unit);
    }
  }
  report.Print(context.out, context.json);
  return kExitOk;
}

const Field& FieldOf(const std::string& name) {
  const auto* const field = std::ranges::find(kFields, name, &Field::name);
  if (field != kFields.end()) return *field;
  std::vector<std::string> names;
  names.reserve(kFields.size());
  for (const Field& known : kFields) names.emplace_back(known.name);
  throw CliError(kExitUsage, "unknown field '" + name + "' of the profile; there are " + Join(names));
}

double ParseNumber(const Field& field, std::string_view text) {
  if (text.empty()) return std::numeric_limits<double>::quiet_NaN();
  double number = 0.0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || std::isnan(number))
    throw CliError(kExitUsage, std::string(field.name) + " '" + std::string(text) + "' is no number");
  return number;
}

// "telescope=Newton 150/750"; an empty value forgets.
void State(orq_profile& stated, std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos)
    throw CliError(kExitUsage, "'" + std::string(word) + "' is no field of the profile: write NAME=VALUE");
  std::string name = Lower(word.substr(0, equals));
  std::ranges::replace(name, '-', '_');
  const std::string_view value = word.substr(equals + 1);
  const Field& field = FieldOf(name);
  if (field.text == nullptr) {
    stated.*field.number = ParseNumber(field, value);
    return;
  }
  auto& text = stated.*field.text;
  if (value.size() >= sizeof text) throw CliError(kExitUsage, name + " has room for 68 characters");
  std::ranges::fill(text, '\0');
  std::ranges::copy(value, text);
}

ExitCode RunSet(const Context& context, const std::vector<std::string>& words) {
  orq_profile stated = profile();
  for (const std::string& word : words) State(stated, word);
  profile(stated);
  return Show(context);
}

ExitCode RunClear() {
  clearProfile();
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
    return clear.Given() ? RunClear() : Show(context);
  };
}

}  // namespace orq::cli
