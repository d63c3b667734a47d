#include "support/LargeBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>

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

}  // namespace
}  // namespace orq
