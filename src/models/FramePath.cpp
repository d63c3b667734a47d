#include "models/FramePath.h"

#include <atomic>
#include <cassert>
#include <cstring>
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

/// A table may be rebuilt at the same time, entry by entry.
template <class Sample>
void ApplyGamma(std::span<Sample> frame, Sample* table) {
  for (Sample& sample : frame) sample = std::atomic_ref(table[sample]).load(std::memory_order_relaxed);
}

template <class Sample>
void CopyForAutomaticControl(const FramePath& path, std::span<const Sample> frame) {
  const std::lock_guard lock(*path.autoFrameMutex);
  if constexpr (sizeof(Sample) == 2) {
    if (path.setup.autoMsbFirst) {
      HostToMsbFirst(frame, Samples<Sample>(path.autoFrame, frame.size()));
      return;
    }
  }
  std::memcpy(path.autoFrame, frame.data(), frame.size_bytes());
}

// The order of the steps. Corrections have worked on the frame as the sensor sent it: a dark was collected and
// subtracted before anything else changed the samples, then defects were repaired (a repaired pixel must not have
// its own large dark value subtracted). White balance and the copy for automatic control follow, which must see
// the effect of what it sets. Only then are pixels mixed (binning), mapped (gamma), moved (flips) and converted
// (format), so that correction tables need to know nothing of these; the time mark is printed on what the caller
// gets.
template <class Sample>
void RunSteps(const FramePath& path, Sample* gamma, std::span<std::uint8_t> out) {
  const FrameSetup& setup = path.setup;
  std::span<Sample> frame = Samples<Sample>(path.image, setup.TransferSamples());
  std::span<Sample> other = Samples<Sample>(path.scratch, setup.TransferSamples());

  BalanceWhite(path, frame);
  if (path.autoFrame != nullptr && !path.autoAfterBin) CopyForAutomaticControl<Sample>(path, frame);
  if (setup.stages.host > 1) {
    const bool bayer = setup.rawPattern >= 0 && !path.monoBin;
    HostBin(std::span<const Sample>(frame), {setup.region.width, setup.region.height, setup.stages.host, bayer},
            other);
    std::swap(frame, other);
  }
  frame = frame.first(setup.OutputSamples());
  if (path.autoFrame != nullptr && path.autoAfterBin) CopyForAutomaticControl<Sample>(path, frame);
  if (gamma != nullptr) ApplyGamma(frame, gamma);
  if constexpr (sizeof(Sample) == 1) {
    const bool colours = setup.region.format == ORQ_IMG_RGB24 || setup.region.format == ORQ_IMG_Y8;
    if (colours && path.outputPattern >= 0) {
      Convert(path, frame, other, out);
      return;
    }
  }
  FlipInto<Sample>(path, frame, Samples<Sample>(out.data(), setup.OutputSamples()));
}

}  // namespace

void ToHostOrder(const FrameSetup& setup, std::uint8_t* image) {
  if (setup.msbFirst) MsbFirstToHost(Samples<std::uint16_t>(image, setup.TransferSamples()));
}

void RunFramePath(const FramePath& path, std::span<std::uint8_t> out) {
  assert(out.size() >= path.setup.OutputBytes());
  if (path.setup.wide) {
    RunSteps<std::uint16_t>(path, path.gamma16, out);
  } else {
    RunSteps<std::uint8_t>(path, path.gamma8, out);
  }
}

}  // namespace orq
