#include "link/WireProtocol.h"

#include <algorithm>

namespace orq::wire {
namespace {

// Byte offsets of the frame header.
constexpr std::size_t kAtMagic = 0;
constexpr std::size_t kAtVersion = 4;
constexpr std::size_t kAtHeaderBytes = 6;
constexpr std::size_t kAtSequence = 8;
constexpr std::size_t kAtPayloadBytes = 12;
constexpr std::size_t kAtWidth = 16;
constexpr std::size_t kAtHeight = 18;
constexpr std::size_t kAtStartX = 20;
constexpr std::size_t kAtStartY = 22;
constexpr std::size_t kAtBin = 24;
constexpr std::size_t kAtFormat = 25;
constexpr std::size_t kAtAdcBits = 26;
constexpr std::size_t kAtFlags = 27;
constexpr std::size_t kAtGpsLatch = 28;
constexpr std::size_t kAtExposure = 32;
constexpr std::size_t kAtGain = 40;
constexpr std::size_t kAtBlackLevel = 42;
constexpr std::size_t kAtSettingsTag = 44;
constexpr std::size_t kAtReadoutMode = 48;  // bytes 49 to 63 are reserved and zero

// Byte offsets of the trailer.
constexpr std::size_t kTrailerAtMagic = 0;
constexpr std::size_t kTrailerAtSequence = 4;
constexpr std::size_t kTrailerAtPayloadBytes = 8;  // bytes 12 to 15 are reserved and zero

// 2: with the settings tag.
constexpr std::uint16_t kVersion = 2;

template <class T>
void Put(std::span<std::uint8_t> out, std::size_t at, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) out[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

template <class T>
T Get(std::span<const std::uint8_t> bytes, std::size_t at) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) value |= std::uint64_t{bytes[at + i]} << (8 * i);
  return static_cast<T>(value);
}

}  // namespace

void PutHeader(const FrameHeader& header, std::span<std::uint8_t, kHeaderBytes> out) {
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  Put(out, kAtMagic, kHeaderMagic);
  Put(out, kAtVersion, kVersion);
  Put(out, kAtHeaderBytes, static_cast<std::uint16_t>(kHeaderBytes));
  Put(out, kAtSequence, header.sequence);
  Put(out, kAtPayloadBytes, header.payloadBytes);
  Put(out, kAtWidth, header.width);
  Put(out, kAtHeight, header.height);
  Put(out, kAtStartX, header.startX);
  Put(out, kAtStartY, header.startY);
  Put(out, kAtBin, header.bin);
  Put(out, kAtFormat, header.format);
  Put(out, kAtAdcBits, header.adcBits);
  Put(out, kAtFlags, header.flags);
  Put(out, kAtGpsLatch, header.gpsLatch);
  Put(out, kAtExposure, header.exposureUs);
  Put(out, kAtGain, header.gain);
  Put(out, kAtBlackLevel, header.blackLevel);
  Put(out, kAtSettingsTag, header.settingsTag);
  Put(out, kAtReadoutMode, header.readoutMode);
}

std::optional<FrameHeader> GetHeader(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kHeaderBytes || Get<std::uint32_t>(bytes, kAtMagic) != kHeaderMagic ||
      Get<std::uint16_t>(bytes, kAtVersion) != kVersion ||
      Get<std::uint16_t>(bytes, kAtHeaderBytes) != kHeaderBytes)
    return std::nullopt;
  FrameHeader header;
  header.sequence = Get<std::uint32_t>(bytes, kAtSequence);
  header.payloadBytes = Get<std::uint32_t>(bytes, kAtPayloadBytes);
  header.width = Get<std::uint16_t>(bytes, kAtWidth);
  header.height = Get<std::uint16_t>(bytes, kAtHeight);
  header.startX = Get<std::uint16_t>(bytes, kAtStartX);
  header.startY = Get<std::uint16_t>(bytes, kAtStartY);
  header.bin = bytes[kAtBin];
  header.format = bytes[kAtFormat];
  header.adcBits = bytes[kAtAdcBits];
  header.flags = bytes[kAtFlags];
  header.gpsLatch = Get<std::uint32_t>(bytes, kAtGpsLatch);
  header.exposureUs = Get<std::uint64_t>(bytes, kAtExposure);
  header.gain = Get<std::uint16_t>(bytes, kAtGain);
  header.blackLevel = Get<std::uint16_t>(bytes, kAtBlackLevel);
  header.settingsTag = Get<std::uint32_t>(bytes, kAtSettingsTag);
  header.readoutMode = bytes[kAtReadoutMode];
  return header;
}

void PutTrailer(std::uint32_t sequence, std::uint32_t payloadBytes, std::span<std::uint8_t, kTrailerBytes> out) {
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  Put(out, kTrailerAtMagic, kTrailerMagic);
  Put(out, kTrailerAtSequence, sequence);
  Put(out, kTrailerAtPayloadBytes, payloadBytes);
}

std::optional<std::uint32_t> GetTrailer(std::span<const std::uint8_t> bytes, std::uint32_t payloadBytes) {
  if (bytes.size() < kTrailerBytes || Get<std::uint32_t>(bytes, kTrailerAtMagic) != kTrailerMagic ||
      Get<std::uint32_t>(bytes, kTrailerAtPayloadBytes) != payloadBytes)
    return std::nullopt;
  return Get<std::uint32_t>(bytes, kTrailerAtSequence);
}

}  // namespace orq::wire
