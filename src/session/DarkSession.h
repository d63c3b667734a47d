// Taking a dark: whole 8-bit frames of the covered sensor, whatever the camera was doing before.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "models/camera/ModelCamera.h"
#include "session/frame/Readout.h"

namespace orq {

/// Every frame is divided by their number before it is added: the more frames, the more of the low values is lost.
inline constexpr int kMostDarkFrames = 16;

/// Where a collection is.
struct DarkProgress {
  int frame = 1;  ///< the one under way, from 1
  int frames = 1;
  std::uint64_t elapsedUs = 0;  ///< since its exposure began
  std::uint64_t exposureUs = 0;
};
/// Called every few milliseconds, on the collecting thread; false asks to stop. May be
/// empty, must not throw.
using DarkWatcher = std::function<bool(const DarkProgress&)>;

enum class DarkResult : std::uint8_t {
  Done,
  Cancelled,
  Refused,  ///< nothing was touched: closed, a wrong number of frames, no such frames
  CameraFailed,
};

struct DarkOutcome {
  DarkResult result = DarkResult::Done;
  std::string reason;  ///< one line for a user; empty when done
  bool Done() const { return result == DarkResult::Done; }
};

/// How a dark was taken, and what it shows.
struct DarkFacts {
  std::uint64_t exposureUs = 0;
  int gain = 0;
  int offset = 0;
  std::optional<float> sensorC;  ///< after the last frame; empty when the sensor's temperature cannot be read
  std::int64_t takenUnixUs = 0;  ///< when the last frame had come, by the computer's clock
  std::optional<session::Readout> readout;  ///< empty: not known
  int frames = 0;
  std::uint32_t average = 0;    ///< of the whole dark, 0 to 255
  std::uint32_t hotPixels = 0;  ///< sensor pixels more than 30 above the average, those of bad rows left out
  std::uint32_t badRows = 0;    ///< rows of which at least half is hot
};

/// Takes darks with the camera's present exposure, gain and offset. For that it stops a running capture, leaves
/// the trigger mode, stops automatic control, and switches to the whole sensor at bin 1 in 8 bits; it brings all
/// of it back at the end. What the camera is told in between by others is lost, and so is the frame of
/// a single exposure that was not fetched before.
///
///     DarkSession session(camera);
///     const DarkOutcome outcome = session.Collect(0, watcher, facts);
///     if (outcome.Done()) camera.SaveHPCTable();  // still at full size: the dark's average is the sensor's
///     session.Restore();
///
/// Caller-serialised with everything that starts and stops captures and automatic control, changes the geometry or
/// handles darks. Frames of a collection are offered to readers like all others.
class DarkSession {
 public:
  /// Touches nothing. `camera` outlives the session.
  explicit DarkSession(CModelCamera& camera) : camera_(camera) {}
  /// Restores what is not restored yet, as far as it can be.
  ~DarkSession();
  DarkSession(const DarkSession&) = delete;
  DarkSession& operator=(const DarkSession&) = delete;

  /// Collects a dark of `frames` frames (1 to kMostDarkFrames; 0: as many as the exposure time asks for) from
  /// single exposures; one that failed is repeated. Afterwards no capture runs and the camera stands at full size;
  /// whether a dark is subtracted is as it was. When it is not done, no collection is left under way, and a dark
  /// that had begun to be replaced is switched off and gone. `facts` is written when done.
  DarkOutcome Collect(int frames, const DarkWatcher& watcher, DarkFacts& facts);

  /// Brings everything back, and starts a capture again that ran before `Collect`. When that failed (the camera
  /// was unplugged) it may be called again after the camera was opened. Without effect when nothing is to be
  /// restored.
  DarkOutcome Restore();

 private:
  /// What the camera did before.
  struct Before {
    FrameRegion region;
    CAM_MODE mode = 0;
    bool capturing = false;
    bool snap = false;
    bool autoControl = false;
  };
  enum class Shot { Good, Failed, Cancelled, Lost };

  DarkOutcome Prepare(const FrameRegion& whole);
  DarkOutcome TakeFrames(int frames, const DarkWatcher& watcher, int& taken);
  Shot Expose(DarkProgress progress, const DarkWatcher& watcher);
  void EndCollection();
  DarkOutcome Failed(const std::string& what) const;
  void Describe(int frames, DarkFacts& facts) const;

  CModelCamera& camera_;
  std::optional<Before> before_;  ///< while something is to be restored
};

}  // namespace orq
