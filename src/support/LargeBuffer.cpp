#include "support/LargeBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <span>

namespace orq {
namespace {

// Of both processors that matter.
constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20U;

/// The whole pages of `pageBytes` bytes within a buffer.
std::span<std::uint8_t> PagesOf(std::uint8_t* buffer, std::size_t bytes, std::uintptr_t pageBytes) {
  const auto begin = reinterpret_cast<std::uintptr_t>(buffer);
  const std::uintptr_t first = (begin + pageBytes - 1) / pageBytes * pageBytes;
  const std::uintptr_t end = (begin + bytes) / pageBytes * pageBytes;
  if (first >= end) return {};
  return {buffer + (first - begin), end - first};
}

/// Gives whole pages back to the system, so that they come again as zeros when somebody touches them, and take no
/// memory until then. False where the system does not do that, also when it only says so.
bool ZeroUntouched(std::span<std::uint8_t> pages) {
  if (pages.empty()) return false;
  pages.front() = 1;
  return madvise(pages.data(), pages.size(), MADV_DONTNEED) == 0 && pages.front() == 0;
}

}  // namespace

std::unique_ptr<std::uint8_t[]> MakeLargeBufferForOverwrite(std::size_t bytes) {
  auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(bytes);
  const std::span<std::uint8_t> pages = PagesOf(buffer.get(), bytes, kLargePage);
  // A wish: without it the buffer is as good, only slower to touch.
  if (!pages.empty()) madvise(pages.data(), pages.size(), MADV_HUGEPAGE);
  return buffer;
}

std::unique_ptr<std::uint8_t[]> MakeLargeBuffer(std::size_t bytes) {
  auto buffer = MakeLargeBufferForOverwrite(bytes);
  const std::span<std::uint8_t> whole(buffer.get(), bytes);
  const std::span<std::uint8_t> pages =
      PagesOf(buffer.get(), bytes, static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)));
  if (!ZeroUntouched(pages)) {
    std::ranges::fill(whole, std::uint8_t{0});
    return buffer;
  }
  std::fill(whole.data(), pages.data(), std::uint8_t{0});
  std::fill(pages.data() + pages.size(), whole.data() + bytes, std::uint8_t{0});
  return buffer;
}

}  // namespace orq
