#include "devices/Thermistor.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "devices/ThermistorTable.h"

// Where single precision takes over decides between neighbouring pairs at their borders; the roundings below are
// part of the conversion.

namespace orq {
namespace {

// Middle and half width of the first pair, in kOhm.
constexpr double kFirstMiddle = 493.2054;
constexpr double kFirstHalfWidth = 12.4984;

bool InFirstPair(float kiloOhm) {
  return std::abs(static_cast<float>(kiloOhm - kFirstMiddle)) <= kFirstHalfWidth;
}

bool Between(float kiloOhm, const ThermistorPoint& a, const ThermistorPoint& b) {
  const float distance = std::abs(static_cast<float>(kiloOhm - (a.kiloOhm + b.kiloOhm) * 0.5));
  const float halfWidth = std::abs(static_cast<float>(b.kiloOhm - a.kiloOhm) * 0.5F);
  return distance <= halfWidth;
}

/// Index of the second point of the pair around `kiloOhm`; 0 when there is none.
std::size_t FindPair(float kiloOhm) {
  if (InFirstPair(kiloOhm)) return 1;
  const auto around = [kiloOhm](const ThermistorPoint& a, const ThermistorPoint& b) {
    return Between(kiloOhm, a, b);
  };
  const auto* first = std::adjacent_find(RTlist.begin() + 1, RTlist.end(), around);
  return first == RTlist.end() ? 0 : static_cast<std::size_t>(first - RTlist.begin()) + 1;
}

}  // namespace

std::optional<float> ThermistorCelsius(int count, int fullScale, int rref) {
  if (count == fullScale) return std::nullopt;
  const double divider = static_cast<double>(fullScale) - count;
  const auto kiloOhm = static_cast<float>(static_cast<double>(count) * rref / divider);
  const std::size_t pair = FindPair(kiloOhm);
  if (pair == 0) return std::nullopt;
  const ThermistorPoint& a = RTlist[pair - 1];
  const ThermistorPoint& b = RTlist[pair];
  return static_cast<float>(a.celsius + (b.celsius - a.celsius) * (kiloOhm - a.kiloOhm) / (b.kiloOhm - a.kiloOhm));
}

}  // namespace orq
