// What an option means is the same in every command: how its value is called, what may be chosen, where long help
// lists it.
#pragma once

#include <span>
#include <string_view>

namespace orq::cli {

struct OptionWords {
  std::string_view option;  ///< "--exposure"; where commands differ, "cooler --timeout"; an argument's name
  std::string_view value;   ///< as help shows it; empty: a switch. FILE, FOLDER and CAMERA are completed by shells
  std::string_view group;   ///< heading in help that is long; empty: among the others
  std::string_view choices;  ///< separated by blanks; empty: anything
};

/// Every option that has a value, and every one that long help groups.
std::span<const OptionWords> AllOptionWords();

}  // namespace orq::cli
