// The camera object's fields of the control subsystem.
#pragma once

#include <array>
#include <cstdint>

#include "controls/ControlTypes.h"
#include "support/threads/Relaxed.h"

namespace orq {

/// Values of the controls. Settings-file keys are the fields' own names unless one stands in quotes.
/// Written by the setters and by loading the settings, read by any thread.
struct ControlValues {
  Relaxed<std::uint64_t> exposureUs{0};       ///< µs; "Exposure" (low 32 bits)
  Relaxed<std::int32_t> gain{0};              ///< gain setting; "Gain"
  Relaxed<std::int32_t> gamma{0};             ///< 0..100, 50 neutral; not saved
  Relaxed<std::int32_t> Brightness{0};        ///< offset setting
  Relaxed<std::int32_t> Fclk{0};              ///< sensor clock setting
  Relaxed<std::uint8_t> HighSpeed{0};         ///< high-speed readout
  Relaxed<std::uint8_t> RawOutput{0};         ///< flag
  Relaxed<std::int32_t> bandwidthPerc{0};     ///< percent; "FPSPercentageUSB3" or "FPSPercentageUSB2" by host
  Relaxed<std::uint8_t> AutoFPS{0};           ///< automatic bandwidth
  Relaxed<std::uint8_t> FlipRow{0};           ///< horizontal flip
  Relaxed<std::uint8_t> FlipColumn{0};        ///< vertical flip
  Relaxed<std::int32_t> WB_Red{0};            ///< white balance red
  Relaxed<std::int32_t> WB_Blue{0};           ///< white balance blue
  Relaxed<std::int32_t> Pattern{0};           ///< pattern adjustment
  Relaxed<std::uint8_t> AutoExp{0};           ///< automatic exposure
  Relaxed<std::uint8_t> AutoGain{0};          ///< automatic gain
  Relaxed<std::uint8_t> autoWB{0};            ///< automatic white balance; "AutoWB"
  Relaxed<std::int32_t> AutoGainMax{50};      ///< highest gain of automatic control
  Relaxed<std::int32_t> AutoExpMaxMs{30000};  ///< longest exposure of automatic control, ms
  Relaxed<std::int32_t> DestBrightness{100};  ///< target mean of automatic control, 0..255
  Relaxed<std::uint8_t> HardwareBin{0};       ///< hardware binning
  Relaxed<std::uint8_t> HPC{0};               ///< hot-pixel correction on
  Relaxed<std::uint8_t> CutDark{0};           ///< dark subtraction on
  Relaxed<std::int32_t> OverCLKPerc{0};       ///< overclock percent
  Relaxed<std::uint8_t> DebugPrint{0};        ///< mirror of the log switch
};

/// What the model can do; set by its constructor, constant afterwards (`hasHighSpeed` may be found by a probe).
struct CapabilityFlags {
  std::uint8_t hasGain = 0, hasExposure = 0, hasGamma = 0, hasOffset = 0, hasBandwidth = 0;
  std::uint8_t hasWB_R = 0, hasWB_B = 0;
  std::uint8_t supportImgType0 = 0, supportImgType1 = 0, supportImgType2 = 0, supportImgType3 = 0;
  std::uint8_t bandwidthAutoSupported = 0;
  std::uint8_t bIsColor = 0;  ///< Bayer colour sensor
  std::uint8_t hasOverCLK = 0, hasTemperature = 0, hasHardwareBin = 0;
  Relaxed<std::uint8_t> hasHighSpeed{0};
  std::uint8_t isCooled = 0, hasPatternAdjust = 0, hasAntiDewHeater = 0;
};

/// The control list and the memory of the last exposure set.
struct ControlListState {
  ControlLimits limits;                                     ///< set by the model's constructor
  std::array<Relaxed<ORQ_CONTROL_TYPE>, 64> controlList{};  ///< controls of this camera, in order
  Relaxed<std::int32_t> controlCount{0};                    ///< entries of `controlList` in use
  Relaxed<std::int32_t> lastSetExp{-1};                     ///< clamped value of the last exposure set, µs
  Relaxed<std::uint8_t> lastSetExpAuto{0};                  ///< auto flag of the last exposure set
};

}  // namespace orq
