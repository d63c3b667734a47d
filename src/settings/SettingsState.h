// The camera object's fields that only the settings file uses.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "support/threads/Relaxed.h"

namespace orq {

/// What becomes of a camera's settings by itself; `LoadSetting` and `SaveSetting` can be called at any time.
enum class SettingsUse : std::uint8_t {
  Off,          ///< never loaded, never saved
  Load,         ///< loaded when the camera object is made
  LoadAndKeep,  ///< and saved when a video is stopped, and when a camera is closed after single exposures
};

/// What becomes of a camera's settings, and where they lie.
struct SettingsChoice {
  SettingsChoice(SettingsUse chosen) : use(chosen) {}  // NOLINT(google-explicit-constructor): most name no folder
  SettingsChoice(SettingsUse chosen, std::string where) : use(chosen), folder(std::move(where)) {}

  SettingsUse use;
  std::string folder;  ///< from the root on; empty: where the store's relative names lie
};

struct SettingsState {
  SettingsUse settingsUse = SettingsUse::LoadAndKeep;  ///< set before the camera is opened, as the next one
  std::string settingsFolder;                          ///< of the settings file; empty: the store decides
  std::unique_ptr<char[]> subKeyPath;                  ///< 256 bytes, made on first use
  std::string settingsName;                            ///< name of the model's sub-key; set by the model
  Relaxed<std::int32_t> usb3Bandwidth{0};  ///< default bandwidth percent on a USB 3 host; "FPSPercentageUSB3"
  Relaxed<float> coolPowerPerc{0.0F};      ///< cooler power percent; "CoolPowerPctg"
  Relaxed<std::int32_t> TargetTemp{0};     ///< cooler target, degrees Celsius
  Relaxed<std::uint8_t> AutoBL{0}, OO{0}, EE{0}, OE{0}, EO{0};
  std::array<char, 256> BMPPATH{};  ///< path of the reference BMP file, at most 255 bytes
};

}  // namespace orq
