// The pixels of an exposure as a client asked for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orqcam/orqcam.hpp>
#include <vector>

#include "alpaca/image/Subframe.h"

namespace orq::network::alpaca {

/// A picture in memory of its own: clients may take minutes for it, and a camera has few frames. Never changes.
struct Image {
  std::vector<std::uint8_t> rows;  ///< top down, without gaps
  int width = 0;                   ///< pixels
  int height = 0;
  int sampleBytes = 2;  ///< 1 or 2, in the host's order
  std::uint64_t exposureUs = 0;
  std::int64_t startUnixNs = 0;  ///< of the exposure, UTC

  std::size_t rowBytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(sampleBytes); }
};

/// Cuts the subframe out of the frame that was read for it; bins where `reading` says so. Throws StateError when
/// the frame is none of that region.
Image imageOf(const Frame& frame, const Reading& reading, const Optics& optics);

}  // namespace orq::network::alpaca
