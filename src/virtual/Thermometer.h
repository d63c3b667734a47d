// What the temperature sensors of the virtual camera answer.
#pragma once

#include <cstdint>

namespace orq {

/// Register of a digital thermometer: 12-bit two's complement in 1/16 °C, left-aligned in 16 bits, most
/// significant byte second.
std::uint16_t ThermometerWord(double celsius);
/// 12-bit count of a 10 kΩ NTC thermistor below a 10 kΩ resistor, left-aligned in 16 bits.
std::uint16_t ThermistorWord(double celsius);

}  // namespace orq
