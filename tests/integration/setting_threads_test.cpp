// Controls set by several threads at once: no value is lost, and nobody waits for ever.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <thread>
#include <vector>

#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

constexpr int kRounds = 20'000;
constexpr int kSlowRounds = 500;

/// Takes its time before it stores colours that somebody has put together, and before anybody can say that an
/// exposure was set.
class LeisurelyCamera : public CModelCamera {
 public:
  LeisurelyCamera() : CModelCamera(SmallModel()) {}
  bool SetExp(unsigned long long us, bool automatic) override {
    const bool done = CModelCamera::SetExp(us, automatic);
    std::this_thread::sleep_for(std::chrono::microseconds(us % 7 * 30));
    return done;
  }
  bool SetWB(int red, int blue, bool automatic) override {
    std::this_thread::sleep_for(std::chrono::microseconds(20));
    return CModelCamera::SetWB(red, blue, automatic);
  }

 private:
  static ModelData SmallModel() {
    ModelData model = *FindModel("k1c");
    model.maxWidth = model.maxHeight = 128;
    return model;
  }
};

/// One thread sets `id` to ever other values of `low` to `high` and finds each of them kept: nobody else sets it.
void SetAndFind(CModelCamera& camera, ORQ_CONTROL_TYPE id, int low, int high, int rounds, int& lost) {
  for (int round = 0; round < rounds; ++round) {
    const long wanted = low + round % (high - low + 1);
    camera.SetControlValue(id, wanted, false);
    long found = -1;
    std::this_thread::sleep_for(std::chrono::microseconds(
        round % 2 * 20));  // what somebody else puts together of old values is stored later
    camera.GetControlValue(id, &found, nullptr);
    if (found != wanted) ++lost;
  }
}

TEST(SettingThreads, ParametersOfAutomaticControlThatTwoThreadsSetAreNotLost) {
  const VirtualRig rig;
  int lostGains = 0;
  int lostTargets = 0;
  std::thread gains([&] { SetAndFind(*rig.camera, ORQ_AUTO_EXP_MAX_GAIN, 1, 100, kRounds, lostGains); });
  std::thread targets(
      [&] { SetAndFind(*rig.camera, ORQ_AUTO_EXP_TARGET_BRIGHTNESS, 60, 160, kRounds, lostTargets); });
  gains.join();
  targets.join();
  EXPECT_EQ(lostGains, 0);
  EXPECT_EQ(lostTargets, 0);
}

TEST(SettingThreads, ColoursThatTwoThreadsSetAreNotLost) {
  LeisurelyCamera camera;
  int lostReds = 0;
  int lostBlues = 0;
  std::thread reds([&] { SetAndFind(camera, ORQ_WB_R, 1, 99, kSlowRounds, lostReds); });
  std::thread blues([&] { SetAndFind(camera, ORQ_WB_B, 1, 99, kSlowRounds, lostBlues); });
  reds.join();
  blues.join();
  EXPECT_EQ(lostReds, 0);
  EXPECT_EQ(lostBlues, 0);
}

TEST(SettingThreads, WhoSetsOneColourUndoesNoStepOfAutomaticWhiteBalance) {
  const VirtualRig rig;
  std::atomic<bool> done{false};
  std::thread user([&] {
    for (int round = 0; !done; ++round) {
      rig.camera->SetControlValue(ORQ_WB_R, 1 + round % 99, true);
      // Who takes a lock again at once may keep everybody else from it for ever.
      if (round % 8 == 0) std::this_thread::sleep_for(std::chrono::microseconds(1));
    }
  });
  int lost = 0;
  for (int round = 0; round < kRounds; ++round) {  // as the automatic-control worker does it
    const int blue = 1 + round % 99;
    rig.camera->SetWB(50, blue, true);
    std::this_thread::yield();
    if (rig.camera->WB_Blue != blue) ++lost;
  }
  done = true;
  user.join();
  EXPECT_EQ(lost, 0);
}

TEST(SettingThreads, TheExposureThatCountsAsSetLastIsTheCamerasOwn) {
  LeisurelyCamera camera;
  std::barrier round(2);
  int apart = 0;
  const auto set = [&](int step, bool looks) {
    for (int i = 1; i <= 500; ++i) {
      round.arrive_and_wait();
      camera.SetControlValue(ORQ_EXPOSURE, 1000 + i * step, false);
      round.arrive_and_wait();
      if (looks && static_cast<std::uint64_t>(camera.lastSetExp) != camera.exposureUs) ++apart;
    }
  };
  std::thread other([&] { set(11, false); });
  set(13, true);
  other.join();
  EXPECT_EQ(apart, 0);
}

TEST(SettingThreads, NobodyWaitsForEverWhileOneChangesTheFramesOfARunningCapture) {
  const VirtualRig rig("x26m", [](VirtualOptions& options) { options.timeScale = 0; });
  ASSERT_TRUE(rig.Open());
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RAW16}, applied, reason)) << reason;
  rig.camera->SetControlValue(ORQ_EXPOSURE, 1000, true);
  rig.camera->SetControlValue(ORQ_GAIN, 10, true);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_EQ(rig.camera->StartAutoControlThr(), 1);
  std::atomic<bool> done{false};
  std::vector<std::thread> others;
  others.emplace_back([&] {
    for (long us = 1000; !done; us = 1000 + us % 5000) rig.camera->SetControlValue(ORQ_EXPOSURE, us, true);
  });
  others.emplace_back([&] {
    for (long gain = 0; !done; gain = (gain + 1) % 100) rig.camera->SetControlValue(ORQ_GAIN, gain, true);
  });
  others.emplace_back([&] {
    while (!done) rig.Fetch();
  });
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(rig.camera->SetControlValue(ORQ_HARDWARE_BIN, i % 2, false), CTRL_OK)
        << rig.camera->CaptureTrouble();
  }
  done = true;
  rig.camera->StopAutoControlThr();
  rig.camera->StopCapture();
  for (std::thread& other : others) other.join();
}

}  // namespace
}  // namespace orq
