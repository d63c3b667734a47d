#include "virtual/sensor/chips/SensorChip.h"

#include "virtual/sensor/chips/PlainChip.h"

namespace orq {

std::unique_ptr<SensorChip> MakeSensorChip(std::string_view) {
  return std::make_unique<PlainChip>();
}

}  // namespace orq
