// The camera information record.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "camera/CameraBase.h"
#include "controls/ElectronsPerAdu.h"

namespace {

/// Formats in the order in which the record lists them.
constexpr std::array kFormatOrder{ORQ_IMG_RAW8, ORQ_IMG_RGB24, ORQ_IMG_Y8, ORQ_IMG_RAW16};
constexpr std::int32_t kEndOfFormats = -1;
static_assert(kFormatOrder.size() < sizeof(_ORQ_CAMERA_INFO::formatList) / sizeof(std::int32_t));
static_assert(std::tuple_size_v<decltype(CCameraBase::binList)> ==
              sizeof(_ORQ_CAMERA_INFO::binList) / sizeof(std::int32_t));

template <std::size_t N>
void CopyName(std::string_view name, char (&out)[N]) {
  const std::string_view fitting = name.substr(0, N - 1);
  std::fill(std::copy(fitting.begin(), fitting.end(), out), std::end(out), '\0');
}

void ListFormats(CCameraBase& camera, _ORQ_CAMERA_INFO& info) {
  std::fill(std::begin(info.formatList), std::end(info.formatList), kEndOfFormats);
  std::copy_if(kFormatOrder.begin(), kFormatOrder.end(), std::begin(info.formatList),
               [&camera](IMG_TYPE type) { return camera.IsImgTypeSupported(type); });
}

ORQ_BOOL Flag(std::int32_t value) {
  return value != 0 ? 1 : 0;
}

}  // namespace

void CCameraBase::GetCameraProperty(_ORQ_CAMERA_INFO* info) {
  if (info == nullptr) return;
  CopyName(modelName, info->name);
  info->maxHeight = iMaxHeight;
  info->maxWidth = iMaxWidth;
  info->colourSensor = Flag(bIsColor);
  info->bayerPattern = bayerPattern;
  std::copy(binList.begin(), binList.end(), std::begin(info->binList));
  ListFormats(*this, *info);
  info->pixelSize = pixelSizeUm;
  info->hasShutter = 0;
  info->hasGuidePort = Flag(hasGuidePort);
  info->hasCooler = Flag(isCooled);
  info->usb3HostPort = Flag(usb3Host);
  info->usb3Camera = Flag(isUsb3Camera);
  info->electronsPerAdu = orq::ElectronsPerAdu(baseElectronsPerAdu, modelName, gain);
  info->adcBits = iADCBits;
  info->hasTriggerModes = Flag(supportTrigger);
}
