#include "image/frame/SampleTable.h"

#include <cstddef>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace orq {
namespace {

using Table = std::array<std::uint8_t, 256>;

// The versions with byte permutes keep the table in registers and return how many samples they replaced: all but
// what is left of the last vector.

#if defined(__x86_64__)

// Two registers of the table at a time answer 7 bits of a sample, and its highest bit chooses between the answers.
[[gnu::target("avx512f,avx512bw,avx512vbmi")]] std::size_t Permute(std::span<std::uint8_t> samples,
                                                                   const Table& table) {
  constexpr std::size_t kVector = sizeof(__m512i);
  const __m512i first = _mm512_loadu_si512(table.data());
  const __m512i second = _mm512_loadu_si512(table.data() + kVector);
  const __m512i third = _mm512_loadu_si512(table.data() + 2 * kVector);
  const __m512i fourth = _mm512_loadu_si512(table.data() + 3 * kVector);
  std::size_t done = 0;
  for (; done + kVector <= samples.size(); done += kVector) {
    const __m512i indexes = _mm512_loadu_si512(samples.data() + done);
    const __m512i low = _mm512_permutex2var_epi8(first, indexes, second);
    const __m512i high = _mm512_permutex2var_epi8(third, indexes, fourth);
    _mm512_storeu_si512(samples.data() + done, _mm512_mask_blend_epi8(_mm512_movepi8_mask(indexes), low, high));
  }
  return done;
}

bool Permutes(VectorTarget target) {
  return target >= VectorTarget::Avx512Vbmi;
}

#elif defined(__aarch64__)

// Each quarter of the table answers for its 64 values and leaves the others as they are.
std::size_t Permute(std::span<std::uint8_t> samples, const Table& table) {
  constexpr std::size_t kVector = sizeof(uint8x16_t);
  constexpr std::size_t kQuarter = 4 * kVector;
  const uint8x16x4_t first = vld1q_u8_x4(table.data());
  const uint8x16x4_t second = vld1q_u8_x4(table.data() + kQuarter);
  const uint8x16x4_t third = vld1q_u8_x4(table.data() + 2 * kQuarter);
  const uint8x16x4_t fourth = vld1q_u8_x4(table.data() + 3 * kQuarter);
  const uint8x16_t quarter = vdupq_n_u8(kQuarter);
  std::size_t done = 0;
  for (; done + kVector <= samples.size(); done += kVector) {
    uint8x16_t indexes = vld1q_u8(samples.data() + done);
    uint8x16_t values = vqtbl4q_u8(first, indexes);
    indexes = vsubq_u8(indexes, quarter);
    values = vqtbx4q_u8(values, second, indexes);
    indexes = vsubq_u8(indexes, quarter);
    values = vqtbx4q_u8(values, third, indexes);
    indexes = vsubq_u8(indexes, quarter);
    vst1q_u8(samples.data() + done, vqtbx4q_u8(values, fourth, indexes));
  }
  return done;
}

bool Permutes(VectorTarget) {
  return true;
}

#else

std::size_t Permute(std::span<std::uint8_t>, const Table&) {
  return 0;
}

bool Permutes(VectorTarget) {
  return false;
}

#endif

}  // namespace

void ApplyTable(std::span<std::uint8_t> samples, const Table& table, VectorTarget target) {
  const std::size_t done = Permutes(target) ? Permute(samples, table) : 0;
  for (std::uint8_t& sample : samples.subspan(done)) sample = table[sample];
}

}  // namespace orq
