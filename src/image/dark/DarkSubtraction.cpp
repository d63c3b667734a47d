// Dark subtraction. It runs over every sample of every frame.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "image/frame/Algorithm.h"

namespace {

constexpr unsigned kMaxDark = 255;

// sample + (average - dark), clamped, as a saturating step up and one down of which one is 0: everything stays in
// the sample's own width, so that a vector holds as many samples as possible. A step of one dark value is worth 1
// in 8-bit samples and 256 in left-aligned 16-bit ones. Plain minima and maxima, which compilers turn into vector
// instructions.
template <class Sample>
void Subtract(Sample* __restrict frame, std::size_t count, std::uint8_t average,
              const std::uint8_t* __restrict dark) {
  constexpr auto kLargest = static_cast<Sample>(~Sample{0});
  constexpr unsigned kShift = 8 * (sizeof(Sample) - 1);
  for (std::size_t i = 0; i < count; ++i) {
    const auto larger = std::max(average, dark[i]);
    const auto up = static_cast<Sample>(static_cast<std::uint8_t>(larger - dark[i]) << kShift);
    const auto down = static_cast<Sample>(static_cast<std::uint8_t>(larger - average) << kShift);
    const auto room = static_cast<Sample>(kLargest - frame[i]);
    const auto raised = static_cast<Sample>(frame[i] + std::min(up, room));
    frame[i] = static_cast<Sample>(std::max(raised, down) - down);
  }
}

}  // namespace

void CAlgorithm::SubtractDark(std::uint8_t* frame, int width, int height, unsigned average,
                              const std::uint8_t* dark, bool wide) const {
  if (frame == nullptr || dark == nullptr || width <= 0 || height <= 0) return;
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto mean = static_cast<std::uint8_t>(std::min(average, kMaxDark));
  if (wide) {
    Subtract(reinterpret_cast<std::uint16_t*>(frame), count, mean, dark);
  } else {
    Subtract(frame, count, mean, dark);
  }
}
