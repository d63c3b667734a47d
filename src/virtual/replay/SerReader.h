// SER video recordings.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "virtual/replay/RecordedFrames.h"

namespace orq {

/// All frames of a mono or Bayer recording of 1 to 16 bits per sample; time stamps behind the frames are ignored.
/// For the byte order of 16-bit ones see SerIsLittleEndian.
std::optional<RecordedFrames> ReadSer(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace orq
