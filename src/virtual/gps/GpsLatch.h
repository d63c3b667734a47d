// When a frame's two GPS lines were exposed.
#pragma once

#include <cstdint>

namespace orq {

/// Sensor lines at which a camera latches the time.
struct GpsLines {
  int start = 0;
  int end = 0;
};

/// One frame's latch, in device seconds: when the exposure of its two lines began.
struct GpsLatch {
  std::uint32_t count = 0;  ///< 0: nothing has been latched
  double startSeconds = 0;
  double endSeconds = 0;
};

}  // namespace orq
