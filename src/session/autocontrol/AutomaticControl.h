// Automatic exposure, gain and white balance, until they have settled or for as long as somebody takes frames.
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

/// Runs automatic control of a camera from `Start` to the end of its life; which controls are automatic is then as
/// it was at its beginning, with the values that were found. Caller-serialised with everything that starts and
/// stops automatic control.
class AutomaticControl {
 public:
  /// Remembers which controls are automatic. `camera` outlives the object.
  explicit AutomaticControl(CModelCamera& camera);
  ~AutomaticControl();
  AutomaticControl(const AutomaticControl&) = delete;
  AutomaticControl& operator=(const AutomaticControl&) = delete;

  /// Begins when a control is automatic. Throws Failure (Internal).
  void Start();
  bool Runs() const { return runs_; }
  AutoReading Read() const;
  /// Whether nothing has had to be adjusted for some frames.
  bool AtRest() const;
  /// Whether the brightness is as near to its target as it is brought.
  bool OnTarget() const;
  /// Lets frames of a running video come until it is at rest, for `seconds` at most. Throws Failure: Cancelled,
  /// Timeout, and what `takeFrame` throws.
  void Settle(double seconds, const SettleSteps& steps) const;

 private:
  struct Flags {
    std::uint8_t exposure = 0;
    std::uint8_t gain = 0;
    std::uint8_t whiteBalance = 0;
  };

  CModelCamera& camera_;
  const Flags before_;
  bool runs_ = false;
};

}  // namespace orq::session
