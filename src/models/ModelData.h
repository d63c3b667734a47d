// A camera model as data.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "controls/ControlTypes.h"

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

/// One model: identity, geometry, limits and flags. One table row each, in ModelTable.cpp. Limits whose maximum
/// and minimum are both 0 mean that the model does not have that control.
struct ModelData {
  std::string_view key;      ///< short name: `k1c`
  std::string_view name;     ///< full name, as the camera reports it
  std::string_view summary;  ///< one line for users
  std::uint16_t productId = 0;
  int maxWidth = 0, maxHeight = 0;
  double pixelSizeUm = 0.0;
  int adcBits = 12;
  bool colour = false;
  int bayerPattern = 0;
  bool msbFirst = false;             ///< 16-bit samples arrive most significant byte first
  std::uint32_t lineTimeNs = 10000;  ///< time to read one sensor row at full bandwidth
  float baseElectronsPerAdu = 1.0F;  ///< electrons per ADC unit at gain factor 1; 0: unknown
  std::array<std::uint8_t, 16> bins{1, 2, 3, 4};
  std::array<bool, 4> formats{true, false, true, false};  ///< by IMG_TYPE
  ControlLimits limits;
  bool hardwareBin = false;  ///< the FPGA can bin by 2
  bool guidePort = false;
  bool cooled = false;
  RegionRules region;
  int usb3Bandwidth = 100;
};

/// All models; the order is that of listings.
std::span<const ModelData> AllModels();
/// By product id or by short name (any case); null when unknown.
const ModelData* FindModel(std::uint16_t productId);
const ModelData* FindModel(std::string_view key);

}  // namespace orq
