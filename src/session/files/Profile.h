// What is the same in all files of an observer: telescope, filter, site.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "session/fits/Keywords.h"

namespace orq::session {

/// What a profile may state; of numbers the unit is in the name.
enum class ProfileField : std::uint8_t {
  Observer,
  Telescope,
  FocalLengthMm,
  Filter,
  Site,
  LatitudeDeg,
  LongitudeDeg,
  ElevationM,
};
inline constexpr std::size_t kProfileFields = 8;

/// The observer's profile. Kept as one JSON file, which is the user's configuration directory's unless a program
/// has a place of its own.
class Profile {
 public:
  /// Empty when the environment names no configuration directory.
  static std::string UsersPath();
  /// Empty when nothing is kept at `path`, and where that is empty. Throws Failure (file): damaged, not readable.
  static Profile Load(const std::string& path);
  /// Replaces the file as a whole. Throws Failure (file), also for an empty path.
  void Save(const std::string& path) const;
  /// Throws Failure (file), also for an empty path.
  static void Remove(const std::string& path);

  /// Empty: not stated.
  std::string Text(ProfileField field) const;
  std::optional<double> Number(ProfileField field) const;
  /// Throw Failure (invalid) for what cannot be.
  void SetText(ProfileField field, std::string_view text);
  void SetNumber(ProfileField field, std::optional<double> number);
  /// The keywords for files, all but the observer, without those that `stated` names already.
  std::vector<Keyword> KeywordsBeside(const std::vector<Keyword>& stated) const;

 private:
  using Value = std::variant<std::string, double>;
  std::array<std::optional<Value>, kProfileFields> values_;
};

}  // namespace orq::session
