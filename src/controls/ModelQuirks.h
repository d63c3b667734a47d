// What single models do differently from all others and what code below the model table has to know: by product id
// or by name, for an object that no table row stands behind (a model of an application's own) has these two, too.
// Each is a fact about cameras that were sold; none can be derived, and none is a mistake to be repaired.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace orq::quirks {

/// Cameras whose 16-bit samples keep the most significant byte first in memory, by their full names, compared
/// exactly. Automatic control measures the first byte of a sample for these, and the upper half of the host-order
/// value for every other name. Four of them are variants that the model table does not list.
inline constexpr std::array<std::string_view, 7> kHighByteFirstNames{
    "Tavix ORQ-K1C", "Tavix ORQ-K1M",    "Tavix ORQ-K1C-R",  "Tavix ORQ-K1M-R",
    "Tavix ORQ-K2M", "Tavix ORQ-K1C-RC", "Tavix ORQ-K1M-RC",
};

/// Whether automatic control takes the 16-bit frames of this model as most significant byte first.
inline constexpr bool MeasuresHighByteFirst(std::string_view modelName) {
  return std::ranges::find(kHighByteFirstNames, modelName) != kHighByteFirstNames.end();
}

/// The sensor of the K1 family has a stepped gain; the gain of all others counts in units of 0.1 dB. Any name that
/// contains "K1" belongs to the family.
inline constexpr bool HasSteppedGain(std::string_view modelName) {
  return modelName.find("K1") != std::string_view::npos;
}

/// Product ids are handed around in 32 bits; the low 16 count.
inline constexpr std::uint16_t Product(std::int32_t productId) {
  return static_cast<std::uint16_t>(productId);
}

/// These two came with and without high-speed readout under one product id; the FPGA's type code tells which.
inline constexpr bool ProbesForHighSpeed(std::int32_t productId) {
  return Product(productId) == 0x533E || Product(productId) == 0x533F;
}

/// The FPGA of these two wants to know before each capture whether single exposures or video follow.
inline constexpr bool WantsCaptureMode(std::int32_t productId) {
  return Product(productId) == 0x461E || Product(productId) == 0x411E;
}

/// The FPGA of these two, told apart by bit 2, scales coordinates when it bins instead of keeping to pixels of one
/// colour; hot pixels must be looked for where it puts them.
inline constexpr bool ScalesBinnedCoordinates(std::int32_t productId) {
  return (Product(productId) & ~0x0004U) == 0x294AU;
}

/// These two carry an adjustable fan on a main board whose type does not say so.
inline constexpr bool HasAdjustableFan(std::int32_t productId) {
  return Product(productId) == 0x2601 || Product(productId) == 0x2602;
}

}  // namespace orq::quirks
