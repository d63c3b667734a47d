// What a frame shows and what is known about it.
#pragma once

#include <cstdint>

#include "controls/ControlTypes.h"

namespace orq {

/// Which part of the sensor a frame shows and how. Start in sensor pixels, size in output pixels.
struct FrameRegion {
  int startX = 0;
  int startY = 0;
  int width = 0;
  int height = 0;
  int bin = 1;
  IMG_TYPE format = ORQ_IMG_RAW16;
  bool operator==(const FrameRegion&) const = default;
};

/// What is known about a delivered frame. The settings are those the frame was taken with.
struct FrameInfo {
  FrameRegion region;
  std::uint32_t sequence = 0;  ///< the camera's own frame number
  std::uint64_t exposureUs = 0;
  int gain = 0;
  int offset = 0;
  bool flipHorizontal = false;
  bool flipVertical = false;
  /// Start of the first row's exposure by the computer's clock, µs since 1970 UTC: the arrival of the frame's
  /// first bytes minus the exposure.
  std::int64_t startUnixUs = 0;
  /// Largest error of `startUnixUs`, µs: the time that the first transfer took to fill, plus 1 ms for the
  /// computer.
  std::int64_t uncertaintyUs = 0;
  int bayerPattern = -1;  ///< of the delivered raw frame (after region and flips); -1: none
  /// Electrons per unit of the delivered pixel values (of green pixels when a white balance is set); 0: unknown.
  double electronsPerAdu = 0.0;
};

}  // namespace orq
