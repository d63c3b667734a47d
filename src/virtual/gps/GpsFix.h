// What a GPS receiver knows at a moment.
#pragma once

#include <array>
#include <optional>

#include "virtual/gps/UtcText.h"

namespace orq {

/// Positions stand as the receiver writes them: degrees, minutes, decimals of a minute.
struct GpsFix {
  bool valid = false;  ///< without it nothing below counts
  UtcTime time{};
  std::array<char, 10> latitude{};   ///< ddmm.mmmmm
  std::array<char, 11> longitude{};  ///< dddmm.mmmmm
  char latitudeSide = 'N';           ///< or 'S'
  char longitudeSide = 'E';          ///< or 'W'
  std::optional<int> altitude;       ///< units of 0.1 m
  int satellites = 0;                ///< in use
};

}  // namespace orq
