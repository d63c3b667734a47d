#include "image/dark/DarkSubtraction.h"

#include <algorithm>
#include <cstddef>

#include "image/frame/Algorithm.h"

namespace orq {
namespace {

// sample + (average - dark), clamped, as a saturating step up and one down of which one is 0: everything stays in
// the sample's own width, so that a vector holds as many samples as possible. A step of one dark value is worth 1
// in 8-bit samples and 256 in left-aligned 16-bit ones. Plain minima and maxima, which compilers turn into vector
// instructions.
template <class Sample>
struct Subtract {
  ORQ_KERNEL void Run(Sample* __restrict frame, std::size_t count, std::uint8_t average,
                      const std::uint8_t* __restrict dark) {
    constexpr auto kLargest = static_cast<Sample>(~Sample{0});
    constexpr unsigned kShift = 8 * (sizeof(Sample) - 1);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t level = dark[i];
      const std::uint8_t larger = average > level ? average : level;
      const auto up = static_cast<Sample>(static_cast<std::uint8_t>(larger - level) << kShift);
      const auto down = static_cast<Sample>(static_cast<std::uint8_t>(larger - average) << kShift);
      const auto room = static_cast<Sample>(kLargest - frame[i]);
      const auto raised = static_cast<Sample>(frame[i] + (up < room ? up : room));
      frame[i] = static_cast<Sample>((raised > down ? raised : down) - down);
    }
  }
};

}  // namespace

void SubtractDark(std::span<std::uint8_t> frame, std::uint8_t average, std::span<const std::uint8_t> dark,
                  VectorTarget target) {
  RunOn<Subtract<std::uint8_t>>(target, frame.data(), frame.size(), average, dark.data());
}

void SubtractDark(std::span<std::uint16_t> frame, std::uint8_t average, std::span<const std::uint8_t> dark,
                  VectorTarget target) {
  RunOn<Subtract<std::uint16_t>>(target, frame.data(), frame.size(), average, dark.data());
}

}  // namespace orq

namespace {
constexpr unsigned kMaxDark = 255;
}

void CAlgorithm::SubtractDark(std::uint8_t* frame, int width, int height, unsigned average,
                              const std::uint8_t* dark, bool wide) const {
  if (frame == nullptr || dark == nullptr || width <= 0 || height <= 0) return;
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto mean = static_cast<std::uint8_t>(std::min(average, kMaxDark));
  if (wide)
    orq::SubtractDark(std::span(reinterpret_cast<std::uint16_t*>(frame), count), mean, {dark, count});
  else
    orq::SubtractDark(std::span(frame, count), mean, {dark, count});
}
