// What a sensor does that takes the settings themselves: the FPGA exposes it, the controller translates for it.
#include "models/sensors/Sensor.h"

#include <algorithm>
#include <limits>

#include "controls/ElectronsPerAdu.h"
#include "link/WireProtocol.h"

namespace orq {

void Sensor::AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t) const {
  batch.Fpga(wire::kFpgaExposure, us, 5);
}

int Sensor::ExposureLines(std::uint64_t us, std::uint32_t lineNs) const {
  const std::uint64_t lines = us * 1000 / std::max(lineNs, 1U);
  return static_cast<int>(std::min<std::uint64_t>(lines, std::numeric_limits<int>::max()));
}

void Sensor::AddGain(RegisterBatch& batch, int setting) const {
  batch.Sensor(wire::kSensorGain, static_cast<std::uint64_t>(setting), 2);
}

float Sensor::ElectronsPerAdu(float base, int setting) const {
  return orq::ElectronsPerAdu(base, {}, setting);
}

void Sensor::AddBlackLevel(RegisterBatch& batch, int setting) const {
  batch.Sensor(wire::kSensorBlackLevel, static_cast<std::uint64_t>(setting), 2);
}

}  // namespace orq
