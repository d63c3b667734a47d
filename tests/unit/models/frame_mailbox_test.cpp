#include "models/camera/FrameMailbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <thread>

namespace orq {
namespace {

using Result = FrameMailbox::Result;

constexpr std::size_t kPlenty = std::size_t{1} << 20;

const auto kMayCome = [] { return true; };
const auto kNoneComes = [] { return false; };

void Publish(FrameMailbox& mailbox, std::size_t bytes, std::uint8_t value) {
  FrameInfo info;
  info.sequence = value;
  std::ranges::fill(mailbox.Work().first(bytes), value);
  mailbox.Publish(info);
}

struct Fetched {
  Result result;
  std::vector<std::uint8_t> bytes;
  FrameInfo info;
};

Fetched Fetch(FrameMailbox& mailbox, std::size_t size, int waitMs, const std::function<bool()>& mayCome) {
  Fetched fetched{Result::Ended, std::vector<std::uint8_t>(size), {}};
  fetched.result = mailbox.Fetch(fetched.bytes, waitMs, mayCome, fetched.info);
  return fetched;
}

TEST(FrameMailbox, HandsOverAFrameOnce) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4);
  Publish(mailbox, 4, 7);
  const Fetched fetched = Fetch(mailbox, 4, 0, kMayCome);
  EXPECT_EQ(fetched.result, Result::Frame);
  EXPECT_EQ(fetched.bytes, std::vector<std::uint8_t>(4, 7));
  EXPECT_EQ(fetched.info.sequence, 7U);
  EXPECT_EQ(mailbox.LastFetched().sequence, 7U);
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).result, Result::TimedOut);
}

// A buffer of the writer's with four bytes in it.
std::unique_ptr<std::uint8_t[]> Frame(std::uint8_t first, std::size_t room = 4) {
  auto frame = std::make_unique<std::uint8_t[]>(room);
  for (int i = 0; i < 4; ++i) frame[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(first + i);
  return frame;
}

TEST(FrameMailbox, TakesAFrameWithoutCopyingItAndLeavesABufferInItsPlace) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4, 6);
  std::set<const std::uint8_t*> buffers;
  auto frame = Frame(1, 6);
  for (int round = 0; round < 20; ++round) {
    const auto first = static_cast<std::uint8_t>(round);
    for (int i = 0; i < 4; ++i) frame[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(first + i);
    const std::uint8_t* const filled = frame.get();
    buffers.insert(filled);
    mailbox.Adopt(frame);
    EXPECT_EQ(mailbox.Work().data(), filled);
    ASSERT_NE(frame, nullptr);
    mailbox.Publish({});
    std::ranges::fill_n(frame.get(), 6, std::uint8_t{0xEE});  // the writer's again
    const std::vector<std::uint8_t> expected = {first, static_cast<std::uint8_t>(first + 1),
                                                static_cast<std::uint8_t>(first + 2),
                                                static_cast<std::uint8_t>(first + 3)};
    if (round % 3 == 0) continue;  // nobody fetches it
    EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, expected) << round;
  }
  EXPECT_LE(buffers.size(), 4U) << "the same ones go round";
}

TEST(FrameMailbox, CopiesASmallFrameOutOfALargeBuffer) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4, 1000);
  auto frame = Frame(5, 1000);
  const std::uint8_t* const filled = frame.get();
  mailbox.Adopt(frame);
  EXPECT_EQ(frame.get(), filled);
  mailbox.Publish({});
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, (std::vector<std::uint8_t>{5, 6, 7, 8}));
  EXPECT_LT(mailbox.Pool().Bytes(), 100U);
}

TEST(FrameMailbox, ReplacesAndCountsWhatWasNotFetched) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4);
  for (const int value : {1, 2, 3}) Publish(mailbox, 4, static_cast<std::uint8_t>(value));
  EXPECT_EQ(mailbox.Overwritten(), 2U);
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, std::vector<std::uint8_t>(4, 3));
  Publish(mailbox, 4, 4);
  EXPECT_EQ(mailbox.Overwritten(), 2U);
  mailbox.ResetCounts();
  EXPECT_EQ(mailbox.Overwritten(), 0U);
}

