// Frames as FITS files.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "session/frame/FrameFacts.h"

namespace orq::session {

enum class FitsForm : std::uint8_t {
  Plain,
  Compressed,  ///< by rows with RICE_1, without any loss: an extension that readers of FITS show as the image
};

/// The whole file in memory: one image, unsigned 16 bit (through BZERO) or 8 bit, RGB 24 as a cube of three planes
/// (red, green, blue), with `HeaderCards` and the date. `bytes`: the pixels in the region's format, rows top down,
/// as many as the region has. Throws Failure: not as many (invalid), no such file can be made (file).
std::vector<std::uint8_t> EncodeFits(std::span<const std::uint8_t> bytes, const FrameFacts& frame,
                                     FitsForm form = FitsForm::Plain);

}  // namespace orq::session
