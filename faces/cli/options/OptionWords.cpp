#include "options/OptionWords.h"

namespace orq::cli {

namespace {

constexpr std::string_view kImage = "Exposure and image";
constexpr std::string_view kTriggers = "Triggers";
constexpr std::string_view kCorrections = "Corrections";
constexpr std::string_view kCooling = "Cooling";
constexpr std::string_view kAutomatic = "Automatic control";
constexpr std::string_view kFiles = "Files";

constexpr OptionWords kWords[] = {
    {"--camera", "CAMERA", "", ""},
    {"--exposure", "TIME", kImage, ""},
    {"--gain", "N", kImage, ""},
    {"--offset", "N", kImage, ""},
    {"--region", "X,Y,W,H", kImage, ""},
    {"--center", "W,H", kImage, ""},
    {"--preset", "PRESET", kImage, "full 1280x720 640x480 planet"},
    {"--bin", "N", kImage, "1 2 3 4"},
    {"--format", "FORMAT", kImage, "raw8 raw16 rgb24 y8"},
    {"--flip", "WAY", kImage, "none h v both"},
    {"--hardware-bin", "", kImage, ""},
    {"--no-hardware-bin", "", kImage, ""},
    {"--mono-bin", "", kImage, ""},
    {"--gamma", "N", kImage, ""},
    {"--time-mark", "", kImage, ""},
    {"--mode", "MODE", kTriggers, "free software rising falling software-level high low"},
    {"--out-a", "DELAY,DURATION[,low]", kTriggers, ""},
    {"--out-b", "DELAY,DURATION[,low]", kTriggers, ""},
    {"--timeout", "TIME", kTriggers, ""},
    {"cooler --timeout", "SECONDS", "", ""},
    {"--dark", "FILE", kCorrections, ""},
    {"--no-dark", "", kCorrections, ""},
    {"--hot-pixels", "", kCorrections, ""},
    {"--no-hot-pixels", "", kCorrections, ""},
    {"--cool", "CELSIUS", kCooling, ""},
    {"--cool-wait", "", kCooling, ""},
    {"--cool-timeout", "SECONDS", kCooling, ""},
    {"--keep-cooling", "", kCooling, ""},
    {"--auto-exposure", "", kAutomatic, ""},
    {"--auto-gain", "", kAutomatic, ""},
    {"--auto-wb", "", kAutomatic, ""},
    {"--auto-target", "N", kAutomatic, ""},
    {"--auto-max-exposure", "TIME", kAutomatic, ""},
    {"--auto-max-gain", "N", kAutomatic, ""},
    {"--auto-timeout", "SECONDS", kAutomatic, ""},
    {"--output", "FILE", kFiles, ""},
    {"--form", "FORM", kFiles, "ser cube folder"},
    {"--overwrite", "", kFiles, ""},
    {"--png", "", kFiles, ""},
    {"--keyword", "KEY=VALUE", kFiles, ""},
    {"--object", "NAME", kFiles, ""},
    {"--observer", "NAME", kFiles, ""},
    {"--image-type", "TYPE", kFiles, "light dark bias flat"},
    {"--map", "FILE", "", ""},
    {"--backup", "FOLDER", "", ""},
    {"--count", "N", "", ""},
    {"--frames", "N", "", ""},
    {"--seconds", "SECONDS", "", ""},
    {"--size", "SIZE", "", ""},
    {"--ring", "MB", "", ""},
    {"--interval", "SECONDS", "", ""},
    {"--curve", "FIRST,LAST,STEP", "", ""},
    {"--retries", "N", "", ""},
    {"--listen", "ADDRESS", "", ""},
    {"--port", "PORT", "", ""},
    {"--host", "NAME", "", ""},
    {"--token", "TOKEN", "", ""},
    {"--token-file", "FILE", "", ""},
    {"--alpaca-allow", "BLOCK", "", ""},
    {"--folder", "FOLDER", "", ""},
    {"--client-seconds", "SECONDS", "", ""},
    {"cooler ACTION", "", "", "status on off"},
    {"guide DIRECTION", "", "", "north south east west"},
    {"profile set NAME=VALUE", "", "",
     "observer= telescope= focal_length= filter= site= latitude= longitude= elevation="},
    {"reg read CHIP", "", "", "fpga sensor"},
    {"reg write CHIP", "", "", "fpga sensor"},
};

}  // namespace

std::span<const OptionWords> AllOptionWords() {
  return kWords;
}

}  // namespace orq::cli
