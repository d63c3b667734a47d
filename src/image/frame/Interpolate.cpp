#include "image/frame/Interpolate.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orq {
namespace {

constexpr std::uint8_t Mean(std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>((a + b + 1) >> 1);
}
/// (a + b + c + d + 2) / 4 in bytes alone, of which a vector holds twice as many as of anything wider. The mean of
/// means rounds up twice; it is one too large where it is rounded and one of the first was.
constexpr std::uint8_t Mean(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  const std::uint8_t first = Mean(a, b);
  const std::uint8_t second = Mean(c, d);
  const auto rounded = static_cast<std::uint8_t>(((a ^ b) | (c ^ d)) & (first ^ second) & 1);
  return static_cast<std::uint8_t>(Mean(first, second) - rounded);
}
constexpr std::uint8_t Select(std::uint8_t mask, std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>((a & mask) | (b & ~mask));
}

/// Both results are formed everywhere and one is kept, which vector units prefer to branches; nothing
/// that is written may overlap what is read, which compilers only believe of parameters.
struct Columns {
  ORQ_KERNEL void Run(const std::uint8_t* __restrict above, const std::uint8_t* __restrict row,
                      const std::uint8_t* __restrict below, const std::uint8_t* __restrict ownSite, int count,
                      std::uint8_t* __restrict own, std::uint8_t* __restrict green,
                      std::uint8_t* __restrict other) {
    for (int i = 0; i < count; ++i) {
      const std::uint8_t beside = Mean(row[i - 1], row[i + 1]);
      const std::uint8_t upright = Mean(above[i], below[i]);
      const std::uint8_t cross = Mean(row[i - 1], row[i + 1], above[i], below[i]);
      const std::uint8_t diagonal = Mean(above[i - 1], above[i + 1], below[i - 1], below[i + 1]);
      own[i] = Select(ownSite[i], row[i], beside);
      green[i] = Select(ownSite[i], cross, row[i]);
      other[i] = Select(ownSite[i], diagonal, upright);
    }
  }
};

// The versions for single processors return how many columns they did: whole vectors.

#if defined(__x86_64__)

// By how much the mean of `first` and `second`, which are the means of a with b and of c with d, is too large for
// the mean of all four.
ORQ_AVX512 __m512i RoundedTwice(__m512i a, __m512i b, __m512i c, __m512i d, __m512i first, __m512i second) {
  constexpr int kOrDiffer = 0xf6;   // x | (y ^ z)
  constexpr int kAndDiffer = 0x60;  // x & (y ^ z)
  const __m512i rounded = _mm512_ternarylogic_epi64(_mm512_xor_si512(a, b), c, d, kOrDiffer);
  return _mm512_and_si512(_mm512_ternarylogic_epi64(rounded, first, second, kAndDiffer), _mm512_set1_epi8(1));
}

// Compilers load twice what two operations need, and most of these loads cross a line of the cache. Here each is
// loaded once, and masks put the results together where a compiler selects bit by bit.
ORQ_AVX512 int InterpolateVectors(const MosaicRows& rows, bool ownFirst, int count, ColourPlanes& planes) {
  constexpr int kVector = sizeof(__m512i);
  const __mmask64 own = ownFirst ? 0x5555555555555555U : 0xaaaaaaaaaaaaaaaaU;
  int done = 0;
  for (; done + kVector <= count; done += kVector) {
    const MosaicRows at = rows + done;
    const __m512i aboveLeft = _mm512_loadu_si512(at.above - 1);
    const __m512i above = _mm512_loadu_si512(at.above);
    const __m512i aboveRight = _mm512_loadu_si512(at.above + 1);
    const __m512i left = _mm512_loadu_si512(at.row - 1);
    const __m512i row = _mm512_loadu_si512(at.row);
    const __m512i right = _mm512_loadu_si512(at.row + 1);
    const __m512i belowLeft = _mm512_loadu_si512(at.below - 1);
    const __m512i below = _mm512_loadu_si512(at.below);
    const __m512i belowRight = _mm512_loadu_si512(at.below + 1);
    const __m512i beside = _mm512_avg_epu8(left, right);
    const __m512i upright = _mm512_avg_epu8(above, below);
    const __m512i beyond = _mm512_avg_epu8(aboveLeft, aboveRight);
    const __m512i before = _mm512_avg_epu8(belowLeft, belowRight);
    const __m512i cross = RoundedTwice(left, right, above, below, beside, upright);
    const __m512i diagonal = RoundedTwice(aboveLeft, aboveRight, belowLeft, belowRight, beyond, before);
    _mm512_storeu_si512(planes.own.data() + done, _mm512_mask_mov_epi8(beside, own, row));
    _mm512_storeu_si512(planes.green.data() + done,
                        _mm512_mask_sub_epi8(row, own, _mm512_avg_epu8(beside, upright), cross));
    _mm512_storeu_si512(planes.other.data() + done,
                        _mm512_mask_sub_epi8(upright, own, _mm512_avg_epu8(beyond, before), diagonal));
  }
  return done;
}

int InterpolateVectors(const MosaicRows& rows, bool ownFirst, int count, ColourPlanes& planes,
                       VectorTarget target) {
  return target >= VectorTarget::Avx512 ? InterpolateVectors(rows, ownFirst, count, planes) : 0;
}

#else

int InterpolateVectors(const MosaicRows&, bool, int, ColourPlanes&, VectorTarget) {
  return 0;
}

#endif

}  // namespace

void Interpolate(const MosaicRows& rows, const std::uint8_t* ownSites, int count, ColourPlanes& planes,
                 VectorTarget target) {
  if (count == 1) {  // at a border; the loop is none then
    Columns::Run(rows.above, rows.row, rows.below, ownSites, 1, planes.own.data(), planes.green.data(),
                 planes.other.data());
    return;
  }
  const int done = InterpolateVectors(rows, count > 0 && ownSites[0] != 0, count, planes, target);
  if (done == count) return;
  const MosaicRows rest = rows + done;
  RunOn<Columns>(target, rest.above, rest.row, rest.below, ownSites + done, count - done, planes.own.data() + done,
                 planes.green.data() + done, planes.other.data() + done);
}

}  // namespace orq
