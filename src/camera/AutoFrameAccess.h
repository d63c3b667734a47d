// What the members of automatic control gather from the camera object before they call their kernels.
#pragma once

#include "autoctl/AutoFrame.h"
#include "camera/CameraState.h"
#include "camera/CorrectionAccess.h"
#include "controls/ControlState.h"

namespace orq {

/// The settings that decide how a frame lies in the buffer, each field read once.
inline AutoGeometry CurrentAutoGeometry(const GeometryState& geometry, const ControlValues& values) {
  return {.imageWidth = geometry.iWidth,
          .imageHeight = geometry.iHeight,
          .bin = geometry.iBin,
          .hardwareBin = values.HardwareBin != 0,
          .fpgaBin = geometry.fpgaBin != 0};
}

/// Bytes of `autoBuf`.
inline std::size_t AutoBufferBytes(const GeometryState& geometry) {
  return SensorPixels(geometry) * 2;
}

}  // namespace orq
