#include "link/stream/CirBuf.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <new>
#include <thread>
#include <utility>

#include "support/AwaitSleep.h"
#include "support/FreeSlots.h"

namespace {

using orq::test::AwaitSleep;
using orq::test::FreeSlots;

constexpr int kLongMs = 20000;
constexpr std::chrono::seconds kPatience{30};

std::unique_ptr<std::uint8_t[]> Buffer(const CirBuf& ring) {
  return std::make_unique<std::uint8_t[]>(ring.FrameBytes());
}

void Put(CirBuf& ring, CirBuf::Slot& slot, std::uint8_t value) {
  std::memset(slot.payload.get(), value, ring.FrameBytes());
  slot.payloadBytes = ring.FrameBytes();
  ring.EndFrame(slot);
}

bool RefuseOdd(void* judged, const CirBuf::Slot& slot) {
  ++*static_cast<int*>(judged);
  return slot.payload[0] % 2 == 0;
}

/// A check that waits until it is let go.
struct Gate {
  std::atomic<bool> entered{false};
  std::atomic<bool> open{false};
  static bool Check(void* gate, const CirBuf::Slot&) {
    auto& self = *static_cast<Gate*>(gate);
    self.entered = true;
    self.entered.notify_all();
    self.open.wait(false);
    return true;
  }
  void Open() {
    open = true;
    open.notify_all();
  }
};

TEST(CirBuf, HasAtLeastOneSlotAndAllAreFree) {
  EXPECT_EQ(CirBuf(16, 0).Count(), 1);
  EXPECT_EQ(CirBuf(16, -3).Count(), 1);
  CirBuf ring(16, 3);
  EXPECT_EQ(ring.Count(), 3);
  EXPECT_EQ(ring.FrameBytes(), 16U);
  EXPECT_EQ(FreeSlots(ring), 3);
}

TEST(CirBuf, GoesFromFreeThroughFillingReadyAndBackToFree) {
  CirBuf ring(8, 2);
  ring.StartInstBufThr();
  CirBuf::Slot* slot = ring.BeginFrame();
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(slot->state.load(), CirBuf::SlotState::Filling);
  EXPECT_EQ(FreeSlots(ring), 1);
  Put(ring, *slot, 7);
  ring.WaitJudged();
  EXPECT_EQ(slot->state.load(), CirBuf::SlotState::Ready);
  EXPECT_EQ(FreeSlots(ring), 1);
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
  EXPECT_EQ(FreeSlots(ring), 2);
  EXPECT_EQ(frame.payloadBytes, 8U);
  EXPECT_EQ(buffer[0], 7);
  EXPECT_EQ(buffer[7], 7);
}

TEST(CirBuf, TakeSwapsTheBuffersInsteadOfCopying) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  CirBuf::Slot* slot = ring.BeginFrame();
  const std::uint8_t* filled = slot->payload.get();
  Put(ring, *slot, 1);
  auto buffer = Buffer(ring);
  const std::uint8_t* given = buffer.get();
  CirBuf::Frame frame;
  ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
  EXPECT_EQ(buffer.get(), filled);
  EXPECT_EQ(ring.BeginFrame()->payload.get(), given);
}

TEST(CirBuf, HandsMarksAndTimesToTheConsumer) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  CirBuf::Slot* slot = ring.BeginFrame();
  slot->marks[0] = 0x11;
  slot->marks[127] = 0x22;
  slot->markBytes = 128;
  slot->beginNs = 1000;
  slot->endNs = 2000;
  slot->payloadBytes = 5;
  ring.EndFrame(*slot);
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
  EXPECT_EQ(frame.marks[0], 0x11);
  EXPECT_EQ(frame.marks[127], 0x22);
  EXPECT_EQ(frame.markBytes, 128U);
  EXPECT_EQ(frame.beginNs, 1000U);
  EXPECT_EQ(frame.endNs, 2000U);
  EXPECT_EQ(frame.payloadBytes, 5U);
}

