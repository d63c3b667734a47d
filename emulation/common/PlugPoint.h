// A camera on some emulated bus, as commands see it.
#pragma once

#include <string>

#include "virtual/bus/VirtualCamera.h"

namespace orq {

/// Any-thread.
class PlugPoint {
 public:
  virtual ~PlugPoint() = default;
  virtual VirtualCamera& Camera() const = 0;
  virtual bool Plugged() const = 0;
  /// Plugs the camera in, power cycled; pulls it out first when it is in. False with a reason in `error`.
  virtual bool Replug(std::string& error) = 0;
  /// Pulls the camera out: everything under way ends with no-device. Harmless when it is out already.
  virtual void Unplug() = 0;
  /// Refuses frame transfers until the host clears the endpoint's halt.
  virtual void HaltFrames() = 0;
  /// Ends the next frame transfer with this negative errno (-EPROTO, -EOVERFLOW, ...).
  virtual void FailNextTransfer(int error) = 0;
  /// Answers nothing any more, until it is plugged in anew.
  virtual void Silence() = 0;
};

}  // namespace orq
