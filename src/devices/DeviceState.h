// The camera object's fields of the peripherals.
#pragma once

#include <cstdint>

#include "support/threads/Relaxed.h"

namespace orq {

struct TemperatureState {
  std::int32_t tempSensorType = 0;  ///< which thermometer the model has, 0..4; set by the model
  Relaxed<float> sensorTemp{0.0F};  ///< last temperature delivered, degrees Celsius
  Relaxed<float> ntcTemp{0.0F};     ///< last good thermistor temperature, degrees Celsius
  std::int32_t ntcTempMin = -50;    ///< accepted thermistor range, degrees Celsius; from the constructor on
  std::int32_t ntcTempMax = -50;
};

}  // namespace orq
