// The pixels of an exposure as a client asked for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <orqcam/orqcam.hpp>

#include "alpaca/image/Subframe.h"

namespace orq::network::alpaca {

/// A picture in the memory of a frame, or of its own. Never changes; holds what it shows.
struct Image {
  std::shared_ptr<const void> owner;
  const std::uint8_t* topLeft = nullptr;
  std::size_t rowBytes = 0;  ///< from one row to the next
  int width = 0;             ///< pixels
  int height = 0;
  int sampleBytes = 2;  ///< 1 or 2, in the host's order
  std::uint64_t exposureUs = 0;
  std::int64_t startUnixNs = 0;  ///< of the exposure, UTC
  double electronsPerAdu = 0;    ///< 0: unknown
};

/// Cuts the subframe out of the frame that was read for it; bins where `reading` says so. Throws StateError when
/// the frame is none of that region.
Image imageOf(const Frame& frame, const Reading& reading, const Optics& optics);

}  // namespace orq::network::alpaca
