#include "models/camera/FramePath.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>

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

// A table may be rebuilt at the same time, entry by entry.
void ApplyGamma(std::span<std::uint16_t> frame, std::uint16_t* table) {
  for (std::uint16_t& sample : frame) sample = std::atomic_ref(table[sample]).load(std::memory_order_relaxed);
}

void ApplyGamma(std::span<std::uint8_t> frame, std::uint8_t* table) {
  std::array<std::uint8_t, 256> now;
  for (std::uint8_t& entry : now) entry = std::atomic_ref(*table++).load(std::memory_order_relaxed);
  ApplyTable(frame, now);
}

// Automatic control must see the effect of the white balance that it sets. `at`: where these samples stand in the
// frame.
template <class Sample>
void CopyForAutomaticControl(const FramePath& path, const Mosaic<Sample>& strip, std::size_t at) {
  const std::span<Sample> copy = Samples<Sample>(path.autoFrame, at + strip.samples.size()).subspan(at);
  std::ranges::copy(strip.samples, copy.begin());
  BalanceWhite<Sample>(path, {copy, strip.width, strip.mixed});
  if constexpr (sizeof(Sample) == 2) {
    if (path.setup.autoMsbFirst) HostToMsbFirst(copy);
  }
}

/// Rows of the delivered frame that go through all steps together.
struct Strip {
  int first;
  int rows;
};

// What is a strip must stay in the processor's second cache from the first step to the last. An even number of
// rows: each strip begins where the mosaic does.
int StripRows(const FramePath& path) {
  constexpr std::size_t kBytes = std::size_t{64} << 10U;
  const FrameSetup& setup = path.setup;
  const std::size_t rowBytes =
      std::max<std::size_t>(setup.RowBytes(), 1) * static_cast<std::size_t>(setup.stages.host);
  const auto rows = path.stripRows > 0 ? path.stripRows : static_cast<int>(kBytes / rowBytes);
  return std::max(rows / 2 * 2, 2);
}

/// One frame's steps. Corrections have worked on the frame as the sensor sent it: a dark was collected and
/// subtracted before anything else changed the samples, then defects were repaired (a repaired pixel must not have
/// its own large dark value subtracted). The copy for automatic control follows. Only then are pixels mixed
/// (binning), moved (flips), mapped (gamma) and converted (format), so that correction tables need to know nothing
/// of these; the time mark is printed on what the caller gets. White balance is for frames that are looked at:
/// those in colour and luminance, once binned. Raw frames are measured: their samples stay in proportion to the
/// light.
template <class Sample>
class Steps {
 public:
  Steps(const FramePath& path, Sample* gamma, std::span<std::uint8_t> out)
      : path_(path),
        gamma_(gamma),
        frame_(Samples<Sample>(path.image, path.setup.TransferSamples())),
        other_(Samples<Sample>(path.scratch, path.setup.TransferSamples())),
        out_(Samples<Sample>(out.data(), path.setup.OutputSamples())) {}

  void Run() {
    std::unique_lock<std::mutex> lock;
    if (path_.autoFrame != nullptr) lock = std::unique_lock(*path_.autoFrameMutex);
    const int height = path_.setup.region.height;
    const int step = StripRows(path_);
    for (int first = 0; first < height; first += step) RunStrip({first, std::min(step, height - first)});
    if constexpr (sizeof(Sample) == 1) {
      if (converts_) Convert(flips_ || binned_ ? other_ : frame_);
    }
  }

 private:
  void RunStrip(Strip strip) {
    const FrameSetup& setup = path_.setup;
    const auto host = static_cast<std::size_t>(setup.stages.host);
    const auto width = static_cast<std::size_t>(setup.region.width);
    const std::size_t at = static_cast<std::size_t>(strip.first) * width;
    const std::size_t count = static_cast<std::size_t>(strip.rows) * width;
    std::span<Sample> samples = frame_.subspan(at * host * host, count * host * host);
    if (path_.autoFrame != nullptr && !path_.autoAfterBin)
      CopyForAutomaticControl<Sample>(path_, {samples, setup.TransferWidth(), false}, at * host * host);
    if (binned_) {
      const bool bayer = setup.rawPattern >= 0 && !path_.monoBin;
      const std::span<Sample> target = BinTarget(at, count);
      HostBin(std::span<const Sample>(samples), {setup.region.width, strip.rows, setup.stages.host, bayer},
              target);
      samples = target;
    }
    const Mosaic<Sample> mosaic{samples, setup.region.width, path_.monoBin};
    if (path_.autoFrame != nullptr && path_.autoAfterBin) CopyForAutomaticControl(path_, mosaic, at);
    if (colours_) BalanceWhite(path_, mosaic);
    if (!converts_)
      samples = FlipStrip(strip, samples, out_);
    else if (flips_)
      samples = FlipStrip(strip, samples, other_);
    // Where the samples are in the end: the frame that was sent need not be written back to memory for it.
    if (gamma_ != nullptr) ApplyGamma(samples, gamma_);
  }

  // Binned samples that are converted as they are stay in their places; others only pass through, at one place,
  // which then stays in the cache. What is delivered in the end is free for that where the other buffer takes the
  // flipped frame.
  std::span<Sample> BinTarget(std::size_t at, std::size_t count) const {
    if (!converts_) return other_.first(count);
    return flips_ ? out_.first(count) : other_.subspan(at, count);
  }

  std::span<Sample> FlipStrip(Strip strip, std::span<const Sample> samples, std::span<Sample> to) const {
    const auto width = static_cast<std::size_t>(path_.setup.region.width);
    const int row = path_.flipVertical ? path_.setup.region.height - strip.first - strip.rows : strip.first;
    const std::span<Sample> flipped = to.subspan(static_cast<std::size_t>(row) * width, samples.size());
    FlipCopy(samples, path_.setup.region.width, strip.rows, path_.flipHorizontal, path_.flipVertical, flipped);
    return flipped;
  }

  // Interpolation looks at the rows around, and so at the whole frame.
  void Convert(std::span<const std::uint8_t> frame) const {
    const FrameRegion& region = path_.setup.region;
    path_.converter.SetBayer(path_.outputPattern);
    if (region.format == ORQ_IMG_RGB24)
      path_.converter.BayerToRGB24(frame.data(), region.width, region.height, out_.data());
    else
      path_.converter.BayerToY8(frame.data(), region.width, region.height, out_.data());
  }

  const FramePath& path_;
  Sample* gamma_;
  std::span<Sample> frame_;
  std::span<Sample> other_;
  std::span<Sample> out_;
  const bool binned_ = path_.setup.stages.host > 1;
  const bool flips_ = path_.flipHorizontal || path_.flipVertical;
  const bool colours_ = path_.setup.region.format == ORQ_IMG_RGB24 || path_.setup.region.format == ORQ_IMG_Y8;
  const bool converts_ = sizeof(Sample) == 1 && colours_ && path_.outputPattern >= 0;
};

}  // namespace

void RunFramePath(const FramePath& path, std::span<std::uint8_t> out) {
  assert(out.size() >= path.setup.OutputBytes());
  if (path.setup.wide)
    Steps<std::uint16_t>(path, path.gamma16, out).Run();
  else
    Steps<std::uint8_t>(path, path.gamma8, out).Run();
}

}  // namespace orq
