// The corrections of frames: the dark that is subtracted, and hot pixels.
#pragma once

#include <optional>
#include <string>

#include "session/darks/DarkDescription.h"
#include "session/frame/FrameFacts.h"

namespace orq::session {

/// What a camera's frames are corrected with, from one dark to the next. Caller-serialised with everything that
/// handles darks.
class FrameCorrections {
 public:
  /// Leaves the camera as it is, but for a dark: none is subtracted any more. `camera` outlives the object.
  explicit FrameCorrections(CModelCamera& camera);

  /// Subtracts the dark in the file `path` from the frames to come. Returns why its description does not count;
  /// empty when it does, or there is none. Throws Failure: no such file or no dark (file), of another sensor
  /// (range).
  std::string UseDark(const std::string& path);
  /// How the dark was taken; nothing when that is not known.
  const std::optional<DarkDescription>& Description() const { return description_; }
  /// What files say about frames from which the dark is subtracted.
  CorrectionFacts Dark() const;

 private:
  CModelCamera& camera_;
  std::string name_;  ///< of the dark's file, without directory; empty: no dark
  std::optional<DarkDescription> description_;
};

/// Repairs the hot pixels that the table in the camera's flash lists, or none. Throws Failure: the camera is gone
/// (lost), or it has no such table (state).
void RepairHotPixels(CModelCamera& camera, bool on);

}  // namespace orq::session
