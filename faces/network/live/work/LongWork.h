// Work on one camera that takes seconds or hours.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>

#include "cameras/CameraSlot.h"

namespace orq::network {

/// What the work is, or was last.
struct WorkState {
  std::string kind;  ///< "exposure", "dark", "hot-pixels", "warm-up", "focus"; empty: there was none yet
  bool running = false;
  std::string result;   ///< one line, of work that is done
  std::string trouble;  ///< why it failed; empty: it did not
};

/// One piece of work at a time, on a thread of its own; it goes on when whoever asked for it is gone. Any thread.
class LongWork {
 public:
  /// Does it, and says what came of it. Throws Error.
  using Work = std::function<std::string(Camera&)>;

  explicit LongWork(std::shared_ptr<CameraSlot> slot) : slot_(std::move(slot)) {}
  ~LongWork();
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  /// Throws BusyError while other work is under way, and what `CameraSlot::camera` throws.
  void start(const std::string& kind, Work work);
  /// Ends it soon. Nothing when there is none.
  void abort();
  WorkState state() const;

 private:
  const std::shared_ptr<CameraSlot> slot_;
  mutable std::mutex mutex_;
  WorkState state_;
  std::thread thread_;
};

}  // namespace orq::network
