// The camera information record.
#pragma once

#include <cstdint>

#include "controls/ControlTypes.h"

/// What an application learns about a camera before it captures.
struct _ORQ_CAMERA_INFO {
  char name[64];               ///< full model name, zero-terminated
  std::int32_t cameraId;       ///< filled by the caller, who knows the camera's index
  std::int32_t maxHeight;      ///< sensor rows
  std::int32_t maxWidth;       ///< sensor columns
  ORQ_BOOL colourSensor;       ///< a Bayer colour sensor
  std::int32_t bayerPattern;   ///< 0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG
  std::int32_t binList[16];    ///< bin factors, 0 after the last
  std::int32_t formatList[8];  ///< IMG_TYPE values in the order 0, 1, 3, 2, then -1
  double pixelSize;            ///< edge of a sensor pixel, µm
  ORQ_BOOL hasShutter;         ///< always 0
  ORQ_BOOL hasGuidePort;
  ORQ_BOOL hasCooler;
  ORQ_BOOL usb3HostPort;  ///< plugged into a USB 3 port
  ORQ_BOOL usb3Camera;
  float electronsPerAdu;  ///< electrons per ADC unit at the current gain
  std::int32_t adcBits;
  ORQ_BOOL hasTriggerModes;
};
