// Frames as FITS files.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "session/fits/FitsCards.h"
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

/// An image that no camera of this library has just taken: planes one after the other, rows top down.
struct PlainImage {
  int width = 0;
  int height = 0;
  int planes = 1;                         ///< 1, or 3: red, green, blue
  int bytesPerSample = 1;                 ///< 1, or 2 in the host's order
  std::span<const std::uint8_t> samples;  ///< as many as that makes
};
/// The same of such an image, with these cards.
std::vector<std::uint8_t> EncodeFits(const PlainImage& image, const std::vector<FitsCard>& cards, FitsForm form);

}  // namespace orq::session
