#include "models/camera/FramePath.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <utility>

#include "image/frame/Flip.h"
#include "image/frame/FrameKernels.h"
#include "image/frame/HostBin.h"
#include "image/frame/SampleTable.h"

namespace orq {
namespace {

template <class Sample>
std::span<Sample> Samples(std::uint8_t* bytes, std::size_t count) {
  return {reinterpret_cast<Sample*>(bytes), count};
}

/// What a step finds: binning keeps the mosaic of the raw frame, or mixes its colours.
template <class Sample>
struct Mosaic {
  std::span<Sample> samples;
  int width = 0;
  bool mixed = false;
};

template <class Sample>
void BalanceWhite(const FramePath& path, const Mosaic<Sample>& frame) {
  const bool neutral =
      path.whiteBalanceRed == kNeutralWhiteBalance && path.whiteBalanceBlue == kNeutralWhiteBalance;
  if (path.setup.rawPattern < 0 || frame.mixed || neutral) return;
  WhiteBalance(frame.samples, frame.width, static_cast<BayerPattern>(path.setup.rawPattern), path.whiteBalanceRed,
               path.whiteBalanceBlue);
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

// A table may be rebuilt at the same time, entry by entry.
void ApplyGamma(std::span<std::uint16_t> frame, std::uint16_t* table) {
  for (std::uint16_t& sample : frame) sample = std::atomic_ref(table[sample]).load(std::memory_order_relaxed);
}

void ApplyGamma(std::span<std::uint8_t> frame, std::uint8_t* table) {
  std::array<std::uint8_t, 256> now;
  for (std::uint8_t& entry : now) entry = std::atomic_ref(*table++).load(std::memory_order_relaxed);
  ApplyTable(frame, now);
}

// Automatic control must see the effect of the white balance that it sets.
template <class Sample>
void CopyForAutomaticControl(const FramePath& path, const Mosaic<Sample>& frame) {
  const std::lock_guard lock(*path.autoFrameMutex);
  const std::span<Sample> copy = Samples<Sample>(path.autoFrame, frame.samples.size());
  std::ranges::copy(frame.samples, copy.begin());
  BalanceWhite<Sample>(path, {copy, frame.width, frame.mixed});
  if constexpr (sizeof(Sample) == 2) {
    if (path.setup.autoMsbFirst) HostToMsbFirst(copy);
  }
}

// The order of the steps. Corrections have worked on the frame as the sensor sent it: a dark was collected and
// subtracted before anything else changed the samples, then defects were repaired (a repaired pixel must not have
// its own large dark value subtracted). The copy for automatic control follows. Only then are pixels mixed
// (binning), mapped (gamma), moved (flips) and converted (format), so that correction tables need to know nothing
// of these; the time mark is printed on what the caller gets. White balance is for frames that are looked at:
// those in colour and luminance, once binned. Raw frames are measured: their samples stay in proportion to the
// light.
template <class Sample>
void RunSteps(const FramePath& path, Sample* gamma, std::span<std::uint8_t> out) {
  const FrameSetup& setup = path.setup;
  std::span<Sample> frame = Samples<Sample>(path.image, setup.TransferSamples());
  std::span<Sample> other = Samples<Sample>(path.scratch, setup.TransferSamples());

  if (path.autoFrame != nullptr && !path.autoAfterBin) {
    CopyForAutomaticControl<Sample>(path, {frame, setup.TransferWidth(), false});
  }
  if (setup.stages.host > 1) {
    const bool bayer = setup.rawPattern >= 0 && !path.monoBin;
    HostBin(std::span<const Sample>(frame), {setup.region.width, setup.region.height, setup.stages.host, bayer},
            other);
    std::swap(frame, other);
  }
  frame = frame.first(setup.OutputSamples());
  const Mosaic<Sample> binned{frame, setup.region.width, path.monoBin};
  if (path.autoFrame != nullptr && path.autoAfterBin) CopyForAutomaticControl(path, binned);
  const bool colours = setup.region.format == ORQ_IMG_RGB24 || setup.region.format == ORQ_IMG_Y8;
  if (colours) BalanceWhite(path, binned);
  if (gamma != nullptr) ApplyGamma(frame, gamma);
  if constexpr (sizeof(Sample) == 1) {
    if (colours && path.outputPattern >= 0) {
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
    RunSteps<std::uint16_t>(path, path.gamma16, out);
  } else {
    RunSteps<std::uint8_t>(path, path.gamma8, out);
  }
}

}  // namespace orq
