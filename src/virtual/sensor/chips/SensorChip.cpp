#include "virtual/sensor/chips/SensorChip.h"

#include "virtual/sensor/chips/D6Chip.h"
#include "virtual/sensor/chips/L3Chip.h"
#include "virtual/sensor/chips/PlainChip.h"

namespace orq {

std::unique_ptr<SensorChip> MakeSensorChip(std::string_view model) {
  if (model == "l3m") return std::make_unique<L3Chip>();
  if (model == "d6m") return std::make_unique<D6Chip>();
  return std::make_unique<PlainChip>();
}

}  // namespace orq
