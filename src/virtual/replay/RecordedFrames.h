// Recorded frames in memory, and the readers of the files that hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "virtual/replay/RecordedFacts.h"

namespace orq {

/// Frames of one size. Samples are the file's numbers, unscaled, row by row from the row that comes first.
struct RecordedFrames {
  int width = 0;
  int height = 0;
  int count = 0;     ///< frames, 1 or more
  int adcBits = 16;  ///< 8 or 16: the file's sample size
  int bayer = -1;    ///< 0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG, -1 none stated
  RecordedFacts facts{};
  std::vector<std::uint16_t> samples;

  std::span<const std::uint16_t> Frame(std::uint64_t number) const {
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return std::span(samples).subspan(static_cast<std::size_t>(number % static_cast<std::uint64_t>(count)) * size,
                                      size);
  }
};

inline constexpr std::int64_t kLargestSide = 16384;                  ///< pixels
inline constexpr std::int64_t kMostSamples = std::int64_t{1} << 29;  ///< 1 GiB in memory
inline constexpr std::int64_t kMostFileBytes = std::int64_t{1} << 30;

/// True when frames of this size may be loaded and `bytesPresent` holds all of them; a reason in `error`
/// otherwise. Readers ask before they allocate.
bool CheckGeometry(std::int64_t width, std::int64_t height, std::int64_t count, int bytesPerSample,
                   std::int64_t bytesPresent, std::string& error);

/// The recording in a file's bytes, told apart by its first bytes; nothing and a one-line reason in `error` for
/// bytes that cannot be used.
std::optional<RecordedFrames> ReadRecording(std::span<const std::uint8_t> bytes, std::string& error);

/// The same from a regular file of at most `kMostFileBytes`; the reason names the file.
std::optional<RecordedFrames> LoadRecording(const std::string& path, std::string& error);

}  // namespace orq
