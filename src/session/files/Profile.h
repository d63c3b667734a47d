// What is the same in all files of an observer: telescope, filter, site.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "session/fits/Keywords.h"
#include "session/text/NamedValue.h"

namespace orq::session {

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

  /// "telescope=Newton 150/750"; an empty value forgets. Throws Failure (invalid) for other names and for values
  /// that cannot be.
  void Set(std::string_view word);
  /// What is stated, in the order of the fields.
  NamedValues Fields() const;
  /// The keywords for files, all but the observer, without those that `stated` names already.
  std::vector<Keyword> KeywordsBeside(const std::vector<Keyword>& stated) const;
  std::string Observer() const;

 private:
  using Value = std::variant<std::string, double>;
  std::array<std::optional<Value>, kProfileFields> values_;
};

}  // namespace orq::session