TEST(FrameMailbox, LeavesAFrameThatDoesNotFit) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4);
  Publish(mailbox, 4, 9);
  EXPECT_EQ(Fetch(mailbox, 3, 0, kMayCome).result, Result::TooSmall);
  EXPECT_EQ(Fetch(mailbox, 5, 0, kMayCome).result, Result::Frame);
}

TEST(FrameMailbox, EndsTheWaitAtOnceWhenNoneWillCome) {
  FrameMailbox mailbox(kPlenty);
  EXPECT_EQ(Fetch(mailbox, 4, 60'000, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, StillHandsOverAWaitingFrameAfterTheEnd) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(1);
  Publish(mailbox, 1, 5);
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Frame);
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, DiscardsAWaitingFrame) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(1);
  Publish(mailbox, 1, 5);
  mailbox.Discard();
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, WakesAReaderWhenTheLastFrameHasGone) {
  FrameMailbox mailbox(kPlenty);
  bool ended = false;
  std::atomic<bool> asked{false};
  std::thread reader([&] {
    const auto mayCome = [&] {
      asked = true;
      return !ended;
    };
    EXPECT_EQ(Fetch(mailbox, 1, -1, mayCome).result, Result::Ended);
  });
  while (!asked) std::this_thread::yield();
  mailbox.Notify([&] { ended = true; });
  reader.join();
}

TEST(FrameMailbox, WakesAReaderForAFrame) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(2);
  std::atomic<bool> asked{false};
  std::thread reader([&] {
    const auto mayCome = [&] {
      asked = true;
      return true;
    };
    EXPECT_EQ(Fetch(mailbox, 2, -1, mayCome).bytes, std::vector<std::uint8_t>(2, 6));
  });
  while (!asked) std::this_thread::yield();
  Publish(mailbox, 2, 6);
  reader.join();
}

TEST(FrameMailbox, GrowsWithTheFrames) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(2);
  Publish(mailbox, 2, 1);
  mailbox.Prepare(100);
  for (const int value : {2, 3, 4, 5}) {
    ASSERT_GE(mailbox.Work().size(), 100U);
    Publish(mailbox, 100, static_cast<std::uint8_t>(value));
    if (value % 2 != 0) continue;
    EXPECT_EQ(Fetch(mailbox, 100, 0, kMayCome).bytes,
              std::vector<std::uint8_t>(100, static_cast<std::uint8_t>(value)));
  }
}

TEST(FrameMailbox, TakesItsBuffersRoundWithoutNewOnes) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(16);
  std::vector<const std::uint8_t*> seen;
  for (int i = 0; i < 50; ++i) {
    const std::uint8_t* work = mailbox.Work().data();
    if (std::ranges::find(seen, work) == seen.end()) seen.push_back(work);
    Publish(mailbox, 16, static_cast<std::uint8_t>(i));
    if (i % 3 != 0) Fetch(mailbox, 16, 0, kMayCome);
  }
  EXPECT_LE(seen.size(), 3U);
}

TEST(FrameMailbox, NeverMixesFramesUnderTwoThreads) {
  FrameMailbox mailbox(kPlenty);
  mailbox.Prepare(4096);
  bool ended = false;
  std::thread writer([&] {
    for (int i = 1; i <= 2000; ++i) Publish(mailbox, 4096, static_cast<std::uint8_t>(i));
    mailbox.Notify([&] { ended = true; });
  });
  std::uint64_t fetched = 0;
  for (;;) {
    const Fetched frame = Fetch(mailbox, 4096, -1, [&] { return !ended; });
    if (frame.result == Result::Ended) break;
    ++fetched;
    ASSERT_EQ(frame.bytes, std::vector<std::uint8_t>(4096, static_cast<std::uint8_t>(frame.info.sequence)));
  }
  writer.join();
  EXPECT_EQ(fetched + mailbox.Overwritten(), 2000U);
}

}  // namespace
}  // namespace orq
