// What automatic exposure, gain and white balance come to, and waiting until they have settled.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "models/camera/ModelCamera.h"

namespace orq::session {

/// What it has come to.
struct AutoReading {
  std::int32_t mean = 0;  ///< 1 to 255; 0: no brightness was measured
  std::int32_t target = 0;
  std::uint64_t exposureUs = 0;
  std::int32_t gain = 0;
  std::optional<std::pair<std::int32_t, std::int32_t>> whiteBalance;  ///< red, blue; while it is automatic
};
/// "mean 98 of 100, exposure 20ms, gain 12".
std::string AutoText(const AutoReading& reading);

/// What settling needs from whoever runs the video.
struct SettleSteps {
  std::function<void()> takeFrame;  ///< lets one frame come, or a tenth of a second pass; may throw
  std::function<bool(const AutoReading&)> mayGoOn;  ///< called before each; false asks to stop
};

/// What automatic control of a camera, which somebody runs, has come to.
class AutomaticControl {
 public:
  /// `camera` outlives the object.
  explicit AutomaticControl(const CModelCamera& camera) : camera_(camera) {}

  AutoReading Read() const;
  /// Whether nothing has had to be adjusted for some frames.
  bool AtRest() const;
  /// Whether the brightness is as near to its target as it is brought.
  bool OnTarget() const;
  /// Lets frames of a running video come until it is at rest, for `seconds` at most. Throws Failure: Cancelled,
  /// Timeout, and what `takeFrame` throws.
  void Settle(double seconds, const SettleSteps& steps) const;

 private:
  const CModelCamera& camera_;
};

}  // namespace orq::session
