#include "models/table/FieldLimits.h"

#include <algorithm>
#include <cstdint>

#include "camera/CameraBase.h"

namespace orq {
namespace {

constexpr std::uint8_t kMostVerbose = 4;  // of libusb's debug levels

struct LimitedNumber {
  ORQ_CONTROL_TYPE control;
  Relaxed<std::int32_t> CCameraBase::*field;
};

constexpr LimitedNumber kNumbers[] = {{ORQ_GAIN, &CCameraBase::gain},
                                      {ORQ_OFFSET, &CCameraBase::Brightness},
                                      {ORQ_WB_R, &CCameraBase::WB_Red},
                                      {ORQ_WB_B, &CCameraBase::WB_Blue},
                                      {ORQ_BAND_WIDTH, &CCameraBase::bandwidthPerc},
                                      {ORQ_BAND_WIDTH, &CCameraBase::usb3Bandwidth},
                                      {ORQ_OVER_CLK, &CCameraBase::OverCLKPerc},
                                      {ORQ_PATTERN_ADJUST, &CCameraBase::Pattern},
                                      {ORQ_TARGET_TEMP, &CCameraBase::TargetTemp},
                                      {ORQ_AUTO_EXP_MAX_GAIN, &CCameraBase::AutoGainMax},
                                      {ORQ_AUTO_EXP_MAX_EXP_MS, &CCameraBase::AutoExpMaxMs},
                                      {ORQ_AUTO_EXP_TARGET_BRIGHTNESS, &CCameraBase::DestBrightness}};

constexpr Relaxed<std::uint8_t> CCameraBase::*kFlags[] = {
    &CCameraBase::DebugPrint, &CCameraBase::FlipRow, &CCameraBase::FlipColumn,  &CCameraBase::AutoExp,
    &CCameraBase::AutoGain,   &CCameraBase::AutoFPS, &CCameraBase::RawOutput,   &CCameraBase::HighSpeed,
    &CCameraBase::autoWB,     &CCameraBase::HPC,     &CCameraBase::HardwareBin, &CCameraBase::CutDark};

void LimitNumber(CCameraBase& camera, const LimitedNumber& number) {
  _ORQ_CONTROL_CAPS caps{};
  if (camera.GetCtrllCaps(number.control, &caps) == 0 || caps.minValue > caps.maxValue) return;
  camera.*number.field = std::clamp<std::int32_t>(camera.*number.field, caps.minValue, caps.maxValue);
}

}  // namespace

void LimitFields(CCameraBase& camera) {
  for (const LimitedNumber& number : kNumbers) LimitNumber(camera, number);
  for (const auto flag : kFlags) camera.*flag = camera.*flag != 0 ? 1 : 0;
  if (camera.hasHardwareBin == 0) camera.HardwareBin = 0;
  camera.LibusbLogLever = std::min(camera.LibusbLogLever.Load(), kMostVerbose);
  camera.exposureUs =
      std::clamp<std::uint64_t>(camera.exposureUs, static_cast<std::uint64_t>(camera.limits.exposureMin),
                                static_cast<std::uint64_t>(camera.limits.exposureMax));
}

}  // namespace orq
