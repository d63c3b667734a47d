// A video as one FITS file: its frames one after the other along the last axis.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "models/camera/FrameTypes.h"
#include "session/fits/FitsCards.h"

namespace orq::session {

inline constexpr std::size_t kFitsBlockBytes = 2880;
/// The next multiple of a block.
constexpr std::uint64_t WholeBlocks(std::uint64_t bytes) {
  return (bytes + kFitsBlockBytes - 1) / kFitsBlockBytes * kFitsBlockBytes;
}

/// What each frame of a cube is.
struct CubeShape {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::uint64_t planes = 1;          ///< 3: red, green, blue
  std::uint64_t bytesPerSample = 1;  ///< 2: unsigned through BZERO
  std::uint64_t FrameBytes() const { return width * height * planes * bytesPerSample; }
  bool operator==(const CubeShape&) const = default;
};
CubeShape CubeShapeOf(const FrameRegion& region);

/// The header of a cube of `frames` frames, whole blocks: `bytes` of them, or with 0 as many as it takes and room
/// for 36 cards more. Cards that find no room are left out. Throws Failure: none can be made.
std::vector<std::uint8_t> CubeHeader(const CubeShape& shape, std::uint64_t frames,
                                     const std::vector<FitsCard>& cards, std::size_t bytes = 0);

/// The samples of a frame in `format` as a cube has them: most significant byte first, planes one after the other.
void CubeSamples(std::span<const std::uint8_t> pixels, IMG_TYPE format, std::vector<std::uint8_t>& samples);

/// What the header of a cube says.
struct CubeFacts {
  CubeShape shape;
  std::uint64_t headerBytes = 0;
  std::uint64_t frames = 0;  ///< that it announces
  /// Of the file up to the end of their last block.
  std::uint64_t EndOf(std::uint64_t count) const { return headerBytes + WholeBlocks(count * shape.FrameBytes()); }
};
/// Nothing when `start`, the first bytes of a file, is no header that `CubeHeader` has made.
std::optional<CubeFacts> ReadCubeHeader(std::span<const std::uint8_t> start);
/// The same header with another number of frames.
void AnnounceFrames(std::span<std::uint8_t> header, std::uint64_t frames);

}  // namespace orq::session
