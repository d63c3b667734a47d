// What others may know of the settings file.
#pragma once

#include <cstdint>
#include <string>

namespace orq {

inline constexpr const char* kSettingsFile = "ORQconfig.xml";
/// The key path of a camera's settings is this and its model's `settingsName`.
inline constexpr const char* kSettingsKeyPrefix = "software\\";
/// The file's name for the store; `folder` as in `SettingsState`.
inline std::string SettingsFileIn(const std::string& folder) {
  return folder.empty() ? kSettingsFile : folder + '/' + kSettingsFile;
}

/// Nobody wants to wait for an exposure that was forgotten: a longer one is loaded as this.
inline constexpr std::uint64_t kLongestLoadedExposureUs = 100'000;

}  // namespace orq
