// All corrections at once: no operation waits for ever, and (with the thread sanitizer) none races.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/AwaitSleep.h"
#include "support/FlashPort.h"
#include "support/HeldThread.h"

namespace orq::test {
namespace {

constexpr auto kWatchdog = std::chrono::seconds(90);
constexpr int kRounds = 300;

/// Runs every job `rounds` times in a thread of its own; all begin together. Ends the process when they hang.
void RunTogether(int rounds, const std::vector<std::function<void(int)>>& jobs) {
  std::latch begin(static_cast<std::ptrdiff_t>(jobs.size()));
  std::atomic<std::size_t> running{jobs.size()};
  std::promise<void> allDone;
  std::vector<std::thread> threads;
  for (const auto& job : jobs) {
    threads.emplace_back([&, job] {
      begin.arrive_and_wait();
      for (int round = 0; round < rounds; ++round) job(round);
      if (--running == 0) allDone.set_value();
    });
  }
  if (allDone.get_future().wait_for(kWatchdog) != std::future_status::ready) {
    std::cerr << "the corrections wait for each other\n";
    std::abort();
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(CorrectionsTogether, NeitherHangNorRace) {
  FlashCamera camera;
  camera.iMaxWidth = 48;
  camera.iMaxHeight = 32;
  camera.iADCBits = 12;
  camera.InitVariable();
  camera.iWidth = 48;
  camera.iHeight = 32;
  camera.exposureUs = 600'000;  // a dark of 2 frames
  const std::string bmp = testing::TempDir() + "corrections_together.bmp";

  const auto useWholeSensor = [&] {
    camera.iStartX = 0;
    camera.iWidth = 48;
  };
  RunTogether(kRounds, {
                           // The capture worker's part of a frame.
                           [&](int round) {
                             for (std::size_t i = 0; i < 48 * 32; ++i) {
                               camera.pImgBuf[i] = static_cast<std::uint8_t>(i % 97 == 0 ? 250 : round % 8);
                             }
                             camera.b16Bit = round % 5 == 0 ? 1 : 0;
                             camera.DoGetDark();
                             camera.SubtractDark();
                             camera.HandleHotPixels();
                           },
                           // The application's switches.
                           [&](int round) {
                             camera.GettingDark(true, 0);
                             camera.HPC = 1;
                             camera.UsingDark(round % 4 != 0);
                           },
                           // Geometry changes, from two sides.
                           [&](int round) {
                             camera.iStartX = round % 3;
                             camera.iWidth = 24;
                             camera.AdjustHPCTable();
                             camera.AdjustDarkBuff();
                           },
                           [&](int) {
                             useWholeSensor();
                             camera.AdjustDarkBuff();
                             camera.AdjustHPCTable();
                             camera.IsHPCChange();
                           },
                           [&](int round) {
                             if (round % 10 == 0) camera.SaveHPCTable();
                             if (round % 10 == 5) camera.LoadHPCTable();
                           },
                           [&](int round) {
                             if (round % 2 == 0) {
                               camera.SaveBMPToFile(bmp.c_str());
                             } else {
                               camera.LoadBMPFromFile(bmp.c_str());
                             }
                           },
                       });

  // What is left fits together.
  useWholeSensor();
  camera.exposureUs = 1'000'000;
  camera.GettingDark(true, 0);
  camera.iDarkFrameCount = 0;
  for (std::size_t i = 0; i < 48 * 32; ++i) camera.pImgBuf[i] = i % 97 == 0 ? 250 : 4;
  camera.DoGetDark();
  EXPECT_EQ(camera.iDarkPixCount, 16);  // 1536 / 97
  ASSERT_TRUE(camera.SaveHPCTable());
  ASSERT_TRUE(camera.LoadHPCTable());
  ASSERT_EQ(camera.iHPCCount, 16);
  for (std::uint32_t i = 0; i < 16; ++i) EXPECT_EQ(camera.pHPCList[i], i * 97);
}

/// What reads or changes the tables of one lock.
struct LockedOperation {
  const char* name;
  CMutex& lock;
  std::function<void()> run;
};

// A table that is exchanged in the middle of a repair is read after it was freed.
TEST(CorrectionLocks, EveryOperationWaitsForTheLockOfItsTables) {
  FlashCamera camera;
  camera.iMaxWidth = 8;
  camera.iMaxHeight = 4;
  camera.InitVariable();
  camera.iWidth = 8;
  camera.iHeight = 4;
  camera.HPC = 1;
  camera.CutDark = 1;
  camera.UsingDark(true);
  const auto correct = [&] { camera.HandleHotPixels(); };
  const LockedOperation all[] = {
      {"hot pixels", camera.HPCMutex, correct},
      {"pixels of the dark list", camera.DarkListMutex, correct},
      {"dark subtraction", camera.DarkBufMutex, [&] { camera.SubtractDark(); }},
      {"cut of the hot-pixel table", camera.HPCMutex, [&] { camera.AdjustHPCTable(); }},
      {"comparison of the cuts", camera.HPCMutex, [&] { camera.IsHPCChange(); }},
      {"save of the hot-pixel table", camera.HPCMutex, [&] { camera.SaveHPCTable(); }},
      {"cut of the dark", camera.DarkBufMutex, [&] { camera.AdjustDarkBuff(); }},
  };
  for (const LockedOperation& operation : all) {
    std::unique_lock lock(operation.lock);
    HeldThread thread(operation.run);
    EXPECT_TRUE(thread.IsHeld()) << operation.name;
    lock.unlock();
  }
}

/// What takes both dark locks: from the capture worker (the accumulation lock is wanted first), and from the
/// application (the other one first, or the same one for a file).
struct DarkOperations {
  DarkOperations() {
    camera.iMaxWidth = 8;
    camera.iMaxHeight = 4;
    camera.InitVariable();
    camera.iWidth = 8;
    camera.iHeight = 4;
    camera.exposureUs = 600'000;  // a dark of 2 frames
    camera.GettingDark(true, 0);
    camera.DoGetDark();
    camera.SaveBMPToFile(bmp.c_str());
  }

  const std::string bmp = testing::TempDir() + "dark_operations.bmp";
  FlashCamera camera;
  const std::vector<std::pair<const char*, std::function<void()>>> list{
      {"DoGetDark",
       [this] {
         camera.GettingDark(true, 0);
         camera.DoGetDark();
       }},
      {"AdjustDarkBuff", [this] { camera.AdjustDarkBuff(); }},
      {"UsingDark on", [this] { camera.UsingDark(true); }},
      {"UsingDark off", [this] { camera.UsingDark(false); }},
      {"LoadBMPFromFile", [this] { camera.LoadBMPFromFile(bmp.c_str()); }},
      {"SaveHPCTable", [this] { camera.SaveHPCTable(); }},
  };
};

TEST(DarkLocks, FourThreadsThatWantBothNeverWaitForEver) {
  DarkOperations operations;
  const auto run = [&](std::size_t operation) { operations.list[operation].second(); };
  RunTogether(30'000, {[&](int) { run(0); }, [&](int) { run(1); }, [&](int round) { run(round % 3 == 0 ? 3 : 2); },
                       [&](int round) {
                         if (round % 300 == 0) run(4);
                         run(1);
                       }});
}

bool BecomesFree(CMutex& mutex) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  do {
    if (mutex.try_lock()) {
      mutex.unlock();
      return true;
    }
    std::this_thread::yield();
  } while (std::chrono::steady_clock::now() < giveUp);
  return false;
}

// Whoever waits for one of two locks and keeps the other meanwhile needs only a partner who does the same the
// other way round.
TEST(DarkLocks, NobodyKeepsOneWhileItWaitsForTheOther) {
  DarkOperations operations;
  CMutex& accum = operations.camera.DarkAccumMutex;
  CMutex& buf = operations.camera.DarkBufMutex;
  for (const auto& [name, operation] : operations.list) {
    for (const bool accumIsTaken : {false, true}) {
      CMutex& taken = accumIsTaken ? accum : buf;
      CMutex& other = accumIsTaken ? buf : accum;
      taken.lock();
      std::atomic<pid_t> id{0};
      std::thread thread([&id, &work = operation] {
        id = gettid();
        work();
      });
      EXPECT_TRUE(AwaitSleep(id, kWatchdog)) << name;
      EXPECT_TRUE(BecomesFree(other)) << name << " waits for the " << (accumIsTaken ? "accumulation" : "buffer")
                                      << " lock with the other one in its hand";
      taken.unlock();
      thread.join();
    }
  }
}

}  // namespace
}  // namespace orq::test
