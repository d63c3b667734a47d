#include "link/stream/PayloadCopy.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orq {
namespace {

void CopySwapped(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
  for (std::size_t i = 0; i + 1 < count; i += 2) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, from + i, sizeof sample);
    sample = static_cast<std::uint16_t>((sample << 8U) | (sample >> 8U));
    std::memcpy(to + i, &sample, sizeof sample);
  }
}

void Copy(const std::uint8_t* from, std::uint8_t* to, std::size_t count, bool swapped) {
  if (swapped)
    CopySwapped(from, to, count);
  else if (count != 0)
    std::memcpy(to, from, count);
}

#if defined(__SSE2__)

constexpr std::size_t kVector = sizeof(__m128i);
constexpr std::size_t kLine = 64;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kPages = 4;

template <bool kSwapped>
void CopyVector(const std::uint8_t* from, std::uint8_t* to) {
  __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  if constexpr (kSwapped) bytes = _mm_or_si128(_mm_slli_epi16(bytes, 8), _mm_srli_epi16(bytes, 8));
  _mm_stream_si128(reinterpret_cast<__m128i*>(to), bytes);
}

template <bool kSwapped>
void CopyLine(const std::uint8_t* from, std::uint8_t* to) {
  for (std::size_t i = 0; i < kLine; i += kVector) CopyVector<kSwapped>(from + i, to + i);
}

// Line by line out of several pages by turns: the processor looks ahead within each of them at the same time,
// which takes a sixth of the copy's time away.
template <bool kSwapped>
void CopyVectorsPastCache(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
  std::size_t done = 0;
  for (; done + kPages * kPage <= count; done += kPages * kPage) {
    for (std::size_t line = done; line < done + kPage; line += kLine)
      for (std::size_t page = 0; page < kPages; ++page)
        CopyLine<kSwapped>(from + line + page * kPage, to + line + page * kPage);
  }
  for (; done < count; done += kVector) CopyVector<kSwapped>(from + done, to + done);
  _mm_sfence();  // such stores are not ordered: whoever is told of the frame next shall see them
}

// Returns how many bytes were copied, an even number: all but what is left of the last vector. Begins with a whole
// cache line of `to`: lines that are written in two turns reach the memory as two pieces each, which nearly
// doubles the copy's time.
std::size_t CopyPastCache(const std::uint8_t* from, std::uint8_t* to, std::size_t count, bool swapped) {
  const std::size_t unaligned = reinterpret_cast<std::uintptr_t>(to) % kLine;
  const std::size_t head = unaligned == 0 ? 0 : kLine - unaligned;
  if (count < head + kVector || (swapped && head % 2 != 0)) return 0;
  Copy(from, to, head, swapped);
  const std::size_t vectors = (count - head) / kVector * kVector;
  (swapped ? CopyVectorsPastCache<true> : CopyVectorsPastCache<false>)(from + head, to + head, vectors);
  return head + vectors;
}

#else

std::size_t CopyPastCache(const std::uint8_t*, std::uint8_t*, std::size_t, bool) {
  return 0;
}

#endif

}  // namespace

void PayloadCopy::Put(std::span<const std::uint8_t> bytes, std::uint8_t* payload, std::size_t at) const {
  if (swapped && at % 2 != 0 && !bytes.empty()) {  // a transfer was cut within a sample
    payload[at - 1] = bytes.front();
    bytes = bytes.subspan(1);
    ++at;
  }
  const std::size_t whole = swapped ? bytes.size() / 2 * 2 : bytes.size();
  const std::size_t done = pastCache ? CopyPastCache(bytes.data(), payload + at, whole, swapped) : 0;
  Copy(bytes.data() + done, payload + at + done, whole - done, swapped);
  if (whole < bytes.size()) payload[at + whole + 1] = bytes.back();
}

}  // namespace orq
