#include "image/frame/Interleave.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace orq {
namespace {

constexpr std::size_t kChannels = 3;

struct Planes {
  const std::uint8_t* __restrict blue;
  const std::uint8_t* __restrict green;
  const std::uint8_t* __restrict red;
};

// The versions with byte permutes return how many pixels they wrote: all but what is left of the last vector.

#if defined(__x86_64__)

// Which pixel's sample each byte of the three vectors is that `kVector` pixels make, for one channel, and `kElse`
// where it belongs to another.
template <std::size_t kVector, std::uint8_t kElse>
constexpr auto PixelIndexes(std::size_t channel, std::uint8_t base = 0) {
  std::array<std::array<std::uint8_t, kVector>, kChannels> indexes{};
  for (std::size_t at = 0; at < kChannels * kVector; ++at) {
    const bool own = at % kChannels == channel;
    indexes[at / kVector][at % kVector] = own ? static_cast<std::uint8_t>(base + at / kChannels) : kElse;
  }
  return indexes;
}

// A shuffle makes 0 of an index with its highest bit set: what three of them leave is put together.
[[gnu::target("avx2")]] int InterleaveWithAvx2(const Planes& planes, int count, std::uint8_t* __restrict bgr) {
  constexpr int kVector = sizeof(__m128i);
  constexpr std::uint8_t kNone = 0x80;
  alignas(kVector) static constexpr std::array kIndexes{
      PixelIndexes<kVector, kNone>(0), PixelIndexes<kVector, kNone>(1), PixelIndexes<kVector, kNone>(2)};
  const auto load = [](const std::uint8_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  };
  int done = 0;
  for (; done + kVector <= count; done += kVector) {
    const std::array colours{load(planes.blue + done), load(planes.green + done), load(planes.red + done)};
    for (std::size_t part = 0; part < kChannels; ++part) {
      __m128i pixels = _mm_setzero_si128();
      for (std::size_t channel = 0; channel < kChannels; ++channel)
        pixels = _mm_or_si128(pixels, _mm_shuffle_epi8(colours[channel], load(kIndexes[channel][part].data())));
      auto* const to = bgr + kChannels * static_cast<std::size_t>(done) + part * kVector;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), pixels);
    }
  }
  return done;
}

// A permute takes from two planes at once, and another one puts the third's samples between.
[[gnu::target("avx512f,avx512bw,avx512vbmi")]] int InterleaveWithAvx512(const Planes& planes, int count,
                                                                        std::uint8_t* __restrict bgr) {
  constexpr int kVector = sizeof(__m512i);
  static constexpr auto kBlueAndGreen = [] {
    auto indexes = PixelIndexes<kVector, 0>(0);
    const auto green = PixelIndexes<kVector, 0>(1, kVector);
    for (std::size_t part = 0; part < kChannels; ++part)
      for (std::size_t i = 0; i < kVector; ++i) indexes[part][i] |= green[part][i];
    return indexes;
  }();
  static constexpr auto kRed = PixelIndexes<kVector, 0>(2);
  static constexpr auto kIsRed = [] {
    std::array<std::uint64_t, kChannels> bits{};
    for (std::size_t at = 2; at < kChannels * kVector; at += kChannels) bits[at / kVector] |= 1ULL << at % kVector;
    return bits;
  }();
  int done = 0;
  for (; done + kVector <= count; done += kVector) {
    const __m512i blue = _mm512_loadu_si512(planes.blue + done);
    const __m512i green = _mm512_loadu_si512(planes.green + done);
    const __m512i red = _mm512_loadu_si512(planes.red + done);
    for (std::size_t part = 0; part < kChannels; ++part) {
      const __m512i two = _mm512_permutex2var_epi8(blue, _mm512_loadu_si512(kBlueAndGreen[part].data()), green);
      const __m512i all =
          _mm512_mask_permutexvar_epi8(two, kIsRed[part], _mm512_loadu_si512(kRed[part].data()), red);
      _mm512_storeu_si512(bgr + kChannels * static_cast<std::size_t>(done) + part * kVector, all);
    }
  }
  return done;
}

int InterleaveVectors(const Planes& planes, int count, std::uint8_t* bgr, VectorTarget target) {
  if (target >= VectorTarget::Avx512Vbmi) return InterleaveWithAvx512(planes, count, bgr);
  return target >= VectorTarget::Avx2 ? InterleaveWithAvx2(planes, count, bgr) : 0;
}

#elif defined(__aarch64__)

int InterleaveVectors(const Planes& planes, int count, std::uint8_t* bgr, VectorTarget) {
  constexpr int kVector = sizeof(uint8x16_t);
  int done = 0;
  for (; done + kVector <= count; done += kVector) {
    const uint8x16x3_t pixels{vld1q_u8(planes.blue + done), vld1q_u8(planes.green + done),
                              vld1q_u8(planes.red + done)};
    vst3q_u8(bgr + kChannels * static_cast<std::size_t>(done), pixels);
  }
  return done;
}

#else

int InterleaveVectors(const Planes&, int, std::uint8_t*, VectorTarget) {
  return 0;
}

#endif

std::uint32_t Pixel(const Planes& planes, std::ptrdiff_t i) {
  return planes.blue[i] | static_cast<std::uint32_t>(planes.green[i]) << 8U |
         static_cast<std::uint32_t>(planes.red[i]) << 16U;
}

}  // namespace

// Without permutes two pixels leave in one store of eight bytes, of which the last two are written again by the
// next; the last pixels go one by one, so that nothing is written behind them.
void Interleave(const std::uint8_t* blue, const std::uint8_t* green, const std::uint8_t* red, int count,
                std::uint8_t* bgr, VectorTarget target) {
  const Planes planes{blue, green, red};
  std::ptrdiff_t i = InterleaveVectors(planes, count, bgr, target);
  if constexpr (std::endian::native == std::endian::little) {
    for (; i + 3 <= count; i += 2) {
      const std::uint64_t both = Pixel(planes, i) | static_cast<std::uint64_t>(Pixel(planes, i + 1)) << 24U;
      std::memcpy(bgr + 3 * i, &both, sizeof both);
    }
  }
  for (; i < count; ++i) {
    bgr[3 * i] = blue[i];
    bgr[3 * i + 1] = green[i];
    bgr[3 * i + 2] = red[i];
  }
}

}  // namespace orq
