// What happens to a frame between the wire and the caller.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

#include "image/frame/Algorithm.h"
#include "models/camera/FrameGeometry.h"
#include "models/camera/FrameTypes.h"

namespace orq {

/// One frame's way: settings, buffers and converter. Filled by the camera's worker for every frame.
struct FramePath {
  const FrameSetup& setup;
  /// The frame in host byte order, `setup.TransferSamples()` samples; the steps before binning work in place.
  std::uint8_t* image;
  /// Scratch as large as `image`.
  std::uint8_t* scratch;
  CAlgorithm& converter;
  int whiteBalanceRed = 50;
  int whiteBalanceBlue = 50;
  bool flipHorizontal = false;
  bool flipVertical = false;
  bool monoBin = false;    ///< host binning mixes the colours of a Bayer frame
  int outputPattern = -1;  ///< Bayer pattern after binning and flips; -1: none
  /// Gamma tables of 65,536 and 256 entries; null: neutral.
  std::uint16_t* gamma16 = nullptr;
  std::uint8_t* gamma8 = nullptr;
  /// Where automatic control looks for the frame, as large as `image`; null: no copy of this frame. The lock is
  /// held while it is written.
  std::uint8_t* autoFrame = nullptr;
  std::mutex* autoFrameMutex = nullptr;
  bool autoAfterBin = false;  ///< automatic control counts in delivered pixels: it gets the binned frame
  int stripRows = 0;          ///< delivered rows that go through the steps together; 0: what fits the cache
};

/// Runs the steps after the corrections and puts the delivered frame into `out` (`setup.OutputBytes()` bytes). No
/// allocation. Worker-only.
void RunFramePath(const FramePath& path, std::span<std::uint8_t> out);

}  // namespace orq
