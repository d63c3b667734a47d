// What stands beside a file of bare pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "session/frame/FrameFacts.h"

namespace orq::session {

/// What a program needs to make sense of the bare pixels: a JSON file.
std::vector<std::uint8_t> DescribeRaw(const FrameFacts& frame);

}  // namespace orq::session
