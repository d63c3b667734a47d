#include "support/LargeBuffer.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace orq {
namespace {

TEST(LargeBuffer, IsZeroWhateverItsSize) {
  for (const std::size_t bytes :
       {std::size_t{0}, std::size_t{1}, std::size_t{5000}, (std::size_t{2} << 20U) - 1, std::size_t{9'000'001}}) {
    const auto dirty = MakeLargeBufferForOverwrite(bytes);
    std::fill_n(dirty.get(), bytes, std::uint8_t{0xEE});
  }
  for (const std::size_t bytes :
       {std::size_t{0}, std::size_t{1}, std::size_t{5000}, (std::size_t{2} << 20U) - 1, std::size_t{9'000'001}}) {
    const auto buffer = MakeLargeBuffer(bytes);
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(std::all_of(buffer.get(), buffer.get() + bytes, [](std::uint8_t byte) { return byte == 0; }))
        << bytes;
  }
}

/// Pages of a buffer, its first and last left out, and how many of them are in memory.
struct Pages {
  std::size_t all = 0;
  std::size_t resident = 0;
};

Pages PagesOf(std::uint8_t* buffer, std::size_t bytes) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(buffer);
  const std::uintptr_t first = (begin + page - 1) / page * page;
  std::vector<unsigned char> states((bytes / page) - 1);
  EXPECT_EQ(::mincore(buffer + (first - begin), states.size() * page, states.data()), 0);
  const auto resident = std::ranges::count_if(states, [](unsigned char state) { return (state & 1U) != 0; });
  return {states.size(), static_cast<std::size_t>(resident)};
}

TEST(LargeBuffer, TakesMemoryOnlyWhereItIsTouched) {
  constexpr std::size_t kBytes = std::size_t{64} << 20U;
  const auto buffer = MakeLargeBuffer(kBytes);
  const Pages untouched = PagesOf(buffer.get(), kBytes);
  EXPECT_LT(untouched.resident, untouched.all / 8);
  std::fill_n(buffer.get(), kBytes / 2, std::uint8_t{1});
  const Pages half = PagesOf(buffer.get(), kBytes);
  EXPECT_NEAR(static_cast<double>(half.resident), static_cast<double>(half.all) / 2,
              static_cast<double>(half.all) / 8);
}

}  // namespace
}  // namespace orq
