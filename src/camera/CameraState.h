// The camera object's own fields: identity, geometry, capture, camera modes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "camera/CameraModeTypes.h"
#include "support/threads/Relaxed.h"

/// Exposure status.
enum ExpStatus : std::int32_t { ExpIdle = 0, ExpWorking = 1, ExpSuccess = 2, ExpFailed = 3 };

namespace orq {

/// Who the camera is and to what it is connected.
struct IdentityState {
  std::int32_t iVID = 0;                        ///< USB vendor id, low 16 bits used; set by the model
  std::int32_t iPID = 0;                        ///< USB product id, low 16 bits used; set by the model
  Relaxed<std::uint8_t> LibusbLogLever{0};      ///< libusb debug level; settings key of that name
  Relaxed<std::int32_t> cameraIndex{0};         ///< index last passed to OpenCamera
  Relaxed<std::int32_t> usb3Host{0};            ///< result of the USB 3 host test of the last open
  Relaxed<std::int32_t> transferUnit{33};       ///< host-speed parameter: 33 on USB 3, 97 on USB 2
  Relaxed<std::uint8_t> sensorClockStopped{0};  ///< StopSensorCLK succeeded and StartSensorCLK has not since
  std::string modelName;                        ///< set by the model
  double pixelSizeUm = 0.0;                     ///< edge of a sensor pixel, µm; set by the model
  Relaxed<float> baseElectronsPerAdu{0.0F};     ///< electrons per ADC unit at gain factor 1; set by the model
  std::int32_t iADCBits = 0;                    ///< ADC depth: 12, 14 or 16; set by the model
  std::array<std::uint8_t, 16> binList{1};      ///< bin factors, 0 after the last; set by the model
  std::uint8_t hasGuidePort = 0;                ///< set by the model
  std::uint8_t isUsb3Camera = 0;                ///< set by the model
};

/// Sensor and image geometry.
struct GeometryState {
  std::int32_t iMaxWidth = 0;        ///< sensor columns; set by the model
  std::int32_t iMaxHeight = 0;       ///< sensor rows; set by the model
  Relaxed<std::int32_t> iWidth{0};   ///< image width in output pixels
  Relaxed<std::int32_t> iHeight{0};  ///< image height in output pixels
  Relaxed<std::int32_t> iStartX{0};  ///< first column of the region, sensor pixels
  Relaxed<std::int32_t> iStartY{0};  ///< first row of the region, sensor pixels
  Relaxed<std::int32_t> iBin{1};     ///< bin factor, 1..4
  std::uint8_t bBin4By2x2 = 0;       ///< bin 4 is hardware bin 2 followed by software bin 2; set by the model
  std::int32_t bayerPattern = 0;     ///< 0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG; set by the model
  std::uint8_t fpgaBin = 0;          ///< the FPGA delivers frames already binned; set by the model
  Relaxed<std::uint8_t> b16Bit{0};   ///< frames arrive with two bytes per sample
  Relaxed<std::uint8_t> monoBin{0};  ///< monochrome binning selected
};

/// Capture and camera modes.
struct CaptureState {
  Relaxed<std::int32_t> expStatus{ExpIdle};      ///< ExpStatus of the running or last exposure
  Relaxed<std::int32_t> captureStartMark{0};     ///< set to 1 at every capture start
  Relaxed<std::uint8_t> snapMode{0};             ///< argument of the last StartCapture
  Relaxed<CAM_MODE> camMode{0};                  ///< current camera mode
  Relaxed<std::uint8_t> supportTrigger{0};       ///< the firmware offers trigger modes
  Relaxed<std::uint8_t> supportModes1to3{0};     ///< modes 1, 2, 3 are offered
  Relaxed<std::uint8_t> supportModes4to6{0};     ///< modes 4, 5, 6 are offered
  std::uint8_t normalModeFPGATrigger = 0;        ///< keep the FPGA's trigger mode on in mode 0; set by the model
  std::uint8_t pinAHigh = 1, pinBHigh = 1;       ///< trigger output levels, 1 = active high
  std::int32_t pinADelay = 0, pinADuration = 0;  ///< trigger output A, µs
  std::int32_t pinBDelay = 0, pinBDuration = 0;  ///< trigger output B, µs
};

}  // namespace orq
