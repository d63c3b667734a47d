// The frame that automatic control measures: its geometry, and the mean brightness of its centre. Free functions
// over values; any-thread.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

namespace orq {

struct FrameSize {
  std::int32_t width = 0;   ///< samples per row
  std::int32_t height = 0;  ///< rows
  bool operator==(const FrameSize&) const = default;
};

/// The camera's settings that decide how the frame lies in the buffer.
struct AutoGeometry {
  std::int32_t imageWidth = 0;  ///< delivered pixels
  std::int32_t imageHeight = 0;
  std::int32_t bin = 1;
  bool hardwareBin = false;  ///< switched on
  bool fpgaBin = false;      ///< the FPGA delivers frames already binned

  /// Hardware binning by 4 leaves a second stage to the host.
  bool TwoStageBin() const { return hardwareBin && bin == 4; }
};

/// Size of the frame in the buffer. `hardBinRuns` (whether frames arrive binned) is asked once for the width and
/// once for the height, and not at all where the FPGA bins.
FrameSize AutoFrameSize(const AutoGeometry& geometry, const std::function<bool()>& hardBinRuns);

/// How a sample's brightness, 0 to 255, is found: one byte of it.
enum class SampleForm : std::uint8_t {
  EightBit,
  HighByteFirst,  ///< 16 bits, the first byte in memory
  HostOrder       ///< 16 bits, the upper half of the host-order value
};
/// `modelName` decides about the byte order of 16-bit frames.
SampleForm SampleFormOf(bool sixteenBit, std::string_view modelName);

/// A frame in its buffer; rows follow one another without gaps.
struct AutoFrame {
  std::span<const std::uint8_t> buffer;  ///< all of it, which may hold more or less than the frame
  FrameSize size;
  SampleForm form = SampleForm::EightBit;
};

struct SampleSum {
  std::uint32_t sum = 0;
  std::uint32_t count = 0;
};

/// Samples the central three fifths of the frame on a grid of 64 columns and 48 rows. Each column's position, and
/// in a column inside the centre each row's, is moved by the parity of one `draw` (a non-negative random number).
/// What lies outside the buffer is neither read nor counted; a frame without width or height has no samples.
SampleSum SampleCentre(const AutoFrame& frame, const std::function<int()>& draw);

/// What one delivered pixel is made of.
struct PixelMakeup {
  std::int32_t bin = 1;
  bool summedOnHost = false;  ///< of bin x bin samples
  bool twoStage = false;      ///< hardware binning by 2, and the host sums once more
};

/// Mean brightness of the delivered image, from 1 to 255; 0 when there are no samples.
std::int32_t MeanBrightness(const SampleSum& samples, const PixelMakeup& pixel);

}  // namespace orq
