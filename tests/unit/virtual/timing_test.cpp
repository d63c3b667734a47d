#include "TestCamera.h"

namespace orq::test {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Time from starting the output to the end of the `count`-th frame.
Clock::duration TimeOf(VirtualCamera& camera, int count) {
  const auto start = Clock::now();
  RunOutput(camera);
  for (int i = 0; i < count; ++i) EXPECT_TRUE(ReadFrame(camera).Header());
  return Clock::now() - start;
}

TEST(VirtualTiming, LongExposuresSetThePace) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 30000);
  EXPECT_GE(TimeOf(*camera, 4), milliseconds(4 * 30));
}

TEST(VirtualTiming, ReadoutSetsThePaceOfShortExposures) {
  auto camera = MakeCamera(VirtualOptions{}, 64, 32, 1000000);  // 32 rows of 1 ms
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 10);
  EXPECT_GE(TimeOf(*camera, 4), milliseconds(4 * 32));
}

TEST(VirtualTiming, LessBandwidthSlowsTheReadout) {
  auto camera = MakeCamera(VirtualOptions{}, 64, 32, 1000000);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 10);
  WriteFpga(*camera, wire::kFpgaBandwidth, 40);
  EXPECT_GE(TimeOf(*camera, 3), milliseconds(3 * 80));
}

/// Seconds until the camera expects to have sent the whole frame that it has begun to read out.
double AnnouncedReadout(VirtualCamera& camera) {
  WriteFpgaWide(camera, wire::kFpgaExposure, 5, 1000);
  RunOutput(camera);
  while (camera.FramesExposed() == 0) std::this_thread::sleep_for(milliseconds(1));
  std::vector<std::uint8_t> frame(64 * 32 * 2 + 1000);
  BulkStep step;
  do {
    step = camera.ReadStream(frame);
  } while (step.kind != BulkStep::Kind::Wait);
  return std::chrono::duration<double>(step.wakeAt - Clock::now()).count();
}

TEST(VirtualTiming, TheFastModeHalvesTheTimePerRow) {
  constexpr std::uint64_t kRowNs = 1'000'000'000'000;  // 32 rows: nearly nine hours
  EXPECT_NEAR(AnnouncedReadout(*MakeCamera(VirtualOptions{}, 64, 32, kRowNs)), 32'000.0, 100.0);
  auto fast = MakeCamera(VirtualOptions{}, 64, 32, kRowNs);
  WriteFpga(*fast, wire::kFpgaHighSpeed, 1);
  EXPECT_NEAR(AnnouncedReadout(*fast), 16'000.0, 100.0);
}

TEST(VirtualTiming, TheFastModeGivesTenBits) {
  for (const int fast : {0, 1}) {
    auto camera = MakeCamera(Untimed());
    WriteFpga(*camera, wire::kFpgaHighSpeed, static_cast<std::uint8_t>(fast));
    RunOutput(*camera);
    EXPECT_EQ(ReadFrame(*camera).Header().value().adcBits == 10, fast == 1);
  }
}

TEST(VirtualTiming, Usb2CarriesFortyMegabytesPerSecond) {
  VirtualOptions options;
  options.usb3 = false;
  auto camera = MakeCamera(options, 1000, 1000, 1);  // 2 MB: 50 ms
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 10);
  EXPECT_GE(TimeOf(*camera, 3), milliseconds(3 * 50));
}

TEST(VirtualTiming, TheTimeScaleStretchesAll) {
  VirtualOptions options;
  options.timeScale = 3;
  auto camera = MakeCamera(options);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 20000);
  EXPECT_GE(TimeOf(*camera, 2), milliseconds(2 * 60));
}

TEST(VirtualTiming, WithoutTimeLongExposuresAreOverAtOnce) {
  auto camera = MakeCamera(Untimed());
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 3600000000U);  // an hour
  RunOutput(*camera);
  EXPECT_EQ(3600000000U, ReadFrame(*camera).Header().value().exposureUs);
}

