// What is the same in all files of an observer: telescope, filter, site.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "options/Keywords.h"
#include "output/Output.h"

namespace orq::cli {

inline constexpr std::size_t kProfileFields = 8;

/// The observer's profile. Kept as one JSON file in the user's configuration directory.
class Profile {
 public:
  /// Empty when the environment names no configuration directory.
  static std::string Path();
  /// Empty when nothing is kept. Throws CliError: damaged, not readable.
  static Profile Load();
  /// Replaces the file as a whole. Throws CliError.
  void Save() const;
  /// Throws CliError.
  static void Remove();

  /// "telescope=Newton 150/750"; an empty value forgets. Throws CliError (usage) for other names and for values
  /// that cannot be.
  void Set(std::string_view word);
  /// What is stated, in the order of the fields.
  void AddTo(Report& report) const;
  /// The keywords for files, all but the observer, without those that `stated` names already.
  std::vector<Keyword> KeywordsBeside(const std::vector<Keyword>& stated) const;
  std::string Observer() const;

 private:
  using Value = std::variant<std::string, double>;
  std::array<std::optional<Value>, kProfileFields> values_;
};

}  // namespace orq::cli
