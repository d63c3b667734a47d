// Ctrl-C and its kin: a wish to stop, noticed at once wherever the tool waits.
#pragma once

#include <chrono>

namespace orq::cli {

/// From now on SIGINT, SIGTERM and SIGHUP ask for a clean stop (the third one kills), and a closed pipe or a
/// file size limit shows as a write error. Once per process.
void InstallSignals();
bool StopRequested();
/// Waits; true at once when a stop was or is requested.
bool WaitForStop(std::chrono::milliseconds atMost);

/// While one lives, no number of those signals kills, and Ctrl-\ and Ctrl-Z ask for a clean stop as well: for work
/// that must not be left half done and soon ends by itself. One at a time.
class StopShield {
 public:
  StopShield();
  ~StopShield();
  StopShield(const StopShield&) = delete;
  StopShield& operator=(const StopShield&) = delete;
};

}  // namespace orq::cli
