#include "session/frame/Readout.h"

#include "models/camera/ModelCamera.h"

namespace orq::session {

std::string ReadoutName(std::string_view sensorName, bool highSpeed) {
  if (highSpeed) return "High speed";
  return std::string(sensorName.empty() ? "Normal" : sensorName);
}

Readout ReadoutOf(const CModelCamera& camera) {
  const bool highSpeed = camera.HighSpeed != 0;
  const int mode = camera.GetReadoutMode();
  return {highSpeed ? 1 : mode, ReadoutName(ReadoutModeOf(camera.Model(), mode).name, highSpeed)};
}

}  // namespace orq::session
