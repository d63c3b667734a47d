#include "camera/Expose.h"

#include <chrono>

#include "output/Signals.h"

namespace orq::cli {

std::optional<orq::Frame> Expose(Device& camera) {
  if (StopRequested()) return std::nullopt;
  camera->startExposure();
  // The library gives up by itself when a frame is overdue.
  constexpr std::chrono::milliseconds kLook{20};
  while (!StopRequested()) {
    try {
      return camera->wait(kLook);
    } catch (const TimeoutError&) {
      // Still on its way.
    }
  }
  camera->abort();
  return std::nullopt;
}

}  // namespace orq::cli
