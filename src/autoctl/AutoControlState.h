// The camera object's fields of automatic control.
#pragma once

#include <cstdint>
#include <mutex>

#include "support/threads/Relaxed.h"

namespace orq {

struct AutoControlState {
  Relaxed<std::int32_t> expReg{0};  ///< exposure in sensor lines, set by the model; 2 or less widens the tolerance
  /// µs; no cycle measures while the exposure, or the sum of the two below, reaches it. The model keeps it at 0
  /// (no cycle) from a change of exposure, gain, white balance or geometry until a frame taken with the new
  /// setting is in `autoBuf`.
  Relaxed<std::int32_t> autoGateLimit{0};
  Relaxed<std::int32_t> autoGateA{0};  ///< µs that a model wants compared as well; summed when the worker starts
  Relaxed<std::int32_t> autoGateB{0};
  std::mutex autoBufMutex;  ///< guards what `autoBuf` points to; nothing else is locked while it is held

  /// What `AutoExpGain` measured last, 1 to 255; 0: nothing since the worker began.
  Relaxed<std::int32_t> autoMean{0};
  /// Cycles in a row that measured and left exposure, gain and white balance as they were; written by the worker.
  Relaxed<std::int32_t> autoSteadyCycles{0};
};

}  // namespace orq
