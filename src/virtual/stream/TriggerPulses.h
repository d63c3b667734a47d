// A pulse generator on the trigger input.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "support/threads/Mutex.h"

namespace orq {

/// Switches a line up and down, half a period each, from its making to its end. The line starts low. Real time:
/// the generator stands beside the camera and knows nothing of its time scale.
class TriggerPulses {
 public:
  TriggerPulses(std::chrono::microseconds period, std::function<void(bool high)> line);
  ~TriggerPulses();
  TriggerPulses(const TriggerPulses&) = delete;
  TriggerPulses& operator=(const TriggerPulses&) = delete;

 private:
  void Run();

  const std::chrono::microseconds period_;
  const std::function<void(bool high)> line_;
  Mutex mutex_;
  std::condition_variable changed_;
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace orq
