// Triggers and trigger outputs of a whole camera.
#include <algorithm>

#include "TestCamera.h"

namespace orq::test {
namespace {

using std::chrono::milliseconds;

constexpr std::uint8_t kSoftware = 0x0D;
constexpr std::uint8_t kRising = 0x0F;
constexpr std::uint8_t kFalling = 0x07;
constexpr std::uint8_t kSoftwareLevel = 0x09;
constexpr std::uint8_t kHigh = 0x0B;
constexpr std::uint8_t kLow = 0x03;
constexpr std::uint8_t kModes[] = {kSoftware, kRising, kFalling, kSoftwareLevel, kHigh, kLow};

void Trigger(VirtualCamera& camera) {
  Out(camera, wire::kReqSoftTrigger);
}

/// A camera whose output runs in a trigger mode. Without time: an exposure is over when its frame can be read.
std::shared_ptr<Firmware> Listening(std::uint8_t mode, const VirtualOptions& options = Untimed()) {
  auto camera = MakeCamera(options);
  WriteFpga(*camera, 0x02, mode);
  RunOutput(*camera);
  return camera;
}

std::uint64_t Exposed(VirtualCamera& camera, std::uint64_t count) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (camera.FramesExposed() < count && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(milliseconds(1));
  return camera.FramesExposed();
}

TEST(VirtualTrigger, SoftwareRequestsTakeOneFrameEach) {
  for (const std::uint8_t mode : {kSoftware, kSoftwareLevel}) {
    auto camera = MakeCamera(Untimed());
    WriteFpga(*camera, 0x02, mode);
    Trigger(*camera);  // the output does not run: ignored
    RunOutput(*camera);
    EXPECT_TRUE(Silent(*camera));
    for (int i = 0; i < 3; ++i) {
      Trigger(*camera);
      const Frame frame = ReadFrame(*camera);
      ASSERT_TRUE(frame.Header());
      EXPECT_EQ(1, frame.Header()->flags);
    }
    EXPECT_TRUE(Silent(*camera));
    EXPECT_EQ(3U, camera->FramesExposed());
    EXPECT_EQ(0U, camera->TriggersMissed());
  }
}

TEST(VirtualTrigger, EdgesTakeOneFrameEach) {
  for (const bool rising : {true, false}) {
    auto camera = Listening(rising ? kRising : kFalling);
    camera->SetTriggerLine(!rising);
    EXPECT_TRUE(Silent(*camera));
    for (int i = 0; i < 3; ++i) {
      camera->SetTriggerLine(rising);
      const Frame frame = ReadFrame(*camera);
      ASSERT_TRUE(frame.Header());
      EXPECT_EQ(1, frame.Header()->flags);
      camera->SetTriggerLine(rising);  // no edge
      camera->SetTriggerLine(!rising);
    }
    EXPECT_TRUE(Silent(*camera));
    EXPECT_EQ(3U, camera->FramesExposed());
    EXPECT_EQ(0U, camera->TriggersMissed());
  }
}

TEST(VirtualTrigger, ALevelTakesFramesWhileItLasts) {
  for (const bool high : {true, false}) {
    auto camera = MakeCamera(Untimed());
    camera->SetTriggerLine(!high);
    WriteFpga(*camera, 0x02, high ? kHigh : kLow);
    RunOutput(*camera);
    EXPECT_TRUE(Silent(*camera));
    camera->SetTriggerLine(high);
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(ReadFrame(*camera).Header());
    camera->SetTriggerLine(!high);
    while (!Silent(*camera)) {
    }
    const std::uint64_t exposed = camera->FramesExposed();
    EXPECT_GE(exposed, 5U);
    EXPECT_TRUE(Silent(*camera));
    EXPECT_EQ(exposed, camera->FramesExposed());
    EXPECT_EQ(0U, camera->TriggersMissed());
  }
}

TEST(VirtualTrigger, ALevelThatStandsAlreadyExposesAtTheStart) {
  auto camera = Listening(kLow);
  EXPECT_TRUE(ReadFrame(*camera).Header());
}

TEST(VirtualTrigger, AnEdgeBeforeTheStartDoesNotCount) {
  auto camera = MakeCamera(Untimed());
  WriteFpga(*camera, 0x02, kRising);
  camera->SetTriggerLine(true);
  RunOutput(*camera);
  EXPECT_TRUE(Silent(*camera));
  EXPECT_EQ(0U, camera->TriggersMissed());
}

TEST(VirtualTrigger, EachExposureOfALevelHasTheProgrammedTimeAndNoneOverlaps) {
  VirtualOptions options;
  auto camera = MakeCamera(options, 64, 32, 1000000);  // 32 ms of readout
  WriteFpgaWide(*camera, 0x30, 5, 20000);
  WriteFpgaWide(*camera, 0x08, 4, 1000);
  WriteFpga(*camera, 0x03, 0x05);
  WriteFpga(*camera, 0x02, kHigh);
  RunOutput(*camera);
  camera->SetTriggerLine(true);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(20000U, ReadFrame(*camera).Header().value().exposureUs);
  camera->SetTriggerLine(false);
  const std::vector<SyncEdge> edges = camera->SyncEdges(0);
  ASSERT_GE(edges.size(), 5U);
  for (std::size_t i = 2; i < edges.size(); i += 2) {
    EXPECT_TRUE(edges[i].high);
    EXPECT_GE(edges[i].timeUs - edges[i - 2].timeUs, 52000U - 1) << "exposure and readout";
  }
}

TEST(VirtualTrigger, TriggersDuringExposureAndReadoutAreMissedAndCounted) {
  auto camera = MakeCamera(VirtualOptions{}, 64, 32, 3000000000);  // 96 s of readout
  WriteFpgaWide(*camera, 0x30, 5, 200000);
  WriteFpga(*camera, 0x02, kSoftware);
  RunOutput(*camera);
  Trigger(*camera);
  Trigger(*camera);
  Trigger(*camera);
  EXPECT_EQ(2U, camera->TriggersMissed()) << "during the exposure";
  EXPECT_EQ(1U, Exposed(*camera, 1));
  Trigger(*camera);
  EXPECT_EQ(3U, camera->TriggersMissed()) << "during the readout";
  EXPECT_EQ(1U, camera->FramesExposed());
}

TEST(VirtualTrigger, EdgesDuringAnExposureAreMissedAndCounted) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, 0x30, 5, 1000000000);
  WriteFpga(*camera, 0x02, kRising);
  RunOutput(*camera);
  for (int i = 0; i < 5; ++i) {
    camera->SetTriggerLine(true);
    camera->SetTriggerLine(false);
  }
  EXPECT_EQ(4U, camera->TriggersMissed());
}

