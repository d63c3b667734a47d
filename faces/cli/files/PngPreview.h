// Frames as pictures.
#pragma once

#include <cstdint>
#include <vector>

#include "files/Frame.h"

namespace orq::cli {

/// An 8-bit PNG of the frame with an automatic stretch: grey for mono frames and luminance, colour for RGB 24 and
/// for raw Bayer frames, which are demosaiced. Each colour is stretched by itself, which makes the sky neutral.
/// Throws CliError.
std::vector<std::uint8_t> EncodePreview(const Frame& frame);

/// An 8-bit grey PNG of `width` x `height` samples as they are. Throws CliError.
std::vector<std::uint8_t> EncodeGrey(const std::vector<std::uint8_t>& samples, int width, int height);

}  // namespace orq::cli
