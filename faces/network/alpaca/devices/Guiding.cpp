#include "alpaca/devices/Guiding.h"

#include <cstddef>
#include <memory>
#include <string>

#include "Log.h"

namespace orq::network::alpaca {

void Guiding::pulse(int direction, std::chrono::milliseconds length) {
  const std::size_t axis = direction == ORQ_GUIDE_NORTH || direction == ORQ_GUIDE_SOUTH ? 0 : 1;
  if (underWay_[axis].exchange(true)) throw StateError("a pulse on this axis is under way; wait for its end");
  const std::shared_ptr<Camera> camera = slot_.lastCamera();
  axes_[axis].run([this, axis, camera, direction, length] {
    try {
      camera->guide(direction, length);
    } catch (const CancelledError&) {
      // Somebody has aborted: the line is off.
    } catch (const Error& error) {
      logLine("camera " + std::to_string(slot_.index()) + ": guide pulse: " + error.what());
    }
    underWay_[axis] = false;
  });
}

}  // namespace orq::network::alpaca
