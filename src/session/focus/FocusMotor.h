// The focus motor of a camera that has one.
#pragma once

#include <functional>
#include <optional>

#include "models/camera/ModelCamera.h"
#include "session/Pause.h"

namespace orq::session {

inline constexpr int kLastFocusPosition = 1023;  // ten bits

/// What the motor says about itself.
struct FocusState {
  int position = 0;  ///< 0 to kLastFocusPosition
  bool moving = false;
  std::optional<int> lowerMark;  ///< empty: the lens has none
  std::optional<int> upperMark;
  unsigned char driverId = 0;  ///< what the motor's driver says it is
};

/// Moves the lens and looks where it is. Caller-serialised; everything throws Failure.
class FocusMotor {
 public:
  /// Unsupported: the camera has no motor.
  explicit FocusMotor(CModelCamera& camera);

  FocusState State();
  int Position();
  /// Returns when the lens has stopped there. `tell` is called while it moves; may be empty. Range: no such
  /// position. Cancelled: `pause` says so, the lens is on its way. Timeout: it does not stop.
  void MoveTo(int position, const Pause& pause, const std::function<void()>& tell);
  unsigned char DriverId() const { return id_; }

 private:
  bool Moving();

  CModelCamera& camera_;
  const unsigned char request_;
  unsigned char id_ = 0;
};

}  // namespace orq::session
