// What the devices of a virtual camera do at a moment, as a test or a demonstration looks at them.
#pragma once

#include <array>
#include <chrono>
#include <vector>

namespace orq {

/// One pulse on a line of the guide port, in real time whatever the time scale: the host measures it so.
struct GuidePulse {
  int line = 0;
  std::chrono::steady_clock::time_point start{};
  std::chrono::steady_clock::duration length{};
  bool cut = false;  ///< ended because the camera lost its power, not by the host
};

/// A snapshot. Temperatures in °C.
struct DeviceReadings {
  double deviceSeconds = 0;  ///< device time since the camera was made
  double ambientC = 0;
  double sensorC = 0;
  double hotSideC = 0;                  ///< warm side of the cooler; the housing where there is none
  int coolerDrive = 0;                  ///< 0 to 255
  int heaterDrive = 0;                  ///< 0 to 255
  int fanSpeed = 0;                     ///< 0 to 255, as it turns
  int ledLevel = 0;                     ///< 0 to 255
  bool hubOn = false;                   ///< false without a hub
  std::array<bool, 4> guideLines{};     ///< closed at this moment
  std::vector<GuidePulse> guidePulses;  ///< those that have ended, the oldest first; the last 1024
  double focusPosition = 0;             ///< where the lens is, steps
  bool focusMoving = false;
};

}  // namespace orq
