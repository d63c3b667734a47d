// How a service waits.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace orq::session {

/// Waits that long at most; true, at once, when somebody wishes that the work stops. Called on the thread that
/// asked for the work; must not throw.
using Pause = std::function<bool(std::chrono::milliseconds)>;

/// For work that nobody stops.
inline bool SleepThrough(std::chrono::milliseconds time) {
  std::this_thread::sleep_for(time);
  return false;
}

}  // namespace orq::session
