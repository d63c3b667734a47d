// A camera model as data.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "controls/ControlTypes.h"
#include "image/ImageState.h"
#include "models/cooling/CoolerRegulator.h"
#include "models/sensors/PlainSensor.h"

namespace orq {

/// Region rules, in output pixels (width, height) and sensor pixels (start).
struct RegionRules {
  int widthStep = 8;
  int heightStep = 2;
  int startXStep = 2;
  int startYStep = 2;
  int minWidth = 16;
  int minHeight = 4;
};

/// Which thermometer a model has; the numbers are those of `tempSensorType`.
enum class Thermometer : std::int8_t { None = -1, Tmp100 = 0, Adc081 = 1, Ad7142 = 2, Tmp451 = 3, Sensor = 4 };

/// How a cooled model is cooled. Counts only when `ModelData::cooled` is set.
struct CoolerData {
  RegulatorTuning tuning;
  int watchdogSeconds = 20;        ///< the drive falls to 0 by itself when the program has been silent so long
  std::uint8_t heaterDrive = 128;  ///< of the window heater when it is on, 0 to 255
};

/// `pBinOffsets` of a model: entry `bin * 8 + k`.
using BinOffsetTable = std::array<BinOffset, kBinOffsets>;

/// One model: identity, geometry, limits and flags. One table row each, in ModelTable.cpp. Limits whose maximum
/// and minimum are both 0 mean that the model does not have that control.
struct ModelData {
  std::string_view key;      ///< short name: `k1c`
  std::string_view name;     ///< full name, as the camera reports it
  std::string_view summary;  ///< one line for users
  std::uint16_t productId = 0;
  int maxWidth = 0, maxHeight = 0;
  double pixelSizeUm = 0.0;
  const Sensor* sensor = &kPlainSensor;  ///< its power sequence, and which registers a setting becomes
  int adcBits = 12;
  bool colour = false;
  int bayerPattern = 0;
  bool msbFirst = false;  ///< 16-bit samples arrive most significant byte first
  // The next three are of a sensor's first readout mode.
  std::uint32_t lineTimeNs = 10000;  ///< time to read one sensor row at full bandwidth
  float baseElectronsPerAdu = 1.0F;  ///< electrons per ADC unit at gain factor 1; 0: unknown
  double fullWellElectrons = 0.0;    ///< that a pixel holds; 0: unknown
  int countsPerOffset = 0;           ///< ADC units of black level per offset setting; 0: unknown
  std::array<std::uint8_t, 16> bins{1, 2, 3, 4};
  std::array<bool, 4> formats{true, false, true, false};  ///< by IMG_TYPE
  ControlLimits limits;
  bool hardwareBin = false;   ///< binning by 2 in hardware can be switched on
  bool fpgaBin = false;       ///< the FPGA always bins, at every even factor; the bins must then be 1, 2 and 4
  BinOffsetTable binOffsets;  ///< where a hot sensor pixel shows in a frame that was binned in hardware
  bool usb3Camera = true;
  bool guidePort = false;
  bool gps = false;           ///< has a GPS receiver and states the timing of its lines for it
  float shr0OffsetUs = 0.0F;  ///< from a line's GPS latch to the start of its exposure
  bool highSpeed = false;     ///< has the fast readout; two product ids tell by a probe instead
  bool overClock = false;     ///< flags of boards with more to adjust
  bool patternAdjust = false;
  bool bandwidthAuto = false;
  bool antiDewHeater = false;
  bool normalModeFPGATrigger = false;  ///< the FPGA's trigger unit stays on in the normal mode
  Thermometer thermometer = Thermometer::None;
  bool cooled = false;
  CoolerData cooler;
  int ticksPerMs = 1000;               ///< of the FPGA's exposure counter
  std::uint8_t focusMotorRequest = 0;  ///< vendor request of the focus motor's driver; 0: no motor
  RegionRules region;
  int usb3Bandwidth = 100;
  /// Seconds of the computer that one second of the camera takes: other than 1 for virtual cameras only.
  double timeScale = 1.0;
  bool isVirtual = false;  ///< no camera of this name is there: what is kept of it is kept apart
};

/// A readout mode of the model's sensor; numbers that it does not have count as the first.
ReadoutMode ReadoutModeOf(const ModelData& model, int mode);
/// What one ADC unit is worth in a readout mode at a gain setting, electrons; 0: unknown.
double ElectronsPerAdc(const ModelData& model, int mode, int gain);

/// All models; the order is that of listings.
std::span<const ModelData> AllModels();
/// By product id or by short name (any case); null when unknown.
const ModelData* FindModel(std::uint16_t productId);
const ModelData* FindModel(std::string_view key);

}  // namespace orq
