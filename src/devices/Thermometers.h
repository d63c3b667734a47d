// The words of the cameras' temperature chips and converters. `first` and `second` are the two bytes of a reading
// in the order in which the camera sends them. Any-thread.
#pragma once

#include <cstdint>
#include <optional>

namespace orq {

/// TMP100, degrees Celsius, -128 to 127.9375. Nothing for a reading of exactly 0, which the chip also gives before
/// its first conversion.
std::optional<float> Tmp100Celsius(std::uint8_t first, std::uint8_t second);

/// TMP451, degrees Celsius, never negative.
float Tmp451Celsius(std::uint8_t first, std::uint8_t second);

/// ADC081, 8-bit count.
std::uint8_t Adc081Count(std::uint8_t first, std::uint8_t second);

/// AD7142, 12-bit count.
int Ad7142Count(std::uint8_t first, std::uint8_t second);

/// ADS1014, 12-bit count.
int Ads1014Count(std::uint8_t first, std::uint8_t second);
/// Volts at the ADS1014's input for a count of 0 to 4095.
float Ads1014Volts(int count);

}  // namespace orq
