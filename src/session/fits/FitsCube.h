// A video as one FITS file: its frames one after the other along the last axis.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "models/camera/FrameTypes.h"
#include "session/fits/FitsCards.h"

namespace orq::session {

inline constexpr std::size_t kFitsBlockBytes = 2880;
/// The next multiple of a block.
constexpr std::uint64_t WholeBlocks(std::uint64_t bytes) {
  return (bytes + kFitsBlockBytes - 1) / kFitsBlockBytes * kFitsBlockBytes;
}

/// Of the header that `start` begins with, in whole blocks; 0: it does not end there.
std::size_t FitsHeaderBytes(std::string_view start);

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
/// And back, as numbers: red, green, blue of each pixel.
std::vector<std::uint16_t> SamplesOfCube(std::span<const std::uint8_t> samples, const CubeShape& shape);

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
/// What such a header says beside its structure.
std::vector<FitsCard> CubeCards(std::span<const std::uint8_t> header);
/// The same header with another number of frames.
void AnnounceFrames(std::span<std::uint8_t> header, std::uint64_t frames);

}  // namespace orq::session
