#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "AutoCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::AutoCamera;
using orq::test::LogText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

template <class Done>
bool Eventually(Done done) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!done()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Its frame is too dark whatever is done about it, so that every cycle sets something.
std::unique_ptr<AutoCamera> DarkCamera() {
  auto camera = std::make_unique<AutoCamera>();
  camera->Fill(20);
  camera->AutoExp = 1;
  camera->AutoExpMaxMs = 1'000'000;
  camera->exposureUs = 1000;
  camera->autoGateLimit = 0x7FFFFFFF;
  return camera;
}

TEST(AutoControlThread, MeasuresEveryCycleAndLogsItsEnd) {
  const auto camera = DarkCamera();
  LogText log;
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera->sets >= 3; }));
  camera->StopAutoControlThr();
  EXPECT_FALSE(camera->autoThr.IsActive());
  const std::string text = log.Text();
  EXPECT_THAT(text, HasSubstr(" SetGainExpFunc]: Thread SetGainExpFunc Exit!\n"));
  // 1000 + 79 * 1000 / 200, and so on.
  EXPECT_THAT(text, HasSubstr("Dest:100 Mean:21  gain:20 exp:1395 reg:0x3e8\n"));
  const auto calls = camera->TakeSets();
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(calls[0], "SetExp 1395 1");
  EXPECT_EQ(calls[1], "SetExp 1946 1");
  EXPECT_EQ(calls[2], "SetExp 2714 1");
}

TEST(AutoControlThread, BalancesWhiteInEveryFourthCycleAfterTheExposure) {
  const auto camera = DarkCamera();
  camera->bIsColor = 1;
  camera->autoWB = 1;
  // Green of RGGB brighter than the rest, and still too dark.
  for (std::size_t y = 0; y < 48; ++y)
    for (std::size_t x = 0; x < 64; ++x) camera->autoBuf[y * 64 + x] = (x + y) % 2 != 0 ? 40 : 20;
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera->balances >= 2; }));
  camera->StopAutoControlThr();
  std::vector<std::string> order;
  for (const std::string& call : camera->TakeSets()) order.push_back(call.substr(0, call.find(' ')));
  order.resize(10);
  EXPECT_THAT(order, ElementsAre("SetExp", "SetExp", "SetExp", "SetExp", "SetWB", "SetExp", "SetExp", "SetExp",
                                 "SetExp", "SetWB"));
}

TEST(AutoControlThread, BalancesWhiteAloneWhenNothingElseIsAutomatic) {
  const auto camera = DarkCamera();
  camera->AutoExp = 0;
  camera->bIsColor = 1;
  camera->autoWB = 1;
  for (std::size_t y = 0; y < 48; ++y)
    for (std::size_t x = 0; x < 64; ++x) camera->autoBuf[y * 64 + x] = (x + y) % 2 != 0 ? 120 : 99;
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera->balances >= 1; }));
  camera->StopAutoControlThr();
  EXPECT_EQ(camera->sets, 0);
  EXPECT_EQ(camera->TakeSets().front(), "SetWB 60 60 1");
  EXPECT_EQ(camera->autoMean, 0) << "no brightness was measured";
}

TEST(AutoControlThread, NeitherAMonochromeCameraNorOneWithManualWhiteBalanceIsBalanced) {
  const auto mono = DarkCamera();
  mono->autoWB = 1;
  const auto manual = DarkCamera();
  manual->bIsColor = 1;
  ASSERT_EQ(mono->StartAutoControlThr(), 1);
  ASSERT_EQ(manual->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return mono->sets >= 5 && manual->sets >= 5; }));
  mono->StopAutoControlThr();
  manual->StopAutoControlThr();
  EXPECT_EQ(mono->balances, 0);
  EXPECT_EQ(manual->balances, 0);
}

// Each would set something within four tenths of a second if it measured; together they have it once.
TEST(AutoControlThread, AClosedGateKeepsItFromMeasuring) {
  std::vector<std::unique_ptr<AutoCamera>> cameras;
  const auto gate = [&](std::uint64_t exposureUs, int limit, int a, int b) {
    cameras.push_back(DarkCamera());
    cameras.back()->exposureUs = exposureUs;
    cameras.back()->autoGateLimit = limit;
    cameras.back()->autoGateA = a;
    cameras.back()->autoGateB = b;
  };
  gate(32, 0, -5, 0);                      // no exposure is shorter than nothing
  gate(1000, 1000, 0, 0);                  // the exposure has reached the limit
  gate(0x100000000ULL, 0x7FFFFFFF, 0, 0);  // and is compared whole
  gate(1000, 2000, 1500, 500);             // so has the sum
  gate(1000, -1, 0, 0);                    // a limit below zero lets every exposure pass, but not this sum
  cameras.push_back(DarkCamera());         // nothing is automatic
  cameras.back()->AutoExp = 0;
  for (const auto& camera : cameras) ASSERT_EQ(camera->StartAutoControlThr(), 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(450));
  for (const auto& camera : cameras) {
    camera->StopAutoControlThr();
    EXPECT_THAT(camera->TakeCalls(), IsEmpty());
  }
}

TEST(AutoControlThread, ANegativeLimitLetsASmallerSumPass) {
  const auto camera = DarkCamera();
  camera->autoGateLimit = -1;
  camera->autoGateA = -2;
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera->sets >= 1; }));
  camera->StopAutoControlThr();
}

TEST(AutoControlThread, FormsTheSumOnceAndReadsTheLimitEveryCycle) {
  const auto camera = DarkCamera();
  camera->autoGateA = 1000;
  camera->autoGateB = 500;
  camera->autoGateLimit = 1000;
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  camera->autoGateLimit = 0x7FFFFFFF;
  EXPECT_TRUE(Eventually([&] { return camera->sets >= 1; }));
  camera->autoGateA = 0x7FFFFFFF;
  const int before = camera->sets;
  EXPECT_TRUE(Eventually([&] { return camera->sets >= before + 2; })) << "the sum is that of the start";
  camera->StopAutoControlThr();
}

TEST(AutoControlThread, CountsTheCyclesThatChangedNothing) {
  const auto camera = DarkCamera();
  camera->Fill(99);
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera->autoSteadyCycles >= 2; }));
  EXPECT_EQ(camera->autoMean, 100);
  camera->gain = 21;  // whoever changes it
  EXPECT_TRUE(Eventually([&] { return camera->autoSteadyCycles == 0; }));
  EXPECT_TRUE(Eventually([&] { return camera->autoSteadyCycles >= 1; }));
  camera->StopAutoControlThr();
  ASSERT_EQ(camera->StartAutoControlThr(), 1);
  camera->StopAutoControlThr();
}

TEST(AutoControlThread, RunsWithoutBuffers) {
  orq::test::RecordingCamera camera;
  camera.AutoExp = 1;
  camera.autoWB = 1;
  camera.bIsColor = 1;
  camera.iWidth = 64;
  camera.iHeight = 48;
  camera.autoGateLimit = 0x7FFFFFFF;
  ASSERT_EQ(camera.StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera.autoSteadyCycles >= 5; }));
  camera.StopAutoControlThr();
}

}  // namespace
