#include "files/Clipping.h"

#include "output/Output.h"
#include "output/Text.h"

namespace orq::cli {

double ZeroShare(const Frame& frame) {
  const IMG_TYPE format = frame.info.region.format;
  if (format != ORQ_IMG_RAW8 && format != ORQ_IMG_RAW16) return 0.0;
  const std::size_t bytes = format == ORQ_IMG_RAW16 ? 2 : 1;
  const std::size_t pixels = frame.bytes.size() / bytes;
  if (pixels == 0) return 0.0;
  std::size_t zeros = 0;
  for (std::size_t i = 0; i < pixels; ++i) {
    const bool zero = frame.bytes[bytes * i] == 0 && frame.bytes[bytes * i + bytes - 1] == 0;
    zeros += zero ? 1 : 0;
  }
  return static_cast<double>(zeros) / static_cast<double>(pixels);
}

std::string ClippingWarning(const Frame& frame) {
  constexpr double kTolerated = 0.001;
  const double share = ZeroShare(frame);
  if (share <= kTolerated) return {};
  return Format("%.2g %% of the pixels are 0, noise is cut off: raise the offset", 100.0 * share);
}

void ClippingWatch::Look(Frame& frame) {
  frame.warning = judges_ ? ClippingWarning(frame) : std::string();
  if (frame.warning.empty() || told_) return;
  told_ = true;
  Complain(Format("%s, which is %d (--offset)", frame.warning.c_str(), frame.info.offset));
}

}  // namespace orq::cli
