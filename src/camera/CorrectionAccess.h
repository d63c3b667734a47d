// What the members of the image corrections gather from the camera object before they call their kernels.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "camera/CameraState.h"
#include "image/SensorCut.h"

namespace orq {

/// Pixels of the sensor; 0 for a sensor without any.
inline std::size_t SensorPixels(const GeometryState& geometry) {
  return static_cast<std::size_t>(std::max(geometry.iMaxWidth, 0)) *
         static_cast<std::size_t>(std::max(geometry.iMaxHeight, 0));
}

/// The `count` entries of a buffer; empty when it is absent or `count` is not positive.
template <class T, class Count>
std::span<T> View(const std::unique_ptr<T[]>& buffer, Count count) {
  return {buffer.get(), buffer && count > 0 ? static_cast<std::size_t>(count) : 0};
}

/// The current geometry, each field read once.
inline SensorCut CurrentCut(const GeometryState& geometry, bool hardwareBin) {
  return {.sensorWidth = geometry.iMaxWidth,
          .sensorHeight = geometry.iMaxHeight,
          .startX = geometry.iStartX,
          .startY = geometry.iStartY,
          .width = geometry.iWidth,
          .height = geometry.iHeight,
          .bin = geometry.iBin,
          .twoStageBin4 = geometry.bBin4By2x2 != 0,
          .hardwareBin = hardwareBin};
}

}  // namespace orq