TEST(CirBuf, ClearsASlotsCountsBeforeItIsFilledAgain) {
  CirBuf ring(8, 1);
  CirBuf::Slot* slot = ring.BeginFrame();
  slot->payloadBytes = 3;
  slot->markBytes = 4;
  slot->excessBytes = 5;
  slot->tag = 6;
  slot->beginNs = 7;
  slot->endNs = 8;
  ring.AbortFrame(*slot);
  ASSERT_EQ(ring.BeginFrame(), slot);
  EXPECT_EQ(slot->payloadBytes, 0U);
  EXPECT_EQ(slot->markBytes, 0U);
  EXPECT_EQ(slot->excessBytes, 0U);
  EXPECT_EQ(slot->tag, 0U);
  EXPECT_EQ(slot->beginNs, 0U);
  EXPECT_EQ(slot->endNs, 0U);
}

TEST(CirBuf, GivesNoSlotWhenNoneIsFree) {
  CirBuf ring(8, 2);
  CirBuf::Slot* first = ring.BeginFrame();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(ring.BeginFrame(), nullptr);
  EXPECT_EQ(ring.BeginFrame(), nullptr);
  ring.AbortFrame(*first);
  EXPECT_EQ(ring.BeginFrame(), first);
}

TEST(CirBuf, DeliversFramesInTheOrderInWhichTheyEnded) {
  CirBuf ring(8, 3);
  CirBuf::Slot* a = ring.BeginFrame();
  CirBuf::Slot* b = ring.BeginFrame();
  CirBuf::Slot* c = ring.BeginFrame();
  Put(ring, *b, 2);
  Put(ring, *c, 3);
  Put(ring, *a, 1);
  ring.StartInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  for (const int expected : {2, 3, 1}) {
    ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
    EXPECT_EQ(buffer[0], expected);
  }
}

TEST(CirBuf, ReturnsFramesThatTheCheckRefusesAndPublishesTheOthers) {
  CirBuf ring(8, 4);
  int judged = 0;
  ring.SetCheck(&RefuseOdd, &judged);
  ring.StartInstBufThr();
  for (std::uint8_t value = 1; value <= 4; ++value) Put(ring, *ring.BeginFrame(), value);
  ring.WaitJudged();
  EXPECT_EQ(judged, 4);
  EXPECT_EQ(FreeSlots(ring), 2);
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
  EXPECT_EQ(buffer[0], 2);
  ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
  EXPECT_EQ(buffer[0], 4);
  EXPECT_FALSE(ring.Take(buffer, frame, 0));
}

TEST(CirBuf, KeepsASlotFillingWhileItWaitsForItsCheck) {
  CirBuf ring(8, 1);
  Gate gate;
  ring.SetCheck(&Gate::Check, &gate);
  ring.StartInstBufThr();
  CirBuf::Slot* slot = ring.BeginFrame();
  Put(ring, *slot, 1);
  gate.entered.wait(false);
  EXPECT_EQ(slot->state.load(), CirBuf::SlotState::Filling);
  EXPECT_EQ(ring.BeginFrame(), nullptr);
  gate.Open();
  ring.WaitJudged();
  EXPECT_EQ(slot->state.load(), CirBuf::SlotState::Ready);
}

TEST(CirBuf, TakeTimesOutWhenNothingComes) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  EXPECT_FALSE(ring.Take(buffer, frame, 0));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(ring.Take(buffer, frame, 30));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
}

TEST(CirBuf, TakeRefusesAMissingBufferAndKeepsTheFrame) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  Put(ring, *ring.BeginFrame(), 1);
  ring.WaitJudged();
  std::unique_ptr<std::uint8_t[]> none;
  CirBuf::Frame frame;
  EXPECT_FALSE(ring.Take(none, frame, 0));
  EXPECT_EQ(ring.Discard(), 1);
}

