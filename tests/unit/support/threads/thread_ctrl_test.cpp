#include "support/threads/ThreadCtrl.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <semaphore>
#include <thread>

#include "support/DbgPrint.h"
#include "unit/support/DebugLogFixture.h"
#include "unit/support/threads/PthreadFaults.h"

namespace {

using testing::IsEmpty;

/// What a worker of these tests gets as its parameter.
struct Story {
  std::binary_semaphore entered{0};
  std::binary_semaphore mayEnd{0};
  std::atomic<bool> flagAtEntry{false};
  std::atomic<bool> ended{false};  // the worker saw the flag drop, or was let through
  std::atomic<bool> left{false};   // EndReluctantly is about to return
  std::atomic<int> runs{0};
  ThreadCtrl* control = nullptr;
  std::atomic<int> startFromWorker{-1};
};

void Enter(bool* running, Story& story) {
  ++story.runs;
  story.flagAtEntry = ThreadCtrl::KeepRunning(running);
  story.entered.release();
}

void RunUntilStopped(bool* running, void* param) {
  auto& story = *static_cast<Story*>(param);
  Enter(running, story);
  while (ThreadCtrl::KeepRunning(running)) std::this_thread::yield();
  story.ended = true;
}

/// Sees the stop, but ends only when it is let.
void EndReluctantly(bool* running, void* param) {
  auto& story = *static_cast<Story*>(param);
  RunUntilStopped(running, param);
  story.mayEnd.acquire();
  story.left = true;
}

void EndWhenLet(bool* running, void* param) {
  auto& story = *static_cast<Story*>(param);
  Enter(running, story);
  story.mayEnd.acquire();
  story.ended = true;
}

void StartAgainFromWorker(bool* running, void* param) {
  auto& story = *static_cast<Story*>(param);
  story.startFromWorker = story.control->Start(param);
  RunUntilStopped(running, param);
}

void AnnounceAndEndWhenLet(bool* running, void* param) {
  auto& story = *static_cast<Story*>(param);
  story.control->AnnounceEnd();
  EndWhenLet(running, param);
}

void WaitUntil(const auto& condition) {
  while (!condition()) std::this_thread::yield();
}

class ThreadCtrlTest : public DebugLogFixture {
 protected:
  static constexpr const char* kAlreadyRunning = "thread is already running\n";
  Story story;
};

TEST_F(ThreadCtrlTest, RunsTheWorkerWithItsParameterUntilStopped) {
  ThreadCtrl control(RunUntilStopped);
  EXPECT_FALSE(control.IsActive());
  EXPECT_EQ(control.Start(&story), 1);
  EXPECT_TRUE(control.IsActive());
  story.entered.acquire();
  EXPECT_TRUE(story.flagAtEntry);
  EXPECT_THAT(TakeStandardError(), IsEmpty());
  control.Stop();
  EXPECT_TRUE(story.ended);
  EXPECT_FALSE(control.IsActive());
  EXPECT_EQ(TakeStandardError(),
            Prefix("Stop") + "WaitForSingleObject >\n" + Prefix("Stop") + "WaitForSingleObject <\n");
  EXPECT_EQ(faults::calls.joined, 1);
  EXPECT_EQ(faults::calls.detached, 0);
}

TEST_F(ThreadCtrlTest, ASecondStartIsRefusedAndLogged) {
  ThreadCtrl control(RunUntilStopped);
  ASSERT_EQ(control.Start(&story), 1);
  Story other;
  EXPECT_EQ(control.Start(&other), 0);
  EXPECT_EQ(TakeStandardError(), Prefix("Start") + kAlreadyRunning);
  control.Stop();
  EXPECT_EQ(story.runs, 1);
  EXPECT_EQ(other.runs, 0);
}

TEST_F(ThreadCtrlTest, StartWithoutAWorkerIsRefusedAndLogged) {
  ThreadCtrl control;
  EXPECT_EQ(control.Start(&story), 0);
  EXPECT_FALSE(control.IsActive());
  EXPECT_EQ(TakeStandardError(), Prefix("Start") + "pointer is not assigned\n");
}

TEST_F(ThreadCtrlTest, StopOfAnIdleObjectReturnsWithoutLogging) {
  ThreadCtrl control(RunUntilStopped);
  control.Stop();
  EXPECT_THAT(TakeStandardError(), IsEmpty());
  EXPECT_EQ(faults::calls.joined, 0);
}

TEST_F(ThreadCtrlTest, AnObjectWithoutWorkerTakesOneLater) {
  ThreadCtrl control;
  EXPECT_TRUE(control.InitFuncPt(RunUntilStopped));
  EXPECT_EQ(control.Start(&story), 1);
  control.Stop();
  EXPECT_EQ(story.runs, 1);
}

TEST_F(ThreadCtrlTest, TheWorkerCannotBeChangedWhileItRuns) {
  ThreadCtrl control(RunUntilStopped);
  ASSERT_EQ(control.Start(&story), 1);
  EXPECT_FALSE(control.InitFuncPt(EndWhenLet));
  control.Stop();
  ASSERT_EQ(control.Start(&story), 1);
  control.Stop();  // the other worker would wait for ever
  EXPECT_EQ(story.runs, 2);
}

TEST_F(ThreadCtrlTest, CanBeStartedAgainAfterAStop) {
  ThreadCtrl control(RunUntilStopped);
  for (int run = 1; run <= 3; ++run) {
    ASSERT_EQ(control.Start(&story), 1);
    control.Stop();
    ASSERT_EQ(story.runs, run);
  }
}

TEST_F(ThreadCtrlTest, AWorkerThatEndsByItselfDetachesAndLeavesTheObjectIdle) {
  ThreadCtrl control(EndWhenLet);
  ASSERT_EQ(control.Start(&story), 1);
  story.mayEnd.release();
  WaitUntil([&] { return !control.IsActive(); });
  control.Stop();
  EXPECT_THAT(TakeStandardError(), IsEmpty());
  EXPECT_EQ(faults::calls.detached, 1);
  EXPECT_EQ(faults::calls.joined, 0);

  ASSERT_EQ(control.Start(&story), 1);
  story.mayEnd.release();
  WaitUntil([&] { return !control.IsActive(); });
  EXPECT_EQ(story.runs, 2);
}

TEST_F(ThreadCtrlTest, AFailedThreadCreationLeavesTheObjectIdle) {
  ThreadCtrl control(RunUntilStopped);
  faults::results.create = EAGAIN;
  EXPECT_EQ(control.Start(&story), 0);
  EXPECT_FALSE(control.IsActive());
  control.Stop();
  EXPECT_THAT(TakeStandardError(), IsEmpty());
  EXPECT_EQ(faults::calls.joined, 0);
  EXPECT_TRUE(control.InitFuncPt(RunUntilStopped));

  faults::results.create = 0;
  EXPECT_EQ(control.Start(&story), 1);
  control.Stop();
  EXPECT_EQ(story.runs, 1);
}

TEST_F(ThreadCtrlTest, StartIsRefusedWhileAStopWaitsForTheWorker) {
  ThreadCtrl control(EndReluctantly);
  ASSERT_EQ(control.Start(&story), 1);
  std::thread stopping([&control] { control.Stop(); });
  WaitUntil([this] { return story.ended.load(); });  // the flag has dropped, the worker is still there
  EXPECT_TRUE(control.IsActive());
  TakeStandardError();
  EXPECT_EQ(control.Start(&story), 0);
  EXPECT_EQ(TakeStandardError(), Prefix("Start") + kAlreadyRunning);
  story.mayEnd.release();
  stopping.join();
  EXPECT_EQ(story.runs, 1);
}

TEST_F(ThreadCtrlTest, AStopBeforeTheThreadsFirstInstructionLetsNoSecondStartIn) {
  ThreadCtrl control(RunUntilStopped);
  faults::threadBegin.Close();
  ASSERT_EQ(control.Start(&story), 1);
  faults::threadBegin.WaitForArrival();
  std::thread stopping([&control] { control.Stop(); });
  WaitUntil([&control] { return control.InitFuncPt(EndWhenLet); });  // the running flag has dropped
  Story other;
  EXPECT_EQ(control.Start(&other), 0);
  faults::threadBegin.Open();
  stopping.join();
  EXPECT_EQ(other.runs, 0);
  EXPECT_EQ(story.runs, 1);
  EXPECT_FALSE(story.flagAtEntry);
  EXPECT_TRUE(story.ended) << "the worker of the start ran, not the one that was set later";
  EXPECT_FALSE(control.IsActive());
}

TEST_F(ThreadCtrlTest, TwoStopsAtOnceBothWaitAndOneJoins) {
  ThreadCtrl control(EndReluctantly);
  ASSERT_EQ(control.Start(&story), 1);
  std::atomic<int> sawTheEnd{0};
  const auto stop = [&] {
    control.Stop();
    if (!control.IsActive() && story.left) ++sawTheEnd;
  };
  std::thread first(stop);
  WaitUntil([] { return faults::calls.joined == 1; });
  std::thread second(stop);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // time to go wrong; being right needs none
  EXPECT_EQ(faults::calls.joined, 1);
  story.mayEnd.release();
  first.join();
  second.join();
  EXPECT_EQ(sawTheEnd, 2);
  EXPECT_EQ(faults::calls.joined, 1);
  EXPECT_EQ(faults::calls.detached, 0);
}

TEST_F(ThreadCtrlTest, AWorkerCannotStartItsOwnObject) {
  ThreadCtrl control(StartAgainFromWorker);
  story.control = &control;
  ASSERT_EQ(control.Start(&story), 1);
  story.entered.acquire();
  control.Stop();
  EXPECT_EQ(story.startFromWorker, 0);
}

TEST_F(ThreadCtrlTest, TheDestructorStopsAWorkerThatStillRuns) {
  std::optional<ThreadCtrl> control(std::in_place, RunUntilStopped);
  ASSERT_EQ(control->Start(&story), 1);
  story.entered.acquire();
  control.reset();
  EXPECT_TRUE(story.ended);
  EXPECT_EQ(faults::calls.joined, 1);
}

TEST_F(ThreadCtrlTest, TheMutexOutlivesAnEndingWorkerThatHoldsIt) {
  auto control = std::make_unique<ThreadCtrl>(EndWhenLet);
  ASSERT_EQ(control->Start(&story), 1);
  faults::detach.Close();
  story.mayEnd.release();
  faults::detach.WaitForArrival();  // the worker detaches itself with the mutex held
  std::atomic<bool> destroying{false};
  std::thread owner([&] {
    destroying = true;
    control.reset();
  });
  WaitUntil([&] { return destroying.load(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // time to go wrong; being right needs none
  EXPECT_EQ(faults::calls.mutexDestroy, 0);
  faults::detach.Open();
  owner.join();
  EXPECT_EQ(faults::calls.mutexDestroy, 1);
}

TEST_F(ThreadCtrlTest, AWorkerThatHasJustEndedCanBeDestroyedAtOnce) {
  for (int i = 0; i < 300; ++i) {
    ThreadCtrl control(EndWhenLet);
    ASSERT_EQ(control.Start(&story), 1);
    story.mayEnd.release();
    WaitUntil([&control] { return !control.IsActive(); });
  }
  EXPECT_THAT(TakeStandardError(), IsEmpty()) << "the mutex was busy when it was destroyed";
}

TEST_F(ThreadCtrlTest, AWaitForTheEndReturnsAtOnceWhereNoneIsAnnounced) {
  constexpr std::chrono::hours kTooLong{1};
  ThreadCtrl control(AnnounceAndEndWhenLet);
  story.control = &control;
  control.AwaitEnd(kTooLong);  // no worker
  ASSERT_EQ(control.Start(&story), 1);
  story.entered.acquire();
  story.mayEnd.release();
  WaitUntil([&] { return !control.IsActive(); });
  control.AwaitEnd(kTooLong);  // one that has ended
  control.InitFuncPt(RunUntilStopped);
  ASSERT_EQ(control.Start(&story), 1);
  control.AwaitEnd(kTooLong);  // the next one has announced nothing
  EXPECT_TRUE(control.IsActive());
  control.Stop();
}

TEST_F(ThreadCtrlTest, AWaitForAnAnnouncedEndLastsUntilTheWorkerIsGone) {
  ThreadCtrl control(AnnounceAndEndWhenLet);
  story.control = &control;
  for (int run = 0; run < 20; ++run) {
    ASSERT_EQ(control.Start(&story), 1) << "the last one is gone";
    story.entered.acquire();
    std::thread later([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      story.mayEnd.release();
    });
    control.AwaitEnd(std::chrono::hours(1));
    EXPECT_FALSE(control.IsActive());
    later.join();
  }
}

TEST_F(ThreadCtrlTest, AWaitForAnAnnouncedEndIsBounded) {
  ThreadCtrl control(AnnounceAndEndWhenLet);
  story.control = &control;
  ASSERT_EQ(control.Start(&story), 1);
  story.entered.acquire();
  const auto begin = std::chrono::steady_clock::now();
  control.AwaitEnd(std::chrono::milliseconds(30));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
  EXPECT_TRUE(control.IsActive());
  story.mayEnd.release();
}

/// Two threads start and stop one object whose workers end by themselves as often as by a stop.
struct Crowd {
  std::atomic<int> atWork{0};
  std::atomic<bool> crowded{false};
  std::atomic<int> runs{0};
  int plain = 0;  // unguarded on purpose: runs must not overlap, and each must see the last one's work
};

void WorkAlone(bool* running, void* param) {
  auto& crowd = *static_cast<Crowd*>(param);
  if (++crowd.atWork != 1) crowd.crowded = true;
  const int run = crowd.runs++;
  ++crowd.plain;
  for (int i = 0; i < run % 8 * 20 && ThreadCtrl::KeepRunning(running); ++i) std::this_thread::yield();
  --crowd.atWork;
}

TEST_F(ThreadCtrlTest, StartsStopsAndEndsFromTwoThreadsKeepOneWorkerAndLoseNone) {
  g_bDebugPrint = false;
  ThreadCtrl control(WorkAlone);
  Crowd crowd;
  std::atomic<int> started{0};
  const auto startAndStop = [&] {
    for (int i = 0; i < 1500; ++i) {
      started += control.Start(&crowd);
      if (i % 3 != 0) std::this_thread::yield();
      if (i % 2 == 0) control.Stop();
    }
  };
  std::thread first(startAndStop);
  std::thread second(startAndStop);
  first.join();
  second.join();
  control.Stop();

  EXPECT_FALSE(crowd.crowded);
  EXPECT_EQ(crowd.runs, started);
  EXPECT_EQ(crowd.plain, started);
  EXPECT_EQ(faults::calls.created, started);
  EXPECT_EQ(faults::calls.joined + faults::calls.detached, started) << "each thread is joined or detached, once";
  EXPECT_FALSE(control.IsActive());
}

}  // namespace
