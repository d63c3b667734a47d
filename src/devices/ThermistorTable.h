// The resistance curve of the cameras' 10 kOhm thermistor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace orq {

/// One point of the curve.
struct ThermistorPoint {
  std::int32_t celsius;  ///< whole degrees
  double kiloOhm;
};

/// From -50 to 113 degrees Celsius in steps of one; resistances fall strictly.
extern const std::array<ThermistorPoint, 164> RTlist;

struct TemperatureRange {
  std::int32_t lowest;   ///< degrees Celsius
  std::int32_t highest;  ///< degrees Celsius
};

/// Lowest and highest temperature of the curve. Both start at -50 and the scan leaves the first point out.
TemperatureRange ThermistorRange();

}  // namespace orq