TEST(CirBuf, TakeReturnsAtOnceWhileTheThreadIsStoppedAndNothingIsReady) {
  CirBuf ring(8, 1);
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  EXPECT_FALSE(ring.Take(buffer, frame, -1));
}

TEST(CirBuf, ReadyFramesCanStillBeTakenAfterTheThreadWasStopped) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  Put(ring, *ring.BeginFrame(), 9);
  ring.WaitJudged();
  ring.StopInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  ASSERT_TRUE(ring.Take(buffer, frame, -1));
  EXPECT_EQ(buffer[0], 9);
  EXPECT_FALSE(ring.Take(buffer, frame, -1));
}

/// Runs `work` in a thread of its own that is to wait for something. Ends the process when it never wakes: a
/// thread that sleeps on cannot be joined.
class Waiter {
 public:
  explicit Waiter(std::function<void()> work)
      : thread_([this, work = std::move(work)] {
          id_ = gettid();
          work();
          done_.set_value();
        }) {}
  ~Waiter() {
    if (done_.get_future().wait_for(kPatience) != std::future_status::ready) {
      std::cerr << "nobody woke the waiting thread\n";
      std::abort();
    }
    thread_.join();
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  bool Sleeps() const { return AwaitSleep(id_, kPatience); }

 private:
  std::atomic<pid_t> id_{0};
  std::promise<void> done_;
  std::thread thread_;
};

TEST(CirBuf, StoppingWakesAWaitingTake) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  const Waiter waiter([&] { EXPECT_FALSE(ring.Take(buffer, frame, -1)); });
  ASSERT_TRUE(waiter.Sleeps());
  ring.StopInstBufThr();
}

TEST(CirBuf, AReadyFrameWakesAWaitingTake) {
  CirBuf ring(8, 1);
  ring.StartInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  const Waiter waiter([&] { EXPECT_TRUE(ring.Take(buffer, frame, -1)); });
  ASSERT_TRUE(waiter.Sleeps());
  Put(ring, *ring.BeginFrame(), 1);
}

TEST(CirBuf, StoppingFreesFramesThatWereNotYetChecked) {
  CirBuf ring(8, 2);
  Put(ring, *ring.BeginFrame(), 1);
  Put(ring, *ring.BeginFrame(), 2);
  Gate gate;
  ring.SetCheck(&Gate::Check, &gate);
  ring.StartInstBufThr();
  gate.entered.wait(false);
  {
    const Waiter stopper([&] { ring.StopInstBufThr(); });
    ASSERT_TRUE(stopper.Sleeps()) << "it waits for the check";
    gate.Open();
  }
  EXPECT_EQ(FreeSlots(ring), 1);
  EXPECT_EQ(ring.Discard(), 1) << "the frame that was in its check";
  ring.WaitJudged();
}

TEST(CirBuf, StoppingWakesWhoeverWaitsForFramesThatWillNotBeChecked) {
  CirBuf ring(8, 2);
  Put(ring, *ring.BeginFrame(), 1);
  Put(ring, *ring.BeginFrame(), 2);
  Gate gate;
  ring.SetCheck(&Gate::Check, &gate);
  ring.StartInstBufThr();
  gate.entered.wait(false);
  const Waiter waiter([&] { ring.WaitJudged(); });
  ASSERT_TRUE(waiter.Sleeps());
  const Waiter stopper([&] { ring.StopInstBufThr(); });
  ASSERT_TRUE(stopper.Sleeps()) << "it waits for the check";
  gate.Open();
}

TEST(CirBuf, WaitJudgedReturnsWhenTheThreadIsStopped) {
  CirBuf ring(8, 1);
  CirBuf::Slot* slot = ring.BeginFrame();
  Put(ring, *slot, 1);
  ring.WaitJudged();
  EXPECT_EQ(slot->state.load(), CirBuf::SlotState::Filling);
}

