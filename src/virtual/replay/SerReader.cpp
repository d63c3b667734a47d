#include "virtual/replay/SerReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace orq {
namespace {

constexpr std::string_view kMagic = "LUCAM-RECORDER";
constexpr std::size_t kHeaderBytes = 178;
// Offsets of the header's 32-bit fields, all least significant byte first.
constexpr std::size_t kColour = 18;
constexpr std::size_t kLittleEndian = 22;
constexpr std::size_t kWidth = 26;
constexpr std::size_t kHeight = 30;
constexpr std::size_t kDepth = 34;
constexpr std::size_t kFrames = 38;

std::int32_t Field(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(bytes[offset + i]) << (8 * i);
  return static_cast<std::int32_t>(value);
}

/// The Bayer pattern of a colour code (-1 mono); nothing for codes that are not one sample per pixel.
std::optional<int> PatternOf(std::int32_t colour) {
  switch (colour) {
    case 0:
      return -1;
    case 8:
      return 0;  // RGGB
    case 9:
      return 2;  // GRBG
    case 10:
      return 3;  // GBRG
    case 11:
      return 1;  // BGGR
    default:
      return std::nullopt;
  }
}

std::uint16_t Little(const std::uint8_t* at) {
  return static_cast<std::uint16_t>(at[0] | (at[1] << 8));
}
std::uint16_t Big(const std::uint8_t* at) {
  return static_cast<std::uint16_t>((at[0] << 8) | at[1]);
}

/// Sum of the steps between samples two apart (neighbours of one colour) in a frame of 16-bit samples.
std::uint64_t Roughness(std::span<const std::uint8_t> frame, std::uint16_t (*read)(const std::uint8_t*)) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i + 6 <= frame.size(); i += 2) {
    sum += static_cast<std::uint64_t>(std::abs(read(&frame[i]) - read(&frame[i + 4])));
  }
  return sum;
}

bool IsLittleEndian(std::span<const std::uint8_t> firstFrame, bool statedLittle) {
  const std::uint64_t little = Roughness(firstFrame, Little);
  const std::uint64_t big = Roughness(firstFrame, Big);
  if (little < big / 2) return true;
  if (big < little / 2) return false;
  return statedLittle;
}

}  // namespace

bool LooksLikeSer(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kMagic.size() && std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) == 0;
}

std::optional<Recording> ReadSer(std::span<const std::uint8_t> bytes, std::string& error) {
  if (!LooksLikeSer(bytes) || bytes.size() < kHeaderBytes) {
    error = "SER header is damaged";
    return std::nullopt;
  }
  const std::optional<int> pattern = PatternOf(Field(bytes, kColour));
  if (!pattern) {
    error = "SER colour code " + std::to_string(Field(bytes, kColour)) + "; only mono and Bayer can be replayed";
    return std::nullopt;
  }
  const std::int32_t depth = Field(bytes, kDepth);
  if (depth < 1 || depth > 16) {
    error = "SER pixel depth " + std::to_string(depth) + " is outside 1 to 16 bits";
    return std::nullopt;
  }
  const int bytesPerSample = depth > 8 ? 2 : 1;
  const std::int32_t width = Field(bytes, kWidth);
  const std::int32_t height = Field(bytes, kHeight);
  const std::int32_t frames = Field(bytes, kFrames);
  const std::span<const std::uint8_t> pixels = bytes.subspan(kHeaderBytes);
  if (!CheckGeometry(width, height, frames, bytesPerSample, static_cast<std::int64_t>(pixels.size()), error)) {
    return std::nullopt;
  }
  Recording recording{.width = width,
                      .height = height,
                      .count = frames,
                      .adcBits = 8 * bytesPerSample,
                      .bayer = *pattern,
                      .samples = {}};
  const std::size_t frameSamples = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  recording.samples.resize(frameSamples * static_cast<std::size_t>(frames));
  if (bytesPerSample == 1) {
    std::copy_n(pixels.begin(), recording.samples.size(), recording.samples.begin());
    return recording;
  }
  const bool little = IsLittleEndian(pixels.first(2 * frameSamples), Field(bytes, kLittleEndian) != 0);
  for (std::size_t i = 0; i < recording.samples.size(); ++i) {
    recording.samples[i] = little ? Little(&pixels[2 * i]) : Big(&pixels[2 * i]);
  }
  return recording;
}

}  // namespace orq
