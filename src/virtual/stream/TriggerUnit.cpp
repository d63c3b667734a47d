#include "virtual/stream/TriggerUnit.h"

#include <algorithm>

#include "link/WireProtocol.h"
#include "virtual/device/FpgaRegisters.h"

namespace orq {

TriggerSetting TriggerSettingOf(const FpgaRegisters& fpga) {
  const int bits = fpga.Read(wire::kFpgaTriggerInput);
  TriggerSetting setting;
  setting.listens = (bits & wire::kTriggerEnable) != 0 && (bits & wire::kTriggerSoftMode) == 0;
  setting.external = (bits & wire::kTriggerExternal) != 0;
  setting.edge = (bits & wire::kTriggerEdge) != 0;
  setting.activeHigh = (bits & wire::kTriggerActiveHigh) != 0;
  return setting;
}

void TriggerUnit::Set(const TriggerSetting& setting) {
  if (setting == setting_) return;
  setting_ = setting;
  levelWaits_ = false;
  Forget();
}

void TriggerUnit::SoftwareRequest(Sensor sensor, Time now) {
  if (setting_.listens && !setting_.external) Arrive(sensor, now);
}

void TriggerUnit::SetLine(bool high, Sensor sensor, Time now) {
  if (high == line_) return;
  line_ = high;
  lineSince_ = now;
  if (!setting_.listens || !setting_.external) return;
  if (setting_.edge) {
    if (Active()) Arrive(sensor, now);
  } else if (!Active()) {
    missed_ += levelWaits_ ? 1 : 0;
    levelWaits_ = false;
  } else if (sensor == Sensor::Ready && !taken_) {
    taken_ = now;  // served even if the level is gone when the sensor's thread looks
  } else {
    levelWaits_ = sensor != Sensor::Off;
  }
}

void TriggerUnit::Arrive(Sensor sensor, Time now) {
  if (sensor == Sensor::Ready && !taken_)
    taken_ = now;
  else if (sensor != Sensor::Off)
    ++missed_;
}

bool TriggerUnit::AtLevel() const {
  return setting_.listens && setting_.external && !setting_.edge && Active();
}

bool TriggerUnit::Due(Time freeAt, Time now) const {
  return taken_ || (AtLevel() && now >= freeAt);
}

TriggerUnit::Time TriggerUnit::Serve(Time freeAt) {
  const Time start = taken_.value_or(std::max(lineSince_, freeAt));
  if (!taken_) levelWaits_ = false;  // else an earlier trigger is served, and the level goes on waiting
  Forget();
  return start;
}

}  // namespace orq
