#include "models/FramePath.h"

#include <cassert>
#include <utility>

#include "image/Flip.h"
#include "image/FrameKernels.h"
#include "image/HostBin.h"

namespace orq {
namespace {

template <class Sample>
std::span<Sample> Samples(std::uint8_t* bytes, std::size_t count) {
  return {reinterpret_cast<Sample*>(bytes), count};
}

template <class Sample>
void BalanceWhite(const FramePath& path, std::span<Sample> frame) {
  const bool neutral =
      path.whiteBalanceRed == kNeutralWhiteBalance && path.whiteBalanceBlue == kNeutralWhiteBalance;
  if (path.setup.rawPattern < 0 || neutral) return;
  WhiteBalance(frame, path.setup.TransferWidth(), static_cast<BayerPattern>(path.setup.rawPattern),
               path.whiteBalanceRed, path.whiteBalanceBlue);
}

template <class Sample>
void FlipInto(const FramePath& path, std::span<const Sample> frame, std::span<Sample> out) {
  FlipCopy(frame, path.setup.region.width, path.setup.region.height, path.flipHorizontal, path.flipVertical, out);
}

// Colour conversions read their whole input while they write, so flips go through the other buffer.
void Convert(const FramePath& path, std::span<const std::uint8_t> frame, std::span<std::uint8_t> other,
             std::span<std::uint8_t> out) {
  if (path.flipHorizontal || path.flipVertical) {
    FlipInto<std::uint8_t>(path, frame, other);
    frame = other;
  }
  path.converter.SetBayer(path.outputPattern);
  if (path.setup.region.format == ORQ_IMG_RGB24) {
    path.converter.BayerToRGB24(frame.data(), path.setup.region.width, path.setup.region.height, out.data());
  } else {
    path.converter.BayerToY8(frame.data(), path.setup.region.width, path.setup.region.height, out.data());
  }
}

// The order of the steps. Corrections work on the frame as the sensor sent it: a dark is collected and subtracted
// before anything else changes the samples, then defects are repaired (a repaired pixel must not have its own
// large dark value subtracted). White balance and the copy for automatic control follow, which must see the effect
// of what it sets. Only then are pixels mixed (binning), mapped (gamma), moved (flips) and converted (format), so
// that correction tables need to know nothing of these; the time mark is printed on what the caller gets.
template <class Sample>
void RunSteps(const FramePath& path, std::span<std::uint8_t> out) {
  const FrameSetup& setup = path.setup;
  std::span<Sample> frame = Samples<Sample>(path.image, setup.TransferSamples());
  std::span<Sample> other = Samples<Sample>(path.scratch, setup.TransferSamples());

  if constexpr (sizeof(Sample) == 2) {
    if (setup.msbFirst) MsbFirstToHost(frame);
  }
  BalanceWhite(path, frame);
  if (setup.stages.host > 1) {
    const BinShape shape{setup.region.width, setup.region.height, setup.stages.host, setup.rawPattern >= 0};
    HostBin(std::span<const Sample>(frame), shape, other);
    std::swap(frame, other);
  }
  if constexpr (sizeof(Sample) == 1) {
    if (setup.region.format == ORQ_IMG_RGB24 || setup.region.format == ORQ_IMG_Y8) {
      Convert(path, frame, other, out);
      return;
    }
  }
  FlipInto<Sample>(path, frame, Samples<Sample>(out.data(), setup.OutputSamples()));
}

}  // namespace

void RunFramePath(const FramePath& path, std::span<std::uint8_t> out) {
  assert(out.size() >= path.setup.OutputBytes());
  if (path.setup.wide) {
    RunSteps<std::uint16_t>(path, out);
  } else {
    RunSteps<std::uint8_t>(path, out);
  }
}

}  // namespace orq