TEST(CirBuf, StartsAndStopsAgainAndTwiceIsHarmless) {
  CirBuf ring(8, 1);
  ring.StopInstBufThr();
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  for (std::uint8_t round = 1; round <= 3; ++round) {
    ring.StartInstBufThr();
    ring.StartInstBufThr();
    Put(ring, *ring.BeginFrame(), round);
    ASSERT_TRUE(ring.Take(buffer, frame, kLongMs));
    EXPECT_EQ(buffer[0], round);
    ring.StopInstBufThr();
    ring.StopInstBufThr();
  }
}

TEST(CirBuf, DiscardFreesEveryReadyFrame) {
  CirBuf ring(8, 3);
  ring.StartInstBufThr();
  Put(ring, *ring.BeginFrame(), 1);
  Put(ring, *ring.BeginFrame(), 2);
  ring.WaitJudged();
  EXPECT_EQ(ring.Discard(), 2);
  EXPECT_EQ(FreeSlots(ring), 3);
  EXPECT_EQ(ring.Discard(), 0);
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  EXPECT_FALSE(ring.Take(buffer, frame, 0));
}

TEST(CirBuf, NeverTearsOrReordersFramesBetweenTwoRunningThreads) {
  constexpr std::uint32_t kFrames = 20000;
  CirBuf ring(64, 3);
  ring.StartInstBufThr();
  std::atomic<bool> produced{false};
  std::uint32_t dropped = 0;
  std::thread producer([&] {
    for (std::uint32_t number = 1; number <= kFrames; ++number) {
      CirBuf::Slot* slot = ring.BeginFrame();
      if (slot == nullptr) {
        ++dropped;
        std::this_thread::yield();
        continue;
      }
      if (number % 7 == 0) {
        ring.AbortFrame(*slot);
        continue;
      }
      for (std::size_t at = 0; at < 64; at += 4) std::memcpy(slot->payload.get() + at, &number, 4);
      slot->payloadBytes = 64;
      ring.EndFrame(*slot);
    }
    ring.WaitJudged();
    produced = true;
  });
  auto buffer = Buffer(ring);
  CirBuf::Frame frame;
  std::uint32_t last = 0;
  std::uint32_t taken = 0;
  while (true) {
    const bool over = produced;
    if (!ring.Take(buffer, frame, over ? 0 : 10)) {
      if (over) break;
      continue;
    }
    ++taken;
    std::uint32_t number = 0;
    std::memcpy(&number, buffer.get(), 4);
    ASSERT_GT(number, last);
    ASSERT_NE(number % 7, 0U);
    for (std::size_t at = 0; at < 64; at += 4) ASSERT_EQ(std::memcmp(buffer.get() + at, &number, 4), 0);
    last = number;
  }
  producer.join();
  EXPECT_GT(taken, 0U);
  EXPECT_LE(taken + dropped, kFrames);
  EXPECT_EQ(FreeSlots(ring), 3);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kLimitsMemory = false;
#elif defined(__has_feature)
constexpr bool kLimitsMemory = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
constexpr bool kLimitsMemory = true;
#endif

/// Exits with 0 when starting the ring's thread reports memory that has run out, and nothing else.
[[noreturn]] void StartWithoutRoomForAThread() {
  CirBuf ring(16, 1);
  const rlimit none{1, 1};  // no further mapping, so no stack for a thread
  if (setrlimit(RLIMIT_AS, &none) != 0) std::_Exit(2);
  try {
    ring.StartInstBufThr();
  } catch (const std::bad_alloc&) {
    ring.StopInstBufThr();
    std::_Exit(0);
  } catch (...) {
    std::_Exit(1);
  }
  std::_Exit(3);
}

TEST(CirBufDeathTest, AThreadThatCannotBeMadeIsReportedAsMissingMemory) {
  if (!kLimitsMemory) GTEST_SKIP() << "the sanitizers themselves need memory";
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // no stack of an earlier thread to use again
  EXPECT_EXIT(StartWithoutRoomForAThread(), testing::ExitedWithCode(0), "");
}

}  // namespace
