// What the models add to the peripherals: the thermometer inside the sensor, line timing, the controls of cooling.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controls/ControlResult.h"
#include "link/WireProtocol.h"
#include "models/camera/ModelWorker.h"

namespace orq {
namespace {

constexpr int kFanFull = 255;
constexpr int kSensorReads = 3;
constexpr float kSensorDegreesPerCount = 1.0F / 256.0F;

}  // namespace

// The two bytes are read one by one while the sensor goes on measuring: the high byte must be the same before and
// after the low one, or the two are of different readings.
float CModelCamera::GetSensorTempInside() {
  const auto read = [this](int byte, unsigned char& value) {
    return ReadSONYREG(static_cast<unsigned short>(wire::kSensorTemperature + byte), &value);
  };
  unsigned char high = 0;
  if (!read(1, high)) return sensorTemp;
  for (int i = 0; i < kSensorReads; ++i) {
    unsigned char low = 0;
    unsigned char again = 0;
    if (!read(0, low) || !read(1, again)) return sensorTemp;
    if (again == high)
      return static_cast<float>(static_cast<std::int16_t>(high << 8 | low)) * kSensorDegreesPerCount;
    high = again;
  }
  return sensorTemp;
}

int CModelCamera::GetRollingInterval(int& interval) {
  if (!model_.gps) return 0;
  const auto percent = static_cast<std::uint64_t>(std::max(bandwidthPerc.Load(), 1));  // a settings file may say 0
  const std::uint64_t lineNs = std::uint64_t{LineTimeNs()} * 100 / percent;
  interval = static_cast<int>((lineNs + 50) / 100);
  return 1;
}

int CModelCamera::GetSHR0Time(float& time) {
  if (!model_.gps) return 0;
  time = model_.shr0OffsetUs;
  return 1;
}

int CModelCamera::SetControlValue(ORQ_CONTROL_TYPE id, long value, bool autoOn) {
  if (id == ORQ_MONO_BIN && value >= 1) {
    const FrameRegion region = Region();
    if (region.format == ORQ_IMG_RGB24 && region.bin > 1) return CTRL_SET_FAILED;  // no colours would be left
  }
  if (const std::optional<int> result = SetClimate(id, value)) return *result;
  const std::lock_guard lock(worker_->controls);
  if (_ORQ_CONTROL_CAPS caps; id == ORQ_READOUT_MODE && DescribeReadoutMode(caps))
    return SetResult(SetReadoutMode(static_cast<int>(std::clamp<long>(value, caps.minValue, caps.maxValue))));
  const int result = CCameraBase::SetControlValue(id, value, autoOn);
  const bool chosen = result == CTRL_OK && (id == ORQ_GPS_START_LINE || id == ORQ_GPS_END_LINE) && model_.gps;
  return chosen && !FollowGpsLines(false) ? CTRL_SET_FAILED : result;
}

// The result for the controls that cooled models serve; nothing for all others.
std::optional<int> CModelCamera::SetClimate(ORQ_CONTROL_TYPE id, long value) {
  if (!cooler_) return std::nullopt;
  const bool on = value >= 1;
  switch (id) {
    case ORQ_TARGET_TEMP:
      TargetTemp =
          static_cast<std::int32_t>(std::clamp<long>(value, GetMin(CT_TARGET_TEMP), GetMax(CT_TARGET_TEMP)));
      return CTRL_OK;
    case ORQ_COOLER_ON:
      return SetResult(on ? cooler_->SwitchOn() : cooler_->SwitchOff());
    case ORQ_ANTI_DEW_HEATER:
      if (hasAntiDewHeater == 0) return std::nullopt;
      return SetResult(cooler_->SetHeater(on));
    case ORQ_FAN_ON:
      if (!FanAdjustCheck()) return std::nullopt;
      return SetResult(SetFanSpeed(on ? kFanFull : 0));
    default:
      return std::nullopt;
  }
}

bool CModelCamera::DescribeReadoutMode(_ORQ_CONTROL_CAPS& caps) const {
  const std::span<const ReadoutMode> modes = model_.sensor->Modes();
  if (modes.empty()) return false;
  std::string names = "Readout mode:";
  for (std::size_t i = 0; i < modes.size(); ++i)
    names.append(i == 0 ? "" : " ").append(std::to_string(i)).append("->").append(modes[i].name);
  caps = {};
  std::snprintf(caps.name, sizeof caps.name, "%s", kReadoutModeName);
  std::snprintf(caps.description, sizeof caps.description, "%s", names.c_str());
  caps.maxValue = static_cast<std::int32_t>(modes.size()) - 1;
  caps.isWritable = 1;
  caps.controlType = ORQ_READOUT_MODE;
  return true;
}

int CModelCamera::GetControlValue(ORQ_CONTROL_TYPE id, long* value, ORQ_BOOL* autoOn) {
  if (id == ORQ_READOUT_MODE && !model_.sensor->Modes().empty()) {
    if (value != nullptr) *value = worker_->readoutMode;
    if (autoOn != nullptr) *autoOn = 0;
    return CTRL_OK;
  }
  if (!cooler_) return CCameraBase::GetControlValue(id, value, autoOn);
  long read = 0;
  switch (id) {
    case ORQ_COOL_POWER_PERC:
      read = std::lround(coolPowerPerc.Load());
      break;
    case ORQ_TARGET_TEMP:
      read = TargetTemp;
      break;
    case ORQ_COOLER_ON:
      read = cooler_->IsOn() ? 1 : 0;
      break;
    case ORQ_ANTI_DEW_HEATER:
      if (hasAntiDewHeater == 0) return CCameraBase::GetControlValue(id, value, autoOn);
      read = cooler_->HeaterOn() ? 1 : 0;
      break;
    case ORQ_FAN_ON:
      if (!FanAdjustCheck()) return CCameraBase::GetControlValue(id, value, autoOn);
      read = GetFanSpeed() > 0 ? 1 : 0;
      break;
    default:
      return CCameraBase::GetControlValue(id, value, autoOn);
  }
  if (value != nullptr) *value = read;
  if (autoOn != nullptr) *autoOn = 0;
  return CTRL_OK;
}

std::optional<double> CModelCamera::CoolerReach() const {
  return cooler_ ? cooler_->Reach() : std::nullopt;
}

void CModelCamera::KeepCooling(bool keep) {
  if (cooler_) cooler_->Keep(keep);
}

std::string CModelCamera::CoolerTrouble() const {
  return cooler_ ? cooler_->Trouble() : std::string();
}

}  // namespace orq
