// Binary portable grey maps (P5).
#pragma once

#include <optional>
#include <span>
#include <string>

#include "virtual/replay/RecordedFrames.h"

namespace orq {

bool LooksLikePgm(std::span<const std::uint8_t> bytes);
/// One frame: 8 bits for maximum values up to 255, else 16 bits, most significant byte first in the file. Comments
/// are passed over; what follows the first image is ignored. Samples are not scaled by the maximum value; none
/// may be above it.
std::optional<RecordedFrames> ReadPgm(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace orq
