// In which way a sensor is read out, in words.
#pragma once

#include <string>
#include <string_view>

namespace orq {
class CModelCamera;
}

namespace orq::session {

/// Two frames of different readouts have other black levels, other noise and other dark currents.
struct Readout {
  int mode = 0;      ///< of the sensor; 1 in high speed
  std::string name;  ///< "Normal", "High speed", or the sensor's own name for the mode

  bool operator==(const Readout&) const = default;
};

/// `sensorName`: empty for a sensor with one mode.
std::string ReadoutName(std::string_view sensorName, bool highSpeed);

/// As the camera is set now.
Readout ReadoutOf(const CModelCamera& camera);

}  // namespace orq::session
