// Frames as FITS files.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "files/Frame.h"
#include "options/Keywords.h"

namespace orq::cli {

/// The whole file in memory: one image, unsigned 16 bit (through BZERO) or 8 bit, RGB 24 as a cube of three planes
/// (red, green, blue), with the keywords that astronomy programs read. `number` counts the frames of the run from
/// 1. Throws CliError.
std::vector<std::uint8_t> EncodeFits(const Frame& frame, std::uint64_t number, const FileContext& context,
                                     std::span<const Keyword> keywords);

}  // namespace orq::cli
