// The user's file of settings, whichever cameras they are of.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orq::session {

/// One value that is kept.
struct KeptSetting {
  std::string owner;  ///< whose: the model's name, of virtual ones with "virtual " in front
  std::string name;
  std::variant<std::int64_t, std::string> value;
  std::string unit;  ///< empty: none
};

/// The file. Throws Failure (File) when the environment names no place for it.
std::string SettingsPath();
/// What is in it, owner by owner. Throws Failure (File): damaged, not readable.
std::vector<KeptSetting> KeptSettings();
/// Forgets the settings of one owner, or of all. Throws Failure (File).
void ForgetSettings(const std::optional<std::string>& owner);
/// Whose settings the camera of that name has (empty: the only one that is plugged in), which is not opened.
/// Throws Failure: a name that means none (Invalid, NotFound).
std::string SettingsOwner(std::string_view cameraName);

}  // namespace orq::session
