#include "virtual/replay/SerReader.h"

#include <algorithm>
#include <tuple>

#include "support/ser/SerHeader.h"
#include "support/ser/SerSamples.h"

namespace orq {
namespace {

/// The Bayer pattern of a colour code (0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG, -1 mono); nothing for codes that are not
/// one sample per pixel.
std::optional<int> PatternOf(std::int32_t colour) {
  switch (colour) {
    case kSerMono:
      return -1;
    case kSerRggb:
      return 0;
    case kSerGrbg:
      return 2;
    case kSerGbrg:
      return 3;
    case kSerBggr:
      return 1;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<RecordedFrames> ReadSer(std::span<const std::uint8_t> bytes, std::string& error) {
  const std::optional<SerHeader> header = ParseSerHeader(bytes);
  if (!header) {
    error = "SER header is damaged";
    return std::nullopt;
  }
  const std::optional<int> pattern = PatternOf(header->colour);
  if (!pattern) {
    error = "SER colour code " + std::to_string(header->colour) + "; only mono and Bayer can be replayed";
    return std::nullopt;
  }
  if (header->depth < 1 || header->depth > 16) {
    error = "SER pixel depth " + std::to_string(header->depth) + " is outside 1 to 16 bits";
    return std::nullopt;
  }
  const int bytesPerSample = header->BytesPerSample();
  const auto [width, height, frames] = std::tuple(header->width, header->height, header->frames);
  const std::span<const std::uint8_t> pixels = bytes.subspan(kSerHeaderBytes);
  if (!CheckGeometry(width, height, frames, bytesPerSample, static_cast<std::int64_t>(pixels.size()), error))
    return std::nullopt;
  RecordedFrames recording{.width = width,
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
  const bool little = SerIsLittleEndian(pixels.first(2 * frameSamples), header->byteOrder);
  for (std::size_t i = 0; i < recording.samples.size(); ++i)
    recording.samples[i] = SerSample(&pixels[2 * i], little);
  return recording;
}

}  // namespace orq
