#include "session/files/Profile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "session/Failure.h"
#include "session/files/SafeFile.h"
#include "session/text/NamedValue.h"
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
bool IsNumber(const Field& field) {
  return field.unit[0] != '\0';
}

/// As reports and the file name it.
std::string KeyOf(const Field& field) {
  return NamedValue{field.name, {}, field.unit}.Key();
}

std::size_t IndexOf(ProfileField field) {
  return static_cast<std::size_t>(field);
}

std::string RangeOf(const Field& field) {
  return Format("from %g to %g %s", field.least, field.most, field.unit);
}

bool Fits(const Field& field, double number) {
  return number >= field.least && number <= field.most;
}

[[noreturn]] void Damaged(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "the profile '" + path + "' cannot be used: " + why +
                                  "; correct it, or start anew with orqcam profile clear");
}

void DemandPlace(const std::string& path) {
  if (path.empty()) throw Failure(Status::File, "there is no place for a profile: set HOME or XDG_CONFIG_HOME");
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
      if (!value.is_number() || !Fits(*field, value.get<double>()))
        Damaged(path, key + " is no number " + RangeOf(*field));
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
  for (std::size_t i = 0; i < kProfileFields; ++i) {
    if (!values_[i]) continue;
    std::visit([&](const auto& value) { json[KeyOf(kFields[i])] = value; }, *values_[i]);
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

std::string Profile::Text(ProfileField field) const {
  const std::optional<Value>& value = values_[IndexOf(field)];
  return value ? std::get<std::string>(*value) : std::string();
}

std::optional<double> Profile::Number(ProfileField field) const {
  const std::optional<Value>& value = values_[IndexOf(field)];
  return value ? std::optional(std::get<double>(*value)) : std::nullopt;
}

void Profile::SetText(ProfileField field, std::string_view text) {
  CheckTextValue(text, kFields[IndexOf(field)].name);
  values_[IndexOf(field)] = text.empty() ? std::nullopt : std::optional<Value>(std::string(text));
}

void Profile::SetNumber(ProfileField field, std::optional<double> number) {
  const Field& known = kFields[IndexOf(field)];
  if (number && !Fits(known, *number)) {
    throw Failure(Status::Invalid,
                  Format("%s %s is not ", known.name, orq::Number(*number).c_str()) + RangeOf(known));
  }
  values_[IndexOf(field)] = number;
}

std::vector<Keyword> Profile::KeywordsBeside(const std::vector<Keyword>& stated) const {
  std::vector<Keyword> keywords;
  for (std::size_t i = 0; i < kProfileFields; ++i) {
    const Field& field = kFields[i];
    const bool given = std::ranges::find(stated, field.keyword, &Keyword::name) != stated.end();
    if (i == IndexOf(ProfileField::Observer) || !values_[i] || given) continue;
    Keyword keyword{.name = field.keyword, .value = {}, .comment = {}};
    std::visit([&](const auto& value) { keyword.value = value; }, *values_[i]);
    const auto* const text = std::get_if<std::string>(&*values_[i]);
    if (text == nullptr || CommentFits(*text, field.comment)) keyword.comment = field.comment;
    keywords.push_back(std::move(keyword));
  }
  return keywords;
}

}  // namespace orq::session
