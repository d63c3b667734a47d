#include "models/FrameMailbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <thread>

namespace orq {
namespace {

using Result = FrameMailbox::Result;

const auto kMayCome = [] { return true; };
const auto kNoneComes = [] { return false; };

void Publish(FrameMailbox& mailbox, std::size_t bytes, std::uint8_t value) {
  FrameInfo info;
  info.sequence = value;
  std::ranges::fill(mailbox.Work().first(bytes), value);
  mailbox.Publish(bytes, info);
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
  FrameMailbox mailbox;
  mailbox.Prepare(4);
  Publish(mailbox, 4, 7);
  const Fetched fetched = Fetch(mailbox, 4, 0, kMayCome);
  EXPECT_EQ(fetched.result, Result::Frame);
  EXPECT_EQ(fetched.bytes, std::vector<std::uint8_t>(4, 7));
  EXPECT_EQ(fetched.info.sequence, 7U);
  EXPECT_EQ(mailbox.LastFetched().sequence, 7U);
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).result, Result::TimedOut);
}

// A frame of four bytes in a buffer of the writer's.
std::unique_ptr<std::uint8_t[]> Frame(std::uint8_t first) {
  auto frame = std::make_unique<std::uint8_t[]>(4);
  for (int i = 0; i < 4; ++i) frame[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(first + i);
  return frame;
}

TEST(FrameMailbox, TakesAFrameWithoutCopyingItAndLeavesABufferInItsPlace) {
  FrameMailbox mailbox;
  mailbox.Prepare(4);
  std::set<const std::uint8_t*> buffers;
  auto frame = Frame(1);
  for (int round = 0; round < 20; ++round) {
    const auto first = static_cast<std::uint8_t>(round);
    for (int i = 0; i < 4; ++i) frame[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(first + i);
    buffers.insert(frame.get());
    mailbox.Adopt(frame, 4, false);
    ASSERT_NE(frame, nullptr);
    mailbox.Publish(4, {});
    std::ranges::fill_n(frame.get(), 4, std::uint8_t{0xEE});  // the writer's again
    const std::vector<std::uint8_t> expected = {first, static_cast<std::uint8_t>(first + 1),
                                                static_cast<std::uint8_t>(first + 2),
                                                static_cast<std::uint8_t>(first + 3)};
    if (round % 3 == 0) continue;  // nobody fetches it
    EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, expected) << round;
  }
  EXPECT_LE(buffers.size(), 4U) << "the same ones go round";
}

TEST(FrameMailbox, BringsAnAdoptedFrameIntoHostOrderWhenItIsFetched) {
  FrameMailbox mailbox;
  mailbox.Prepare(4);
  auto frame = Frame(1);
  mailbox.Adopt(frame, 4, true);
  mailbox.Publish(4, {});
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, (std::vector<std::uint8_t>{2, 1, 4, 3}));
  // What is written by hand is in host order, in whichever buffer.
  for (std::uint8_t value = 5; value < 9; ++value) {
    mailbox.Work()[0] = value;
    mailbox.Work()[1] = 0;
    mailbox.Publish(2, {});
    EXPECT_EQ(Fetch(mailbox, 2, 0, kMayCome).bytes, (std::vector<std::uint8_t>{value, 0}));
  }
}

TEST(FrameMailbox, AnAdoptedFrameMayBeLargerThanThoseItWasPreparedFor) {
  FrameMailbox mailbox;
  mailbox.Prepare(2);
  for (int round = 0; round < 8; ++round) {
    auto frame = Frame(static_cast<std::uint8_t>(round));
    mailbox.Adopt(frame, 4, false);
    std::ranges::fill_n(frame.get(), 4, std::uint8_t{0xEE});
    mailbox.Publish(4, {});
    EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes[3], round + 3);
  }
}

TEST(FrameMailbox, ReplacesAndCountsWhatWasNotFetched) {
  FrameMailbox mailbox;
  mailbox.Prepare(4);
  for (const int value : {1, 2, 3}) Publish(mailbox, 4, static_cast<std::uint8_t>(value));
  EXPECT_EQ(mailbox.Overwritten(), 2U);
  EXPECT_EQ(Fetch(mailbox, 4, 0, kMayCome).bytes, std::vector<std::uint8_t>(4, 3));
  Publish(mailbox, 4, 4);
  EXPECT_EQ(mailbox.Overwritten(), 2U);
  mailbox.ResetCount();
  EXPECT_EQ(mailbox.Overwritten(), 0U);
}

TEST(FrameMailbox, LeavesAFrameThatDoesNotFit) {
  FrameMailbox mailbox;
  mailbox.Prepare(4);
  Publish(mailbox, 4, 9);
  EXPECT_EQ(Fetch(mailbox, 3, 0, kMayCome).result, Result::TooSmall);
  EXPECT_EQ(Fetch(mailbox, 5, 0, kMayCome).result, Result::Frame);
}

TEST(FrameMailbox, EndsTheWaitAtOnceWhenNoneWillCome) {
  FrameMailbox mailbox;
  EXPECT_EQ(Fetch(mailbox, 4, 60'000, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, StillHandsOverAWaitingFrameAfterTheEnd) {
  FrameMailbox mailbox;
  mailbox.Prepare(1);
  Publish(mailbox, 1, 5);
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Frame);
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, DiscardsAWaitingFrame) {
  FrameMailbox mailbox;
  mailbox.Prepare(1);
  Publish(mailbox, 1, 5);
  mailbox.Discard();
  EXPECT_EQ(Fetch(mailbox, 1, -1, kNoneComes).result, Result::Ended);
}

TEST(FrameMailbox, WakesAReaderWhenTheLastFrameHasGone) {
  FrameMailbox mailbox;
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
  FrameMailbox mailbox;
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
  FrameMailbox mailbox;
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
  FrameMailbox mailbox;
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
  FrameMailbox mailbox;
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
