// The one copy that a frame's payload takes on its way into a slot of the ring.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orq {

/// How payload bytes go into a frame's buffer.
struct PayloadCopy {
  /// Samples of 16 bits whose bytes change places: they come in the order that is not this computer's.
  bool swapped = false;
  /// Past the processor's cache, which a frame of this size would only flush: it is written once, and read a frame
  /// later or, when nothing is corrected, not here at all. Nearly halves the cost of the copy.
  bool pastCache = false;

  /// Puts payload bytes `at` and following into `payload`. `swapped`: that holds a whole number of samples.
  void Put(std::span<const std::uint8_t> bytes, std::uint8_t* payload, std::size_t at) const;
};

}  // namespace orq
