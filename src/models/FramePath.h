// What happens to a frame between the wire and the caller.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "models/FrameGeometry.h"
#include "models/FrameTypes.h"
#include "support/Algorithm.h"

namespace orq {

/// One frame's way: settings, buffers and converter. Filled by the camera's worker for every frame.
struct FramePath {
  const FrameSetup& setup;
  /// The frame as it came, `setup.TransferSamples()` samples; the steps before binning work in place.
  std::uint8_t* image;
  /// Scratch as large as `image`.
  std::uint8_t* scratch;
  CAlgorithm& converter;
  int whiteBalanceRed = 50;
  int whiteBalanceBlue = 50;
  bool flipHorizontal = false;
  bool flipVertical = false;
  int outputPattern = -1;  ///< Bayer pattern after binning and flips
};

/// Runs all steps and puts the delivered frame into `out` (`setup.OutputBytes()` bytes). No allocation.
/// Worker-only.
void RunFramePath(const FramePath& path, std::span<std::uint8_t> out);

}  // namespace orq
