// A change of a trigger output, as a test reads it back.
#pragma once

#include <cstdint>

namespace orq {

struct SyncEdge {
  std::uint64_t timeUs = 0;  ///< device time: since the camera was plugged in, unscaled
  bool high = false;         ///< level of the line from then on
  bool operator==(const SyncEdge&) const = default;
};

}  // namespace orq
