// From converter counts to the temperature of the cameras' thermistor.
#pragma once

#include <cstdint>
#include <optional>

namespace orq {

inline constexpr int kThermistorCounts8 = 256;    ///< full scale of an 8-bit converter
inline constexpr int kThermistorCounts12 = 4096;  ///< full scale of a 12-bit converter

inline constexpr int kThermistorReferenceKiloOhm = 10;  ///< the resistor above the thermistor, on every camera

/// Degrees Celsius of the thermistor below a resistor of `rref` kOhm, when a converter of `fullScale` counts reads
/// `count`; interpolated between the points of `RTlist`. Nothing when the resistance lies outside the curve, as
/// with an open (`count` = `fullScale`) or shorted thermistor. Any values are accepted. Any-thread.
std::optional<float> ThermistorCelsius(int count, int fullScale, int rref);

}  // namespace orq
