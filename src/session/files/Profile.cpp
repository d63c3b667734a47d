#include "session/files/Profile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "session/Failure.h"
#include "session/files/SafeFile.h"
#include "settings/XmlStore.h"
#include "support/Text.h"

namespace orq::session {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFileName = "profile.json";
constexpr std::size_t kLargestFile = std::size_t{64} << 10;

/// A field without a unit is text.
struct Field {
  const char* name;
  const char* keyword;
  const char* unit;
  double least;
  double most;
  const char* comment;
};
constexpr std::array<Field, kProfileFields> kFields{{
    {"observer", "OBSERVER", "", 0, 0, "who took the image"},
    {"telescope", "TELESCOP", "", 0, 0, "telescope"},
    {"focal_length", "FOCALLEN", "mm", 1, 1e6, "[mm] focal length of the telescope"},
    {"filter", "FILTER", "", 0, 0, "filter in the light path"},
    {"site", "SITENAME", "", 0, 0, "where the telescope stands"},
    {"latitude", "SITELAT", "deg", -90, 90, "[deg] latitude of the site, north positive"},
    {"longitude", "SITELONG", "deg", -180, 180, "[deg] longitude of the site, east positive"},
    {"elevation", "SITEELEV", "m", -1000, 10000, "[m] elevation of the site"},
}};
constexpr std::size_t kObserver = 0;

bool IsNumber(const Field& field) {
  return field.unit[0] != '\0';
}

/// As reports and the file name it.
std::string KeyOf(const Field& field) {
  return NamedValue{field.name, {}, field.unit}.Key();
}

std::string NamesOfFields() {
  std::vector<std::string> names;
  for (const Field& field : kFields) names.emplace_back(field.name);
  return Join(names);
}

std::string RangeOf(const Field& field) {
  return Format("from %g to %g %s", field.least, field.most, field.unit);
}

bool Fits(const Field& field, double number) {
  return number >= field.least && number <= field.most;
}

double ParseNumber(const Field& field, std::string_view text) {
  double number = 0.0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || !Fits(field, number)) {
    throw Failure(Status::Invalid,
                  std::string(field.name) + " '" + std::string(text) + "' is no number " + RangeOf(field));
  }
  return number;
}

[[noreturn]] void Damaged(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "the profile '" + path + "' cannot be used: " + why +
                                  "; correct it, or start anew with orqcam profile clear");
}

void DemandPlace(const std::string& path) {
  if (path.empty()) {
    throw Failure(Status::File, "there is no place for a profile: set HOME or XDG_CONFIG_HOME");
  }
}

}  // namespace

std::string Profile::UsersPath() {
  const std::string directory = UserConfigDirectory();
  return directory.empty() ? std::string() : (fs::path(directory) / kFileName).string();
}

Profile Profile::Load(const std::string& path) {
  Profile profile;
  if (path.empty()) return profile;
  std::vector<std::uint8_t> bytes;
  const int error = ReadWholeFile(path, kLargestFile, bytes);
  if (error == ENOENT || error == ENOTDIR) return profile;
  if (error != 0) throw Failure(Status::File, "cannot read '" + path + "': " + std::strerror(error));
  const auto json = nlohmann::ordered_json::parse(bytes, nullptr, false);
  if (!json.is_object()) Damaged(path, "it is no JSON object");
  for (const auto& [key, value] : json.items()) {
    const auto field = std::ranges::find(kFields, key, KeyOf);
    if (field == kFields.end()) Damaged(path, "nothing is called '" + key + "'");
    std::optional<Value>& kept = profile.values_[static_cast<std::size_t>(field - kFields.begin())];
    if (IsNumber(*field)) {
      if (!value.is_number() || !Fits(*field, value.get<double>())) {
        Damaged(path, key + " is no number " + RangeOf(*field));
      }
      kept = value.get<double>();
    } else {
      if (!value.is_string()) Damaged(path, key + " is no text");
      try {
        CheckTextValue(value.get<std::string>(), key);
      } catch (const Failure& reason) {
        Damaged(path, reason.what());
      }
      kept = value.get<std::string>();
    }
  }
  return profile;
}

void Profile::Save(const std::string& path) const {
  DemandPlace(path);
  std::error_code none;
  fs::create_directories(fs::path(path).parent_path(), none);  // what is wrong shows in writing
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const NamedValue& field : Fields()) {
    std::visit([&](const auto& value) { json[field.Key()] = value; }, field.value);
  }
  const std::string text = json.dump(2) + "\n";
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  const int error = PutFile(path, bytes, Existing::Overwrite, Durability::Synced);
  if (error != 0) CannotWrite(path, error);
}

void Profile::Remove(const std::string& path) {
  DemandPlace(path);
  if (unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR) return;
  throw Failure(Status::File, "cannot remove '" + path + "': " + std::strerror(errno));
}

void Profile::Set(std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos) {
    throw Failure(Status::Invalid, "'" + std::string(word) + "' is no field of the profile: write NAME=VALUE");
  }
  std::string name = Lower(word.substr(0, equals));
  std::ranges::replace(name, '-', '_');
  const std::string_view text = word.substr(equals + 1);
  const auto field =
      std::ranges::find(kFields, name, [](const Field& each) { return std::string_view(each.name); });
  if (field == kFields.end()) {
    throw Failure(Status::Invalid, "unknown field '" + name + "' of the profile; there are " + NamesOfFields());
  }
  std::optional<Value>& value = values_[static_cast<std::size_t>(field - kFields.begin())];
  if (text.empty()) {
    value.reset();
  } else if (IsNumber(*field)) {
    value = ParseNumber(*field, text);
  } else {
    CheckTextValue(text, name);
    value = std::string(text);
  }
}

NamedValues Profile::Fields() const {
  NamedValues fields;
  for (std::size_t i = 0; i < kProfileFields; ++i) {
    if (!values_[i]) continue;
    std::visit(
        [&](const auto& value) {
          fields.push_back({kFields[i].name, value, kFields[i].unit});
        },
        *values_[i]);
  }
  return fields;
}

std::vector<Keyword> Profile::KeywordsBeside(const std::vector<Keyword>& stated) const {
  std::vector<Keyword> keywords;
  for (std::size_t i = 0; i < kProfileFields; ++i) {
    const Field& field = kFields[i];
    const bool given = std::ranges::find(stated, field.keyword, &Keyword::name) != stated.end();
    if (i == kObserver || !values_[i] || given) continue;
    Keyword keyword{.name = field.keyword, .value = {}, .comment = {}};
    std::visit([&](const auto& value) { keyword.value = value; }, *values_[i]);
    const auto* const text = std::get_if<std::string>(&*values_[i]);
    if (text == nullptr || CommentFits(*text, field.comment)) keyword.comment = field.comment;
    keywords.push_back(std::move(keyword));
  }
  return keywords;
}

std::string Profile::Observer() const {
  return values_[kObserver] ? std::get<std::string>(*values_[kObserver]) : std::string();
}

}  // namespace orq::session
