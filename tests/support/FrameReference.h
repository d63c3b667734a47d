// What a delivered raw frame must be, worked out sample by sample from the bytes on the wire.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace orq::test {

struct RawFrame {
  int width = 0;  ///< delivered
  int height = 0;
  int hostBin = 1;
  bool bayer = false;
  bool wide = false;
  bool msbFirst = false;
  bool flipHorizontal = false;
  bool flipVertical = false;
};

/// What the link makes of the bytes of a frame: samples of 16 bits as this computer reads them.
inline std::vector<std::uint8_t> InHostOrder(std::vector<std::uint8_t> wire, bool msbFirst) {
  if (msbFirst != (std::endian::native == std::endian::little)) return wire;
  for (std::size_t at = 0; at + 1 < wire.size(); at += 2) std::swap(wire[at], wire[at + 1]);
  return wire;
}

inline std::uint32_t WireSample(const RawFrame& f, const std::vector<std::uint8_t>& wire, std::size_t at) {
  if (!f.wide) return wire.at(at);
  const std::uint32_t first = wire.at(2 * at);
  const std::uint32_t second = wire.at(2 * at + 1);
  return f.msbFirst ? first * 256 + second : second * 256 + first;
}

/// The delivered sample at (x, y).
inline std::uint32_t ExpectedSample(const RawFrame& f, const std::vector<std::uint8_t>& wire, int x, int y) {
  if (f.flipHorizontal) x = f.width - 1 - x;
  if (f.flipVertical) y = f.height - 1 - y;
  const int n = f.hostBin;
  double sum = 0;
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      const int fromX = f.bayer ? x / 2 * 2 * n + x % 2 + 2 * i : x * n + i;
      const int fromY = f.bayer ? y / 2 * 2 * n + y % 2 + 2 * j : y * n + j;
      sum += WireSample(f, wire, static_cast<std::size_t>(fromY * f.width * n + fromX));
    }
  }
  if (f.wide) return static_cast<std::uint32_t>(sum / (n * n) + 0.5);
  return static_cast<std::uint32_t>(std::min(sum, 255.0));
}

inline std::uint32_t DeliveredSample(const RawFrame& f, const std::vector<std::uint8_t>& frame, int x, int y) {
  const auto at = static_cast<std::size_t>(y * f.width + x);
  if (!f.wide) return frame.at(at);
  std::uint16_t sample = 0;
  std::memcpy(&sample, frame.data() + 2 * at, 2);
  return sample;
}

/// Number of samples that differ from what the wire bytes ask for.
inline int Differences(const RawFrame& f, const std::vector<std::uint8_t>& wire,
                       const std::vector<std::uint8_t>& frame) {
  int count = 0;
  for (int y = 0; y < f.height; ++y) {
    for (int x = 0; x < f.width; ++x)
      if (DeliveredSample(f, frame, x, y) != ExpectedSample(f, wire, x, y)) ++count;
  }
  return count;
}

}  // namespace orq::test
