// A frame as the commands handle it.
#pragma once

#include <cstdint>
#include <vector>

#include "output/ExitCodes.h"
#include "session/frame/FrameFacts.h"

namespace orq::cli {

struct Frame : FrameFacts {
  std::vector<std::uint8_t> bytes;  ///< in the region's format, rows top down
};

}  // namespace orq::cli
