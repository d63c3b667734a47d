// A box around a planet that goes along with it.
#pragma once

#include <chrono>

#include "camera/Device.h"

namespace orq::cli {

class DiscFollower {
 public:
  explicit DiscFollower(Device& camera) : camera_(camera) {}

  /// Makes the region a box around the disc that `frame`, of the region that is set now, shows. Throws CliError
  /// when it shows none.
  void Place(const Frame& frame);
  /// Moves the box when the disc in `frame` has left its middle. Looks five times a second at most.
  void Look(const Frame& frame);

 private:
  using Clock = std::chrono::steady_clock;
  void MoveTo(const orq_frame_info& info, const orq_disc& disc, int width, int height);

  Device& camera_;
  Clock::time_point looked_{};
};

}  // namespace orq::cli
