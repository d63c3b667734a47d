#include "link/stream/PayloadCopy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace orq {
namespace {

constexpr std::uint8_t kGuard = 0xEE;

std::uint8_t Sent(std::size_t at) {
  return static_cast<std::uint8_t>(at * 131 + at / 251 + 7);
}

// Where a frame's byte lies that was sent as byte `at`.
std::size_t Place(std::size_t at, bool swapped) {
  if (!swapped) return at;
  return at % 2 == 0 ? at + 1 : at - 1;
}

/// Puts `total` bytes in pieces of `piece`, at first one of `first`, from any place in memory to any place.
void ExpectCopied(const PayloadCopy& copy, std::size_t total, std::size_t first, std::size_t piece,
                  std::size_t offset) {
  std::vector<std::uint8_t> in(offset + total);
  for (std::size_t at = 0; at < total; ++at) in[offset + at] = Sent(at);
  std::vector<std::uint8_t> out(offset + total + 16, kGuard);
  std::size_t at = 0;
  for (std::size_t next = std::min(first, total); at < total; next = std::min(piece, total - at)) {
    copy.Put(std::span<const std::uint8_t>(in).subspan(offset + at, next), out.data() + offset, at);
    at += next;
  }
  for (std::size_t i = 0; i < offset; ++i) ASSERT_EQ(out[i], kGuard) << "before it";
  for (std::size_t i = 0; i < total; ++i) ASSERT_EQ(out[offset + Place(i, copy.swapped)], Sent(i)) << i;
  for (std::size_t i = offset + total; i < out.size(); ++i) ASSERT_EQ(out[i], kGuard) << "behind it";
}

TEST(PayloadCopy, PutsEveryByteInItsPlaceWhereverTheBytesAreCutAndLie) {
  for (const bool swapped : {false, true}) {
    for (const bool pastCache : {false, true}) {
      for (const std::size_t total : {2U, 16U, 62U, 64U, 200U, 1030U}) {
        for (const std::size_t first : {1U, 15U, 16U, 33U, 2000U}) {
          for (const std::size_t piece : {1U, 7U, 64U, 101U, 2000U}) {
            for (std::size_t offset = 0; offset < 18; ++offset) {
              SCOPED_TRACE(testing::Message()
                           << "swapped " << swapped << " past " << pastCache << " bytes " << total << " cut "
                           << first << "+" << piece << " offset " << offset);
              ExpectCopied({.swapped = swapped, .pastCache = pastCache}, total, first, piece, offset);
              if (testing::Test::HasFatalFailure()) return;
            }
          }
        }
      }
    }
  }
}

TEST(PayloadCopy, PutsWholeTransfersInTheirPlaces) {
  for (const bool swapped : {false, true}) {
    for (const std::size_t total : {16384U, 16400U, 50'006U, 491'520U}) {
      for (const std::size_t offset : {0U, 1U, 6U, 8U}) {
        SCOPED_TRACE(testing::Message() << "swapped " << swapped << " bytes " << total << " offset " << offset);
        ExpectCopied({.swapped = swapped, .pastCache = true}, total, total, total, offset);
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

TEST(PayloadCopy, OfNothingTouchesNothing) {
  std::vector<std::uint8_t> out(4, kGuard);
  for (const bool swapped : {false, true}) {
    for (const bool pastCache : {false, true})
      for (const std::size_t at : {0U, 1U, 4U})
        PayloadCopy{.swapped = swapped, .pastCache = pastCache}.Put({}, out.data(), at);
  }
  EXPECT_EQ(out, std::vector<std::uint8_t>(4, kGuard));
}

}  // namespace
}  // namespace orq
