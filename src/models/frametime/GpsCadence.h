// Carries GPS time from the latch of one frame of a video to frames whose own latch was missed.
#pragma once

#include <cstdint>
#include <optional>

#include "models/camera/FrameTypes.h"

namespace orq {

/// A frame as its header numbers it.
struct FrameNumbers {
  std::uint32_t sequence = 0;
  std::uint32_t latch = 0;
};

/// Frames from one latch to another, negative when `to` is the earlier one. The counter leaves out 0 at its wrap.
std::int32_t LatchSteps(std::uint32_t from, std::uint32_t to);

/// From the start of exposure of one frame of a free-running video to that of the next, 0.1 µs, as the settings
/// promise it: a frame is exposed while the one before it is read out, and one takes as long as the longer of the
/// two. `rows` of the wire follow one another at `rowPace`.
RowPace NominalCadence(std::uint64_t exposureUs, int rows, const RowPace& rowPace);

/// Knows the last latch that was read, and how far apart frames are: as promised, until two latches tell it
/// better. Every latch judges the predictions since the one before it. For one thread.
class GpsCadence {
 public:
  /// Another capture, or other settings: no latch from before says anything about a frame from now on.
  void Forget();
  /// Before each frame of a capture: what its settings promise. Another promise forgets.
  void Promise(const RowPace& nominal);
  /// A latch with a fix was read, of whichever frame.
  void See(const FrameNumbers& frame, const FrameGps& fix);
  bool KnowsALatch() const { return last_.has_value(); }
  /// The reading that the frame would have had: state Predicted, with its own error. Nothing when no latch is
  /// known, or when frames without one lie between.
  std::optional<FrameGps> Predict(const FrameNumbers& frame) const;
  /// A prediction was used.
  void Count();
  /// Of the capture until now.
  const GpsPredictions& Counts() const { return counts_; }
  /// Before the first frame of a capture.
  void Begin();

 private:
  struct Latch {
    FrameNumbers frame;
    FrameGps fix;
  };
  double ErrorAfter(double steps) const;
  void Judge(std::int32_t steps, UtcTenths span);

  std::optional<RowPace> nominal_;
  RowPace pace_;
  std::optional<RowPace> other_;  ///< the last pace that contradicted `pace_`
  double slip_ = 0.0;             ///< how far the last latch was off; 0 when it was where it had to be
  std::optional<Latch> last_;
  std::uint64_t unjudged_ = 0;
  GpsPredictions counts_;
};

}  // namespace orq