TEST(VirtualTrigger, AfterAStopTheNextTriggerCountsAgain) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, 0x30, 5, 1000000000);
  WriteFpga(*camera, 0x02, kSoftware);
  RunOutput(*camera);
  Trigger(*camera);
  RunOutput(*camera, false);
  WriteFpgaWide(*camera, 0x30, 5, 1000);
  RunOutput(*camera);
  EXPECT_TRUE(Silent(*camera));
  Trigger(*camera);
  EXPECT_EQ(1000U, ReadFrame(*camera).Header().value().exposureUs);
  EXPECT_EQ(0U, camera->TriggersMissed());
}

TEST(VirtualTrigger, AnotherModeEndsTheExposureUnderWay) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, 0x30, 5, 1000000000);
  WriteFpga(*camera, 0x02, kSoftware);
  RunOutput(*camera);
  Trigger(*camera);
  WriteFpga(*camera, 0x02, kSoftwareLevel);
  WriteFpgaWide(*camera, 0x30, 5, 1000);
  EXPECT_TRUE(Silent(*camera));
  Trigger(*camera);
  EXPECT_EQ(1000U, ReadFrame(*camera).Header().value().exposureUs);
}

TEST(VirtualTrigger, ASingleExposureTakesTheFirstTriggerOnly) {
  for (const std::uint8_t mode : kModes) {
    auto camera = MakeCamera(Untimed());
    WriteFpga(*camera, 0x02, mode);
    WriteFpga(*camera, 0x37, 1);
    const auto triggerOnce = [&] {
      Trigger(*camera);
      camera->SetTriggerLine(true);
      camera->SetTriggerLine(false);
    };
    RunOutput(*camera);
    triggerOnce();
    ASSERT_TRUE(ReadFrame(*camera).Header()) << int{mode};
    triggerOnce();
    EXPECT_TRUE(Silent(*camera)) << int{mode};
    RunOutput(*camera, false);
    RunOutput(*camera);
    triggerOnce();
    ASSERT_TRUE(ReadFrame(*camera).Header()) << int{mode};
    EXPECT_EQ(2U, camera->FramesExposed()) << int{mode};
  }
}

TEST(VirtualTrigger, APulledCameraTakesNoTriggers) {
  auto camera = Listening(kSoftware);
  camera->Disconnect();
  camera->SetTriggerLine(true);
  camera->PowerCycle();
  EXPECT_EQ(0, camera->FpgaRegister(0x02));
  EXPECT_TRUE(Silent(*camera));
}

TEST(VirtualTrigger, ThePulseGeneratorTriggersByItself) {
  VirtualOptions options = Untimed();
  options.triggerPeriodUs = 2000;
  for (const std::uint8_t mode : {kRising, kFalling, kHigh, kLow}) {
    auto camera = Listening(mode, options);
    for (int i = 0; i < 5; ++i) {
      const Frame frame = ReadFrame(*camera);
      ASSERT_TRUE(frame.Header());
      EXPECT_EQ(1, frame.Header()->flags);
    }
  }
}

// Outputs -----------------------------------------------------------------------------------------------------

