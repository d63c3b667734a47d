// The camera object's fields that gate and scale automatic control; set by the model.
#pragma once

#include <cstdint>

#include "support/Relaxed.h"

namespace orq {

struct AutoControlState {
  Relaxed<std::int32_t> expReg{0};         ///< exposure in sensor lines; 2 or less widens the tolerance
  Relaxed<std::int32_t> autoGateLimit{0};  ///< µs; no cycle measures while the exposure reaches it (0: never)
  Relaxed<std::int32_t> autoGateA{0};
  Relaxed<std::int32_t> autoGateB{0};
};

}  // namespace orq
