// FITS images: one frame, or a cube of frames.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "virtual/replay/RecordedFrames.h"

namespace orq {

bool LooksLikeFits(std::span<const std::uint8_t> bytes);
/// The primary image: 2-D, or 3-D with one frame per plane; 8 bits, or 16 bits signed (no value below 0) or
/// unsigned through BZERO = 32768. BAYERPAT with XBAYROFF and YBAYROFF gives the Bayer pattern. The first row of
/// the file is the frame's first row.
std::optional<RecordedFrames> ReadFits(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace orq
