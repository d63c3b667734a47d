#include "session/frame/Clipping.h"

#include <cstddef>

#include "support/Text.h"

namespace orq::session {

double ZeroShare(std::span<const std::uint8_t> pixels, const FrameInfo& info) {
  const IMG_TYPE format = info.region.format;
  if (format != ORQ_IMG_RAW8 && format != ORQ_IMG_RAW16) return 0.0;
  const std::size_t bytes = format == ORQ_IMG_RAW16 ? 2 : 1;
  const std::size_t count = pixels.size() / bytes;
  if (count == 0) return 0.0;
  std::size_t zeros = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const bool zero = pixels[bytes * i] == 0 && pixels[bytes * i + bytes - 1] == 0;
    zeros += zero ? 1 : 0;
  }
  return static_cast<double>(zeros) / static_cast<double>(count);
}

std::string ClippingWarning(std::span<const std::uint8_t> pixels, const FrameInfo& info) {
  constexpr double kTolerated = 0.001;
  const double share = ZeroShare(pixels, info);
  if (share <= kTolerated) return {};
  return Format("%.2g %% of the pixels are 0, noise is cut off: raise the offset", 100.0 * share);
}

}  // namespace orq::session
