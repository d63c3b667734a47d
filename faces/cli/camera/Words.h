// What users call what the library numbers.
#pragma once

#include <orqcam/orqcam.h>

#include <array>
#include <cstdint>

namespace orq::cli {

/// By ORQ_FORMAT_...
inline constexpr std::array kFormatNames = {"raw8", "rgb24", "raw16", "y8"};

constexpr const char* SpeedName(std::int32_t speed) {
  return speed == ORQ_SPEED_USB3 ? "USB 3" : "USB 2";
}

}  // namespace orq::cli
