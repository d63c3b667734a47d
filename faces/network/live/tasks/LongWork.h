// Work on one camera that takes seconds or hours.
#pragma once

#include <condition_variable>
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
  /// Throws CancelledError when somebody has aborted the work: for moments at which nothing runs on the camera
  /// that its abort could end.
  using GoOn = std::function<void()>;
  /// Does it, and says what came of it. Throws Error.
  using Work = std::function<std::string(Camera&, const GoOn&)>;
  /// Whether the camera's capture is the work's own, which then takes the turn for it.
  enum class Uses { capture, nothing };

  explicit LongWork(std::shared_ptr<CameraSlot> slot) : slot_(std::move(slot)) {}
  ~LongWork();
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  /// Throws BusyError while other work is under way, and what `CameraSlot::camera` throws.
  void start(const std::string& kind, Uses uses, Work work);
  /// Ends it soon. Nothing when there is none. Throws BusyError when that would end the capture of somebody else.
  void abort();
  WorkState state() const;

 private:
  bool askToEnd();

  const std::shared_ptr<CameraSlot> slot_;
  mutable std::mutex mutex_;
  std::condition_variable ended_;
  WorkState state_;
  Uses uses_ = Uses::nothing;
  bool aborted_ = false;
  std::thread thread_;
};

}  // namespace orq::network
