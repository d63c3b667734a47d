// A group of properties that a camera has while it is connected.
#pragma once

#include <cstdio>
#include <orqcam/orqcam.hpp>

#include "panels/Requests.h"

namespace orq::indi {

/// All on INDI's thread. `set` functions answer whether the property is theirs, and report their own failures.
class Panel {
 public:
  virtual ~Panel() = default;
  /// Defines what this camera has of it; the camera lives until `disconnected`.
  virtual void connected(Camera& camera) = 0;
  /// Takes it away. The camera may have been lost.
  virtual void disconnected() = 0;
  virtual bool set(const NumberRequest&) { return false; }
  virtual bool set(const SwitchRequest&) { return false; }
  virtual bool set(const TextRequest&) { return false; }
  /// Writes what is to be as it is now when the configuration is loaded.
  virtual void save(std::FILE*) {}
  /// Once a second while the camera answers.
  virtual void tick() {}
  /// A frame has come, before clients see it.
  virtual void frame(const Frame&) {}
  /// The camera is gone, or is there again.
  virtual void lost() {}
  virtual void returned() {}
};

}  // namespace orq::indi
