// Dark subtraction. It runs over every sample of every frame.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "support/Algorithm.h"

namespace {

constexpr unsigned kMaxDark = 255;

// sample + (average - dark), clamped, in saturating steps up and down of which one is 0: everything stays in the
// sample's own width, so that a vector holds as many samples as possible. `Scale` is what a step of a dark value
// is worth in samples. Plain minima and maxima, which every compiler turns into vector instructions.
template <class Sample, unsigned Scale>
void Subtract(Sample* __restrict frame, std::size_t count, std::uint8_t average,
              const std::uint8_t* __restrict dark) {
  constexpr auto kMaxSample = static_cast<Sample>(~Sample{0});
  for (std::size_t i = 0; i < count; ++i) {
    const auto up = static_cast<Sample>((std::max(average, dark[i]) - dark[i]) * Scale);
    const auto down = static_cast<Sample>((std::max(average, dark[i]) - average) * Scale);
    const auto room = static_cast<Sample>(kMaxSample - frame[i]);
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
    Subtract<std::uint16_t, 256>(reinterpret_cast<std::uint16_t*>(frame), count, mean, dark);
  } else {
    Subtract<std::uint8_t, 1>(frame, count, mean, dark);
  }
}
