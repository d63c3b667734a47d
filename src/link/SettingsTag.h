// The settings tag: tells with which of the host's settings a frame was exposed.
#pragma once

#include <cstdint>

#include "support/threads/Relaxed.h"

namespace orq {

/// The host writes a new tag with every change of settings; the sensor latches it when an exposure begins, and the
/// frame's header echoes it. Counting is for one thread at a time, all else any-thread.
class SettingsTag {
 public:
  explicit SettingsTag(std::uint32_t newest = 0) : newest_(newest) {}

  /// Goes on far from `held`, what the camera's register holds: at a random place at least 2^30 away in either
  /// direction, so that no tag that another program wrote, or left half written, is taken for one of this one's.
  void StartAwayFrom(std::uint32_t held);
  /// The next tag, which then is the newest. To be called before it is written to the camera.
  std::uint32_t CountUp() { return newest_ = newest_ + 1; }
  std::uint32_t Newest() const { return newest_; }
  /// True when `tag` is `first` or one that was counted after it. Tags wrap.
  bool IsSince(std::uint32_t first, std::uint32_t tag) const { return tag - first <= newest_ - first; }

 private:
  Relaxed<std::uint32_t> newest_;
};

/// The frames of one capture: those that bear a tag from `first` on. Anything else is left over from before it.
struct FreshTags {
  std::uint32_t first = 0;               ///< written when the capture began
  const SettingsTag* counted = nullptr;  ///< outlives the capture; null: every frame is of the capture

  bool Holds(std::uint32_t tag) const { return counted == nullptr || counted->IsSince(first, tag); }
};

}  // namespace orq
