// The header of SER video files, version 3, and what follows from it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orq {

inline constexpr std::size_t kSerHeaderBytes = 178;
/// The trailer has a time stamp of so many bytes for each frame.
inline constexpr std::size_t kSerTimeBytes = 8;
/// Longer header texts are cut.
inline constexpr std::size_t kSerTextBytes = 40;
inline constexpr std::int64_t kSerMostFrames = 0x7FFF'FFFF;

/// Colour ids. Patterns name the top left 2 x 2 pixels, row by row.
enum SerColour : std::int32_t {
  kSerMono = 0,
  kSerRggb = 8,
  kSerGrbg = 9,
  kSerGbrg = 10,
  kSerBggr = 11,
  kSerCyym = 16,
  kSerYcmy = 17,
  kSerYmcy = 18,
  kSerMyyc = 19,
  kSerRgb = 100,  ///< three samples a pixel
  kSerBgr = 101
};

struct SerHeader {
  std::int32_t luId = 0;
  std::int32_t colour = kSerMono;
  /// Of 16-bit samples. The format calls the field "little endian", yet its readers take 0 for least significant
  /// byte first, and 1 for most significant byte first.
  std::int32_t byteOrder = 0;
  std::int32_t width = 0;  ///< pixels
  std::int32_t height = 0;
  std::int32_t depth = 8;   ///< bits of a sample
  std::int32_t frames = 0;  ///< 0 as long as the recording is not finished
  std::string observer{};
  std::string instrument{};
  std::string telescope{};
  std::int64_t localTime = 0;  ///< of the first frame, units of 100 ns since the year 1; 0: not told
  std::int64_t utcTime = 0;    ///< the same in UTC

  int BytesPerSample() const { return depth > 8 ? 2 : 1; }
  int Planes() const { return colour == kSerRgb || colour == kSerBgr ? 3 : 1; }
  /// Of a frame. Of a header without `SerTrouble` only.
  std::uint64_t FrameBytes() const {
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) *
           static_cast<std::uint64_t>(BytesPerSample() * Planes());
  }
  bool operator==(const SerHeader&) const = default;
};

/// "mono", "RGGB" and so on; empty for ids that mean nothing.
std::string_view SerColourName(std::int32_t colour);

bool LooksLikeSer(std::span<const std::uint8_t> bytes);
/// The header that a file begins with; nothing when it has none. Any numbers may stand in it.
std::optional<SerHeader> ParseSerHeader(std::span<const std::uint8_t> bytes);
/// Why no frames can be read with this header, as a line's part; empty: nothing is wrong with it.
std::string SerTrouble(const SerHeader& header);
std::array<std::uint8_t, kSerHeaderBytes> EncodeSerHeader(const SerHeader& header);

/// A time of the format from one in units of 100 ns since 1970.
constexpr std::int64_t SerTimeOf(std::int64_t unixTenths) {
  constexpr std::int64_t kEpoch = 621'355'968'000'000'000;  // of 1970
  return unixTenths + kEpoch;
}
/// And back. Nothing for 0 and less, which is no time, and for times that no calendar shows (after the year 9999).
std::optional<std::int64_t> UnixTenthsOf(std::int64_t serTime);

}  // namespace orq
