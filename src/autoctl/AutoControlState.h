// The camera object's fields that gate and scale automatic control; set by the model.
#pragma once

#include <cstdint>
#include <mutex>

#include "support/Relaxed.h"

namespace orq {

struct AutoControlState {
  Relaxed<std::int32_t> expReg{0};  ///< exposure in sensor lines; 2 or less widens the tolerance
  /// µs; no cycle measures while the exposure reaches it. The model keeps it at 0 (no cycle) from a change of
  /// exposure, gain or white balance until a frame taken with the new setting is in `autoBuf`.
  Relaxed<std::int32_t> autoGateLimit{0};
  Relaxed<std::int32_t> autoGateA{0};
  Relaxed<std::int32_t> autoGateB{0};
  std::mutex autoBufMutex;  ///< guards what `autoBuf` points to; nothing else is locked while it is held
};

}  // namespace orq
