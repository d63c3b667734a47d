// Noise that is cut off at 0.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "models/camera/FrameTypes.h"

namespace orq::session {

/// Share of the pixels of a raw frame that are 0, from 0 to 1; 0 for other formats.
double ZeroShare(std::span<const std::uint8_t> pixels, const FrameInfo& info);
/// What to say of a dark or bias in which more than a thousandth of the pixels is 0: its mean is too high there,
/// and what is subtracted with it is wrong. Empty for others.
std::string ClippingWarning(std::span<const std::uint8_t> pixels, const FrameInfo& info);

}  // namespace orq::session
