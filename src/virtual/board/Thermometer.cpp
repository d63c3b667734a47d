#include "virtual/board/Thermometer.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

// Steinhart-Hart coefficients of the thermistor, for kΩ.
constexpr double kA = 2.775055121e-3;
constexpr double kB = 2.497166339e-4;
constexpr double kC = 3.249911105e-7;

/// Resistance in kΩ: the root of A + B·ln R + C·(ln R)³ = 1/T, which grows with R.
double ThermistorKiloOhm(double celsius) {
  const double target = 1.0 / (celsius + 273.15);
  double low = -5.0;
  double high = 10.0;
  for (int i = 0; i < 60; ++i) {
    const double x = (low + high) / 2;
    (kA + kB * x + kC * x * x * x < target ? low : high) = x;
  }
  return std::exp(low);
}

}  // namespace

std::uint16_t Tmp100Word(double celsius) {
  const auto count = static_cast<int>(std::lround(std::clamp(celsius, -128.0, 127.9375) * 16.0));
  return static_cast<std::uint16_t>((count & 0xFFF) << 4);
}

std::uint16_t Tmp451Word(double celsius) {
  const auto sixteenths = static_cast<int>(std::lround(std::clamp(celsius, 0.0, 255.9375) * 16.0));
  return static_cast<std::uint16_t>((sixteenths >> 4) << 8 | (sixteenths & 0xF));
}

std::uint16_t ThermistorWord(double celsius, int bits) {
  constexpr double kReferenceKiloOhm = 10.0;
  const double resistance = ThermistorKiloOhm(celsius);
  const int full = 1 << bits;
  const auto count = static_cast<int>(std::lround(full * resistance / (resistance + kReferenceKiloOhm)));
  return static_cast<std::uint16_t>(std::min(count, full - 1) << 4);
}

std::uint16_t SensorThermometerWord(double celsius) {
  return static_cast<std::uint16_t>(std::lround(std::clamp(celsius, -128.0, 127.996) * 256.0));
}

}  // namespace orq
