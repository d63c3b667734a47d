// SER video recordings.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "virtual/replay/Recording.h"

namespace orq {

bool LooksLikeSer(std::span<const std::uint8_t> bytes);
/// All frames of a mono or Bayer recording of 1 to 16 bits per sample; time stamps behind the frames are ignored.
/// The byte-order field of 16-bit recordings is used both ways round in the wild: where one order makes the first
/// frame far smoother than the other, that order is taken; otherwise the field means what its name says.
std::optional<Recording> ReadSer(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace orq
