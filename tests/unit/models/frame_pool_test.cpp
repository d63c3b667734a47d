#include "models/camera/FramePool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace orq {
namespace {

TEST(FramePool, GivesNoMoreThanItsLimit) {
  const auto pool = FramePool::Make(250);
  FramePtr a = pool->Acquire(100);
  const FramePtr b = pool->Acquire(100);
  EXPECT_TRUE(a);
  EXPECT_TRUE(b);
  EXPECT_FALSE(pool->Acquire(100));
  EXPECT_EQ(pool->Bytes(), 200U);
  a = FramePtr();
  EXPECT_TRUE(pool->Acquire(100));
}

TEST(FramePool, HasMoreRoomWhileSomebodyHoldsMany) {
  const auto pool = FramePool::Make(250);
  const FramePtr a = pool->Acquire(200);
  EXPECT_FALSE(pool->Acquire(100));
  pool->Widen(100);
  {
    const FramePtr b = pool->Acquire(100);
    EXPECT_TRUE(b);
    EXPECT_EQ(pool->Limit(), 250U);
    EXPECT_FALSE(pool->Acquire(100));
  }
  pool->Narrow(100);
  EXPECT_EQ(pool->Bytes(), 200U) << "spare frames beyond the limit are given up";
  EXPECT_FALSE(pool->Acquire(100));
}

TEST(FramePool, UsesReleasedBuffersAgain) {
  const auto pool = FramePool::Make(1000);
  FramePtr frame = pool->Acquire(100);
  const std::uint8_t* const bytes = frame->Pixels().data();
  frame = FramePtr();
  frame = pool->Acquire(100);
  EXPECT_EQ(frame->Pixels().data(), bytes);
  frame = FramePtr();
  frame = pool->Acquire(60, 100);
  EXPECT_EQ(frame->Pixels().data(), bytes) << "the buffer's size counts";
  EXPECT_EQ(frame->Pixels().size(), 60U);
}

TEST(FramePool, KeepsSmallFramesOutOfLargeBuffers) {
  const auto pool = FramePool::Make(1100);
  { const FramePtr large = pool->Acquire(1000); }
  EXPECT_EQ(pool->Bytes(), 1000U);
  std::vector<FramePtr> held;
  for (int i = 0; i < 64; ++i) held.push_back(pool->Acquire(4));
  EXPECT_TRUE(std::ranges::all_of(held, [](const FramePtr& frame) { return static_cast<bool>(frame); }));
  EXPECT_EQ(pool->Bytes(), 256U) << "the large one made room";
}

TEST(FramePool, GivesWhatIsBeyondALoweredLimitBackToTheSystem) {
  const auto pool = FramePool::Make(1000);
  {
    const FramePtr held = pool->Acquire(600);
    pool->SetLimit(100);
    EXPECT_EQ(pool->Bytes(), 600U) << "held frames stay";
    EXPECT_FALSE(pool->Acquire(10));
  }
  EXPECT_EQ(pool->Bytes(), 0U);
  EXPECT_TRUE(pool->Acquire(100));
}

TEST(FramePool, FramesOutliveIt) {
  auto pool = FramePool::Make(1000);
  FramePtr frame = pool->Acquire(100);
  std::ranges::fill(frame->Room(), std::uint8_t{7});
  const std::weak_ptr<FramePool> seen = pool;
  pool.reset();
  EXPECT_EQ(std::ranges::count(frame->Pixels(), 7), 100);
  FramePtr other = frame;
  frame = FramePtr();
  EXPECT_FALSE(seen.expired());
  other = FramePtr();
  EXPECT_TRUE(seen.expired()) << "the pool goes with its last frame";
}

TEST(FramePool, TakesFramesBackFromEveryThread) {
  const auto pool = FramePool::Make(64 * 100);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        const FramePtr frame = pool->Acquire(100);
        ASSERT_TRUE(frame);
        const FramePtr shared = frame;
        ASSERT_EQ(shared->Pixels().size(), 100U);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(pool->Bytes(), 400U) << "never more frames than were held at once";
}

}  // namespace
}  // namespace orq
