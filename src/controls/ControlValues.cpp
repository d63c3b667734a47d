// Reading and writing control values by public id.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "camera/CameraBase.h"
#include "controls/ControlResult.h"
#include "support/DbgPrint.h"
#include "support/Saturated.h"

using orq::Saturated;
using orq::SetResult;

namespace {

/// Tenths of a degree, cut toward zero; 0 for a temperature that is no number, bounded for one that is no
/// temperature.
long TenthsOfDegree(float celsius) {
  const double tenths = celsius * 10.0;
  if (std::isnan(tenths)) return 0;
  using Narrow = std::numeric_limits<std::int32_t>;
  return static_cast<long>(std::clamp<double>(tenths, Narrow::min(), Narrow::max()));
}

int NotSupported(ORQ_CONTROL_TYPE id) {
  DbgPrint(-1, "SetControlValue", "Setting %d is not supported\n", static_cast<int>(id));
  return CTRL_NOT_SUPPORTED;
}

/// Sets an exposure unless it is the one set last. A set that failed counts as well: repeating it does not
/// disturb the camera again.
int SetExposure(CCameraBase& camera, std::int32_t value, bool autoOn) {
  if (value == camera.lastSetExp && autoOn == (camera.lastSetExpAuto != 0)) return CTRL_OK;
  DbgPrint(-1, "SetControlValue", "SetExp-> %d, auto: %d\n", value, autoOn ? 1 : 0);
  const bool done = camera.SetExp(static_cast<unsigned long long>(static_cast<long long>(value)), autoOn);
  camera.lastSetExp = value;
  camera.lastSetExpAuto = autoOn ? 1 : 0;
  return SetResult(done);
}

void SetFlip(CCameraBase& camera, std::int32_t value) {
  camera.FlipRow = (value & 1) != 0 ? 1 : 0;
  camera.FlipColumn = (value & 2) != 0 ? 1 : 0;
}

long GetFlip(const CCameraBase& camera) {
  return (camera.FlipRow != 0 ? 1 : 0) + (camera.FlipColumn != 0 ? 2 : 0);
}

/// The line at which time is latched; `value` stays when it cannot be read.
int ReadLine(CCameraBase& camera, int which, long& value) {
  int line = 0;
  const int result = camera.GPSGetLine(which, line);
  if (result == CTRL_OK) value = line;
  return result;
}

struct AutoPara {
  int maxGain = 0;
  int maxExpMs = 0;
  int targetBrightness = 0;
};

AutoPara ReadAutoPara(CCameraBase& camera) {
  AutoPara para;
  camera.GetAutoPara(&para.maxGain, &para.maxExpMs, &para.targetBrightness);
  return para;
}

int ReplaceAutoPara(CCameraBase& camera, int AutoPara::*part, std::int32_t value) {
  AutoPara para = ReadAutoPara(camera);
  para.*part = value;
  camera.SetAutoPara(para.maxGain, para.maxExpMs, para.targetBrightness);
  return CTRL_OK;
}

}  // namespace

int CCameraBase::SetControlValue(ORQ_CONTROL_TYPE id, long value, bool autoOn) {
  std::int32_t wanted = Saturated(value);
  _ORQ_CONTROL_CAPS caps;
  if (GetCtrllCaps(id, &caps) != 0) {
    // Not std::clamp: limits may be crossed, and then the minimum wins only for values below it.
    if (wanted < caps.minValue)
      wanted = caps.minValue;
    else if (wanted > caps.maxValue)
      wanted = caps.maxValue;
  }
  const bool on = wanted >= 1;

  switch (id) {
    case ORQ_GAIN:
      return SetResult(SetGain(wanted, autoOn));
    case ORQ_EXPOSURE:
      return SetExposure(*this, wanted, autoOn);
    case ORQ_GAMMA:
      return SetResult(SetGamma(wanted) != 0);
    case ORQ_WB_R:
      SetWB(wanted, WB_Blue, autoOn);  // the setter's result is not the caller's, on purpose
      return CTRL_OK;
    case ORQ_WB_B:
      SetWB(WB_Red, wanted, autoOn);
      return CTRL_OK;
    case ORQ_OFFSET:
      return SetResult(SetBrightness(wanted));
    case ORQ_BAND_WIDTH:
      return SetResult(SetFPSPerc(wanted, autoOn));
    case ORQ_OVER_CLK:
      return SetResult(SetOverCLKPerc(wanted));
    case ORQ_TEMPERATURE:
      return CTRL_OK;
    case ORQ_FLIP:
      SetFlip(*this, wanted);
      return CTRL_OK;
    case ORQ_AUTO_EXP_MAX_GAIN:
      return ReplaceAutoPara(*this, &AutoPara::maxGain, wanted);
    case ORQ_AUTO_EXP_MAX_EXP_MS:
      return ReplaceAutoPara(*this, &AutoPara::maxExpMs, wanted);
    case ORQ_AUTO_EXP_TARGET_BRIGHTNESS:
      return ReplaceAutoPara(*this, &AutoPara::targetBrightness, wanted);
    case ORQ_HARDWARE_BIN:
      return SetResult(SetHardwareBin(on));
    case ORQ_HIGH_SPEED_MODE:
      return SetResult(SetHighSpeedMode(on));
    case ORQ_MONO_BIN:
      SetMonoBin(on);
      return CTRL_OK;
    case ORQ_PATTERN_ADJUST:
      SetPattern(wanted);
      return CTRL_OK;
    case ORQ_FAN_SPEED_ADJUST:
      return SetResult(SetFanSpeed(wanted));
    case ORQ_POWER_LED_BRIGHT:
      return SetResult(SetPowerLedBrightness(wanted));
    case ORQ_USB_HUB_RESET:
      return SetResult(ResetUSBHub());
    case ORQ_GPS_START_LINE:
      return GPSSetLine(0, wanted);
    case ORQ_GPS_END_LINE:
      return GPSSetLine(1, wanted);
    default:
      return NotSupported(id);
  }
}

