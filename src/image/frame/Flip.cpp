#include "image/frame/Flip.h"

#include <cassert>
#include <cstddef>
#include <cstring>

namespace orq {
namespace {

template <class Sample>
struct MirrorRow {
  ORQ_KERNEL void Run(const Sample* __restrict in, std::size_t width, Sample* __restrict out) {
    for (std::size_t x = 0; x < width; ++x) out[x] = in[width - 1 - x];
  }
};

// Eight at a time, turned round in a register: the baseline's vector units cannot reverse bytes.
void MirrorBytes(const std::uint8_t* __restrict in, std::size_t width, std::uint8_t* __restrict out) {
  std::size_t x = 0;
  for (; x + 8 <= width; x += 8) {
    std::uint64_t bytes;
    std::memcpy(&bytes, in + (width - 8 - x), 8);
    bytes = __builtin_bswap64(bytes);
    std::memcpy(out + x, &bytes, 8);
  }
  for (; x < width; ++x) out[x] = in[width - 1 - x];
}

template <class Sample>
void Mirror(const Sample* in, std::size_t width, Sample* out, VectorTarget target) {
  if constexpr (sizeof(Sample) == 1) {
    if (target == VectorTarget::Baseline) {
      MirrorBytes(in, width, out);
      return;
    }
  }
  RunOn<MirrorRow<Sample>>(target, in, width, out);
}

template <class Sample>
void Flip(std::span<const Sample> in, int width, int height, bool horizontal, bool vertical, std::span<Sample> out,
          VectorTarget target) {
  if (width <= 0 || height <= 0) return;
  const auto columns = static_cast<std::size_t>(width);
  const auto rows = static_cast<std::size_t>(height);
  assert(in.size() >= columns * rows && out.size() >= columns * rows);
  if (!horizontal && !vertical) {
    std::memcpy(out.data(), in.data(), columns * rows * sizeof(Sample));
    return;
  }
  for (std::size_t y = 0; y < rows; ++y) {
    const Sample* from = in.data() + (vertical ? rows - 1 - y : y) * columns;
    Sample* to = out.data() + y * columns;
    if (horizontal)
      Mirror(from, columns, to, target);
    else
      std::memcpy(to, from, columns * sizeof(Sample));
  }
}

}  // namespace

void FlipCopy(std::span<const std::uint8_t> in, int width, int height, bool horizontal, bool vertical,
              std::span<std::uint8_t> out, VectorTarget target) {
  Flip(in, width, height, horizontal, vertical, out, target);
}

void FlipCopy(std::span<const std::uint16_t> in, int width, int height, bool horizontal, bool vertical,
              std::span<std::uint16_t> out, VectorTarget target) {
  Flip(in, width, height, horizontal, vertical, out, target);
}

}  // namespace orq
