// What the temperature sensors of the virtual camera answer.
#pragma once

#include <cstdint>

namespace orq {

/// Register of a TMP100: 12-bit two's complement in 1/16 °C, left-aligned in 16 bits. Low byte first on the wire,
/// like all words here.
std::uint16_t Tmp100Word(double celsius);
/// Registers of a TMP451: whole degrees in the high byte, sixteenths in the low byte; held to 0 … 255.9375 °C.
std::uint16_t Tmp451Word(double celsius);
/// Count of a 10 kΩ NTC thermistor below a 10 kΩ resistor on a converter of `bits` bits, shifted left by 4.
std::uint16_t ThermistorWord(double celsius, int bits);
/// The image sensor's own thermometer: two's complement in 1/256 °C.
std::uint16_t SensorThermometerWord(double celsius);

}  // namespace orq