int CCameraBase::GetControlValue(ORQ_CONTROL_TYPE id, long* value, ORQ_BOOL* autoOn) {
  // Callers that want only one of the two may leave the other out.
  long noValue = 0;
  ORQ_BOOL noFlag = 0;
  if (value == nullptr) value = &noValue;
  if (autoOn == nullptr) autoOn = &noFlag;

  *autoOn = 0;
  switch (id) {
    case ORQ_GAIN: {
      bool automatic = false;
      *value = GetGain(&automatic);
      *autoOn = automatic ? 1 : 0;
      return CTRL_OK;
    }
    case ORQ_EXPOSURE:
      *value = static_cast<long>(static_cast<std::uint32_t>(exposureUs.Load()));
      *autoOn = AutoExp;
      return CTRL_OK;
    case ORQ_GAMMA:
      *value = GetGamma();
      return CTRL_OK;
    case ORQ_WB_R:
      *value = WB_Red;
      *autoOn = autoWB;
      return CTRL_OK;
    case ORQ_WB_B:
      *value = WB_Blue;
      *autoOn = autoWB;
      return CTRL_OK;
    case ORQ_OFFSET:
      *value = Brightness;
      return CTRL_OK;
    case ORQ_BAND_WIDTH:
      *value = bandwidthPerc;
      *autoOn = AutoFPS;
      return CTRL_OK;
    case ORQ_OVER_CLK:
      *value = OverCLKPerc;
      return CTRL_OK;
    case ORQ_TEMPERATURE:
      *value = TenthsOfDegree(GetTemp());
      return CTRL_OK;
    case ORQ_FLIP:
      *value = GetFlip(*this);
      return CTRL_OK;
    case ORQ_AUTO_EXP_MAX_GAIN:
      *value = ReadAutoPara(*this).maxGain;
      return CTRL_OK;
    case ORQ_AUTO_EXP_MAX_EXP_MS:
      *value = ReadAutoPara(*this).maxExpMs;
      return CTRL_OK;
    case ORQ_AUTO_EXP_TARGET_BRIGHTNESS:
      *value = ReadAutoPara(*this).targetBrightness;
      return CTRL_OK;
    case ORQ_HARDWARE_BIN:
      *value = HardwareBin;
      return CTRL_OK;
    case ORQ_HIGH_SPEED_MODE:
      *value = HighSpeed;
      return CTRL_OK;
    case ORQ_MONO_BIN:
      *value = GetMonoBin() ? 1 : 0;
      return CTRL_OK;
    case ORQ_PATTERN_ADJUST:
      *value = Pattern;
      return CTRL_OK;
    case ORQ_FAN_SPEED_ADJUST:
      *value = GetFanSpeed();
      return CTRL_OK;
    case ORQ_POWER_LED_BRIGHT:
      *value = GetPowerLedBrightness();
      return CTRL_OK;
    case ORQ_USB_HUB_RESET:
      *value = GetUSBHubOn() ? 1 : 0;
      return CTRL_OK;
    case ORQ_GPS_SUPPORT:
      *value = GPSCheck() ? 1 : 0;
      return CTRL_OK;
    case ORQ_GPS_START_LINE:
      return ReadLine(*this, 0, *value);
    case ORQ_GPS_END_LINE:
      return ReadLine(*this, 1, *value);
    case ORQ_ROLLING_INTERVAL: {
      int interval = 0;
      const int known = GetRollingInterval(interval);
      *value = interval;
      return known != 0 ? CTRL_OK : CTRL_GET_FAILED;
    }
    default:
      return CTRL_NOT_SUPPORTED;
  }
}

long CCameraBase::GetValue(Control_TYPE type, bool* autoOn) {
  long value = 0;
  ORQ_BOOL automatic = 0;
  GetControlValue(ControlConv(type), &value, &automatic);
  if (autoOn != nullptr) *autoOn = automatic == 1;
  return value;
}

void CCameraBase::SetAutoPara(int maxGain, int maxExpMs, int targetBrightness) {
  AutoGainMax = maxGain;
  AutoExpMaxMs = maxExpMs;
  DestBrightness = targetBrightness;
}

void CCameraBase::GetAutoPara(int* maxGain, int* maxExpMs, int* targetBrightness) {
  if (maxGain != nullptr) *maxGain = AutoGainMax;
  if (maxExpMs != nullptr) *maxExpMs = AutoExpMaxMs;
  if (targetBrightness != nullptr) *targetBrightness = DestBrightness;
}