TEST(VirtualTiming, AFrameComesPieceByPieceDuringItsReadout) {
  auto camera = MakeCamera(VirtualOptions{}, 2048, 32, 100000000);  // 128 packets in 3.2 s
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 1000);
  RunOutput(*camera);
  const TransferResult first = Transfer(*camera, 2048);
  EXPECT_EQ(2048U, first.bytes.size());
  std::vector<std::uint8_t> rest(200000);
  const BulkStep step = camera->ReadStream(rest);
  EXPECT_LT(step.bytes, 131072U - 2048);
  EXPECT_EQ(0U, step.bytes % 1024);
  EXPECT_FALSE(step.endOfTransfer);
  // What comes next is announced.
  const BulkStep wait = camera->ReadStream(rest);
  if (wait.kind == BulkStep::Kind::Wait) {
    EXPECT_GT(wait.wakeAt, Clock::now() - std::chrono::seconds(3));
    EXPECT_LT(wait.wakeAt, Clock::now() + std::chrono::seconds(4));
  }
  RunOutput(*camera, false);
  EXPECT_TRUE(Transfer(*camera, 1024).ended);
}

TEST(VirtualTiming, FramesThatTheHostDoesNotFetchAreLost) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 1000);
  RunOutput(*camera);
  while (camera->FramesExposed() < 8) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(0xFFFFFFF0U, ReadFrame(*camera).Header().value().sequence);
  EXPECT_EQ(0xFFFFFFF1U, ReadFrame(*camera).Header().value().sequence);
  // Numbers wrap after 16 frames.
  EXPECT_GE(ReadFrame(*camera).Header().value().sequence - 0xFFFFFFF0U, 8U);
}

TEST(VirtualTiming, ANewExposureHoldsFromALaterFrameOn) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 2000);
  RunOutput(*camera);
  EXPECT_EQ(2000U, ReadFrame(*camera).Header().value().exposureUs);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 1);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 4000);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 0);
  int oldOnes = 0;
  std::uint64_t exposureUs = 0;
  std::uint32_t last = 0;
  do {
    const auto header = ReadFrame(*camera).Header().value();
    exposureUs = header.exposureUs;
    oldOnes += exposureUs == 2000 ? 1 : 0;
    last = header.sequence;
  } while (exposureUs == 2000);
  EXPECT_EQ(4000U, exposureUs);
  EXPECT_LE(oldOnes, 3);  // one under exposure, at most two waiting
  EXPECT_EQ(4000U, ReadFrame(*camera).Header().value().exposureUs) << last;
}

TEST(VirtualTiming, StoppingEndsALongExposure) {
  auto camera = MakeCamera(VirtualOptions{});
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 3600000000U);
  RunOutput(*camera);
  EXPECT_TRUE(Silent(*camera));
  RunOutput(*camera, false);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 1000);
  RunOutput(*camera);
  EXPECT_EQ(1000U, ReadFrame(*camera).Header().value().exposureUs);
  EXPECT_GE(camera->FramesExposed(), 1U);
}

TEST(VirtualTiming, StoppingEndsALongReadout) {
  auto camera = MakeCamera(VirtualOptions{}, 2048, 1000, 100000000);  // 100 s
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 1000);
  RunOutput(*camera);
  EXPECT_EQ(1024U, Transfer(*camera, 1024).bytes.size());
  RunOutput(*camera, false);
  // The rows that were read out by then still come, and then the end of the frame instead of its other rows.
  const Frame rest = ReadFrame(*camera, 1024);
  EXPECT_EQ(BulkStep::Kind::Data, rest.kind);
  EXPECT_LT(rest.bytes.size(), 2048U * 1000);
  SetRegion(*camera, 2048, 1);
  RunOutput(*camera);
  EXPECT_EQ(1, ReadFrame(*camera).Header().value_or(wire::FrameHeader{}).height);
}

}  // namespace
}  // namespace orq::test
