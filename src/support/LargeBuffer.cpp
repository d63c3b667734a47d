#include "support/LargeBuffer.h"

#include <sys/mman.h>

#include <algorithm>

namespace orq {
namespace {

// Of both processors that matter.
constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20U;

}  // namespace

std::unique_ptr<std::uint8_t[]> MakeLargeBufferForOverwrite(std::size_t bytes) {
  auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(bytes);
  const auto begin = reinterpret_cast<std::uintptr_t>(buffer.get());
  const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t end = (begin + bytes) / kLargePage * kLargePage;
  // A wish: without it the buffer is as good, only slower to touch.
  if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
  return buffer;
}

std::unique_ptr<std::uint8_t[]> MakeLargeBuffer(std::size_t bytes) {
  auto buffer = MakeLargeBufferForOverwrite(bytes);
  std::fill_n(buffer.get(), bytes, std::uint8_t{0});
  return buffer;
}

}  // namespace orq
