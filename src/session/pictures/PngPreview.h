// Frames as PNG files.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "models/camera/FrameTypes.h"

namespace orq::session {

/// An 8-bit PNG of the frame with an automatic stretch (`MakePicture`). `bytes`: the pixels in the region's
/// format. Throws Failure: not as many as the region has (invalid), no such file can be made (file).
std::vector<std::uint8_t> EncodePreview(std::span<const std::uint8_t> bytes, const FrameInfo& info);

/// An 8-bit grey PNG of `width` x `height` samples as they are. Throws Failure.
std::vector<std::uint8_t> EncodeGrey(const std::vector<std::uint8_t>& samples, int width, int height);

}  // namespace orq::session
