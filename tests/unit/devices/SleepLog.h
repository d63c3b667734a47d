// Every usleep of this program: noted instead of slept.
#pragma once

#include <functional>

namespace sleeps {

/// Called with the microseconds of each sleep; nothing happens without one.
extern std::function<void(unsigned)> onSleep;

}  // namespace sleeps