/// The edges of an output once there are `count`.
std::vector<SyncEdge> EdgesOf(VirtualCamera& camera, int output, std::size_t count) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (camera.SyncEdges(output).size() < count && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(milliseconds(1));
  return camera.SyncEdges(output);
}

TEST(VirtualTriggerOutputs, BothPulseAfterTheStartOfTheExposure) {
  VirtualOptions options;
  options.timeScale = 0.01;
  auto camera = MakeCamera(options);
  WriteFpgaWide(*camera, 0x30, 5, 400000);
  WriteFpgaWide(*camera, 0x04, 4, 0);
  WriteFpgaWide(*camera, 0x08, 4, 30000);
  WriteFpgaWide(*camera, 0x0C, 4, 100000);
  WriteFpgaWide(*camera, 0x10, 4, 50000);
  WriteFpga(*camera, 0x03, 0x07);  // both on, A active high, B active low
  WriteFpga(*camera, 0x02, kSoftware);
  RunOutput(*camera);
  Trigger(*camera);
  ASSERT_TRUE(ReadFrame(*camera).Header());
  const auto a = EdgesOf(*camera, 0, 2);
  const auto b = EdgesOf(*camera, 1, 3);
  ASSERT_EQ(2U, a.size());
  ASSERT_EQ(3U, b.size());
  EXPECT_TRUE(a[0].high);
  EXPECT_FALSE(a[1].high);
  EXPECT_EQ(30000U, a[1].timeUs - a[0].timeUs);
  EXPECT_TRUE(b[0].high) << "at rest once it is on";
  EXPECT_FALSE(b[1].high);
  EXPECT_TRUE(b[2].high);
  EXPECT_EQ(100000U, b[1].timeUs - a[0].timeUs);
  EXPECT_EQ(50000U, b[2].timeUs - b[1].timeUs);
}

TEST(VirtualTriggerOutputs, EveryExposureOfAVideoHasItsPulse) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, 0x30, 5, 20000);
  WriteFpgaWide(*camera, 0x08, 4, 1000);
  WriteFpga(*camera, 0x03, 0x05);
  RunOutput(*camera);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(ReadFrame(*camera).Header());
  const auto edges = EdgesOf(*camera, 0, 6);
  ASSERT_GE(edges.size(), 6U);
  for (std::size_t i = 0; i + 1 < 6; i += 2) {
    EXPECT_TRUE(edges[i].high);
    EXPECT_EQ(1000U, edges[i + 1].timeUs - edges[i].timeUs);
    if (i > 0) EXPECT_GE(edges[i].timeUs - edges[i - 2].timeUs, 20000U - 1);
  }
  EXPECT_TRUE(camera->SyncEdges(1).empty());
}

TEST(VirtualTriggerOutputs, StoppingEndsThePulse) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, 0x30, 5, 1000000000);
  WriteFpgaWide(*camera, 0x08, 4, 1000000000);
  WriteFpga(*camera, 0x03, 0x05);
  RunOutput(*camera);
  ASSERT_EQ(1U, EdgesOf(*camera, 0, 1).size());
  RunOutput(*camera, false);
  const auto edges = camera->SyncEdges(0);
  ASSERT_EQ(2U, edges.size());
  EXPECT_FALSE(edges[1].high);
}

TEST(VirtualTriggerOutputs, OffAtPowerUpAndActiveHigh) {
  auto camera = MakeCamera(VirtualOptions{});
  EXPECT_EQ(0x0C, ReadFpga(*camera, 0x03));
  WriteFpga(*camera, 0x03, 0x0D);
  EXPECT_TRUE(camera->SyncEdges(0).empty()) << "switching on makes no pulse";
  WriteFpga(*camera, 0x03, 0x09);
  EXPECT_EQ(1U, camera->SyncEdges(0).size());
  camera->PowerCycle();
  EXPECT_TRUE(camera->SyncEdges(0).empty());
}

TEST(VirtualTriggerOutputs, ThereAreTwo) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpga(*camera, 0x03, 0x03);  // both rest high
  EXPECT_EQ(1U, camera->SyncEdges(0).size());
  EXPECT_EQ(1U, camera->SyncEdges(1).size());
  EXPECT_TRUE(camera->SyncEdges(2).empty());
  EXPECT_TRUE(camera->SyncEdges(-1).empty());
}

TEST(VirtualFpgaType, TheOptionReplacesTheModelsAndStaysReadOnly) {
  VirtualOptions options = Untimed();
  EXPECT_NE(0xA7, ReadFpga(*MakeCamera(options), 0x1C));
  options.fpgaType = 0xA7;
  auto camera = MakeCamera(options);
  EXPECT_EQ(0xA7, ReadFpga(*camera, 0x1C));
  EXPECT_EQ(0, WriteFpga(*camera, 0x1C, 0x01));
  EXPECT_EQ(0xA7, ReadFpga(*camera, 0x1C));
  camera->PowerCycle();
  EXPECT_EQ(0xA7, ReadFpga(*camera, 0x1C));
}

}  // namespace
}  // namespace orq::test
