// Guide pulses that clients start and do not wait for.
#pragma once

#include <array>
#include <atomic>
#include <chrono>

#include "cameras/CameraSlot.h"
#include "http/Workers.h"

namespace orq::network::alpaca {

/// One pulse at a time on each axis; both axes at once. Any thread.
class Guiding {
 public:
  explicit Guiding(CameraSlot& slot) : slot_(slot) {}

  /// `direction`: ORQ_GUIDE_... Throws StateError while its axis has a pulse.
  void pulse(int direction, std::chrono::milliseconds length);
  bool isUnderWay() const { return underWay_[0] || underWay_[1]; }

 private:
  CameraSlot& slot_;
  std::array<std::atomic<bool>, 2> underWay_{};
  std::array<Workers, 2> axes_{{{1, 1}, {1, 1}}};
};

}  // namespace orq::network::alpaca
