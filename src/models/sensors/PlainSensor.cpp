#include "models/sensors/PlainSensor.h"

#include "link/SteppedGain.h"

namespace orq {

float SteppedSensor::ElectronsPerAdu(float base, int setting) const {
  return static_cast<float>(static_cast<double>(base) / SteppedGain(setting));
}

}  // namespace orq
