#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "TestCamera.h"
#include "virtual/gps/GpsBlocks.h"

namespace orq::test {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;

constexpr std::uint64_t kLineNs = 10'000;  // 32 rows: 320 us
constexpr double kLeadUs = 131.2;
constexpr double kRate = 20'000'173;

/// Made at 20 seconds after a full minute, so that no test meets the minute's end by chance.
VirtualGps AtTwentySeconds() {
  VirtualGps gps;
  gps.start = VirtualGps::kDefaultStart + 20s;
  return gps;
}

std::shared_ptr<Firmware> GpsCamera(const VirtualOptions& timing, const VirtualGps& gps = AtTwentySeconds()) {
  VirtualOptions options = timing;
  options.model = "t46c";
  options.gps = gps;
  return MakeCamera(options, 64, 32, kLineNs);
}

void SetLines(VirtualCamera& camera, int start, int end) {
  WriteFpgaWide(camera, 0x47, 2, static_cast<std::uint64_t>(start));
  WriteFpgaWide(camera, 0x49, 2, static_cast<std::uint64_t>(end));
}
void SetExposure(VirtualCamera& camera, std::uint64_t us) {
  WriteFpgaWide(camera, wire::kFpgaExposure, 5, us);
}
std::uint32_t Word(VirtualCamera& camera, std::uint16_t reg) {
  std::uint32_t value = 0;
  for (std::uint16_t i = 0; i < 4; ++i)
    value |= std::uint32_t{ReadFpga(camera, static_cast<std::uint16_t>(reg + i))} << (8 * i);
  return value;
}
std::uint32_t Counter(VirtualCamera& camera) {
  return Word(camera, 0x88);
}
std::vector<int> Bytes(VirtualCamera& camera, std::uint16_t reg, int count) {
  std::vector<int> bytes;
  for (int i = 0; i < count; ++i) bytes.push_back(ReadFpga(camera, static_cast<std::uint16_t>(reg + i)));
  return bytes;
}
/// Seconds of the minute at which the block's line was latched, as the FPGA's counts say.
double Second(VirtualCamera& camera, std::uint16_t block) {
  return ReadFpga(camera, static_cast<std::uint16_t>(block + 7)) +
         Word(camera, static_cast<std::uint16_t>(block + 16)) / kRate;
}
double StartSecond(VirtualCamera& camera) {
  return Second(camera, 0x50);
}
double EndSecond(VirtualCamera& camera) {
  return Second(camera, 0x90);
}
std::uint32_t HeaderLatch(VirtualCamera& camera) {
  return ReadFrame(camera).Header().value().gpsLatch;
}

/// One frame from start to stop; the latch counter of its header. Nothing moves on afterwards.
std::uint32_t Shoot(VirtualCamera& camera) {
  WriteFpga(camera, wire::kFpgaSingle, 1);
  RunOutput(camera);
  const std::uint32_t latch = HeaderLatch(camera);
  RunOutput(camera, false);
  return latch;
}

constexpr double kTick = 1.1 / kRate;  // counts are cut to whole ticks

TEST(VirtualGps, ModelsWithoutAGpsHaveNone) {
  auto camera = MakeCamera(Untimed());
  EXPECT_EQ(0, ReadFpga(*camera, 0x46));
  RunOutput(*camera);
  EXPECT_EQ(0U, HeaderLatch(*camera));
  EXPECT_EQ(0U, Counter(*camera));
  EXPECT_THAT(Bytes(*camera, 0x50, 55), Each(0));
  std::vector<std::uint8_t> answer(60);
  EXPECT_EQ(kUsbPipe, camera->Control({kVendorIn, 0xD8, 0, 0, 60}, answer));
}

TEST(VirtualGps, TheStatusTellsPresenceAndVersion) {
  EXPECT_EQ(0x03, ReadFpga(*GpsCamera(Untimed()), 0x46));
  VirtualGps old;
  old.version = 0;
  EXPECT_EQ(0x01, ReadFpga(*GpsCamera(Untimed(), old), 0x46));
}

TEST(VirtualGps, NothingIsLatchedBeforeAFrame) {
  auto camera = GpsCamera(Untimed());
  EXPECT_EQ(0U, Counter(*camera));
  EXPECT_EQ('V', ReadFpga(*camera, 0x50));
  EXPECT_EQ('V', ReadFpga(*camera, 0x90));
}

TEST(VirtualGps, TheCounterIsTheFramesOwn) {
  auto camera = GpsCamera(Untimed());
  SetLines(*camera, 0, 31);
  for (int i = 0; i < 20; ++i) {
    const std::uint32_t latch = Shoot(*camera);
    EXPECT_EQ(i < 16 ? 0xFFFFFFF0U + static_cast<std::uint32_t>(i) : static_cast<std::uint32_t>(i) - 15U, latch)
        << "0 is left out at the wrap";
    EXPECT_EQ(latch, Counter(*camera));
  }
}

TEST(VirtualGps, LinesAreLatchedAheadOfTheirExposureByAKnownTime) {
  auto camera = GpsCamera(Untimed());
  camera->AdvanceTime(5);
  SetLines(*camera, 3, 30);
  SetExposure(*camera, 250'000);
  Shoot(*camera);
  // Exposure of the first row begins at 25 s, readout at 25.25 s.
  EXPECT_NEAR(25 + 3 * 10e-6 - kLeadUs * 1e-6, StartSecond(*camera), kTick);
  EXPECT_NEAR(25 + 30 * 10e-6 - kLeadUs * 1e-6, EndSecond(*camera), kTick);
  EXPECT_THAT(Bytes(*camera, 0x50, 4), ElementsAre('A', 1, 1, 30));
  EXPECT_EQ(20'000'173U, Word(*camera, 0x50 + 20));
  EXPECT_EQ(20'000'173U, Word(*camera, 0x90 + 20));
}

TEST(VirtualGps, LessBandwidthDrawsTheLinesApart) {
  auto camera = GpsCamera(Untimed());
  SetLines(*camera, 0, 20);
  WriteFpga(*camera, wire::kFpgaBandwidth, 40);
  Shoot(*camera);
  EXPECT_NEAR(20 * 25e-6, EndSecond(*camera) - StartSecond(*camera), 2 * kTick);
}

TEST(VirtualGps, LinesCountFromTheSensorsTopWhateverTheRegion) {
  auto camera = GpsCamera(Untimed());
  SetLines(*camera, 8, 15);
  SetRegion(*camera, 16, 8);
  WriteFpgaWide(*camera, wire::kFpgaStartY, 2, 8);
  camera->AdvanceTime(5);
  Shoot(*camera);
  EXPECT_NEAR(25 - kLeadUs * 1e-6, StartSecond(*camera), kTick) << "the region's first row";
  EXPECT_NEAR(7 * 10e-6, EndSecond(*camera) - StartSecond(*camera), 2 * kTick);
}

TEST(VirtualGps, BinnedLinesAreReadTogether) {
  auto camera = GpsCamera(Untimed());
  WriteFpga(*camera, wire::kFpgaBin, 2);
  SetRegion(*camera, 16, 8);
  WriteFpgaWide(*camera, wire::kFpgaStartY, 2, 4);
  for (const int end : {12, 13}) {
    SetLines(*camera, 5, end);  // rows 0 and 4
    Shoot(*camera);
    EXPECT_NEAR(4 * 10e-6, EndSecond(*camera) - StartSecond(*camera), 2 * kTick);
  }
}

TEST(VirtualGps, AFrameWithoutBothLinesHasNoLatch) {
  auto camera = GpsCamera(Untimed());
  const auto latchWith = [&](int start, int end) {
    SetLines(*camera, start, end);
    return Shoot(*camera);
  };
  SetRegion(*camera, 16, 8);
  WriteFpgaWide(*camera, wire::kFpgaStartY, 2, 8);
  const std::uint32_t good = latchWith(8, 15);
  EXPECT_EQ(0xFFFFFFF0U, good);
  const double second = StartSecond(*camera);
  camera->AdvanceTime(3);
  for (const auto& [start, end] : {std::pair{7, 15}, {8, 16}, {0, 31}, {65535, 8}}) {
    EXPECT_EQ(0U, latchWith(start, end)) << start << " " << end;
    EXPECT_EQ(good, Counter(*camera)) << "the blocks are still those of the frame before";
    EXPECT_EQ(second, StartSecond(*camera));
  }
  EXPECT_EQ(good + 1, latchWith(15, 8)) << "in any order";
}

TEST(VirtualGps, WithoutTimeFramesFollowOneAnotherAllTheSame) {
  auto camera = GpsCamera(Untimed());
  SetExposure(*camera, 100'000);
  double last = -1;
  for (int i = 0; i < 5; ++i) {
    Shoot(*camera);
    const double second = StartSecond(*camera);
    if (i > 0) EXPECT_NEAR(0.1 + 32 * 10e-6, second - last, 2 * kTick) << "exposure and readout";
    last = second;
  }
}

TEST(VirtualGps, TwoCamerasAlikeLatchAlike) {
  const auto story = [] {
    auto camera = GpsCamera(Untimed());
    SetLines(*camera, 1, 17);
    std::vector<int> bytes;
    for (int i = 0; i < 3; ++i) {
      Shoot(*camera);
      const std::vector<int> block = Bytes(*camera, 0x50, 0x77);
      bytes.insert(bytes.end(), block.begin(), block.end());
      camera->AdvanceTime(1.234567);
    }
    return bytes;
  };
  EXPECT_EQ(story(), story());
}

TEST(VirtualGps, ALatchCanChangeBetweenTwoReads) {
  auto camera = GpsCamera(Untimed());
  const std::uint32_t first = Shoot(*camera);
  EXPECT_EQ(first, Counter(*camera));
  const int low = ReadFpga(*camera, 0x88);
  const int secondBefore = ReadFpga(*camera, 0x57);
  camera->AdvanceTime(7);
  const std::uint32_t second = Shoot(*camera);
  EXPECT_EQ(first + 1, second);
  // The counter's other bytes stay those of its first one; the block's bytes are of the new latch.
  EXPECT_EQ(low, static_cast<int>(first & 0xFFU));
  EXPECT_EQ(0xFF, ReadFpga(*camera, 0x89));
  EXPECT_EQ(secondBefore + 7, ReadFpga(*camera, 0x57));
  EXPECT_EQ(second, Counter(*camera));
}

TEST(VirtualGps, TheCounterIsLatchedWithItsFirstByte) {
  auto camera = GpsCamera(Untimed());
  while (Shoot(*camera) != 0xFFFFFFFFU) {
  }
  EXPECT_EQ(0xFF, ReadFpga(*camera, 0x88));
  EXPECT_EQ(1U, Shoot(*camera));
  EXPECT_THAT(Bytes(*camera, 0x89, 3), Each(0xFF));
  EXPECT_THAT(Bytes(*camera, 0x88, 4), ElementsAre(1, 0, 0, 0));
}

TEST(VirtualGps, LostFramesLatchAsWell) {
  auto camera = GpsCamera(Untimed());
  camera->AddFrameFault({FrameFault::Kind::Drop, 2});
  RunOutput(*camera);
  EXPECT_EQ(0xFFFFFFF0U, HeaderLatch(*camera));
  EXPECT_EQ(0xFFFFFFF2U, HeaderLatch(*camera));
}

TEST(VirtualGps, ALatchAppearsWhenTheReadoutEnds) {
  VirtualOptions slow;
  slow.timeScale = 1;
  slow.model = "t46c";
  auto camera = MakeCamera(slow, 64, 32, 100'000'000);  // 3.2 s of readout
  SetExposure(*camera, 10);
  WriteFpga(*camera, wire::kFpgaSingle, 1);
  RunOutput(*camera);
  const auto giveUp = std::chrono::steady_clock::now() + 20s;
  while (camera->FramesExposed() == 0 && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(1ms);
  EXPECT_EQ(0U, Counter(*camera)) << "3.2 s before it appears";
  RunOutput(*camera, false);
  EXPECT_EQ(0U, Counter(*camera)) << "a readout that is cut gives none";
}

TEST(VirtualGps, LatchesKeepTrueTimeWhateverTheTimeScale) {
  VirtualOptions fast;
  fast.timeScale = 0.001;
  fast.model = "t46c";
  auto camera = MakeCamera(fast, 64, 32, kLineNs);
  SetLines(*camera, 0, 31);
  SetExposure(*camera, 2'000'000);
  RunOutput(*camera);
  ReadFrame(*camera);
  ReadFrame(*camera);
  RunOutput(*camera, false);
  EXPECT_NEAR(31 * 10e-6, std::remainder(EndSecond(*camera) - StartSecond(*camera), 60.0), 2 * kTick);
}

TEST(VirtualGps, PowerUpForgetsTheLatch) {
  auto camera = GpsCamera(Untimed());
  EXPECT_EQ(0xFFFFFFF0U, Shoot(*camera));
  camera->PowerCycle();
  EXPECT_EQ(0U, Counter(*camera));
  EXPECT_EQ('V', ReadFpga(*camera, 0x50));
  EXPECT_EQ(0xFFFFFFF0U, Shoot(*camera));
}

TEST(VirtualGps, WithoutAFixLatchesAreMarkedInvalid) {
  VirtualGps gps;
  gps.source = "nofix";
  auto camera = GpsCamera(Untimed(), gps);
  EXPECT_NE(0U, Shoot(*camera)) << "latched all the same";
  EXPECT_EQ('V', ReadFpga(*camera, 0x50));
  EXPECT_THAT(Bytes(*camera, 0x51, 54), Each(0));
}

TEST(VirtualGps, ARecordedLogGainsAndLosesItsFix) {
  VirtualGps gps;
  gps.source = testing::TempDir() + "/orq_gps_fixes.log";
  std::ofstream(gps.source) << "$GPRMC,120000,A,4807.038,N,01131.000,E,,,010130,,*1F\n"
                               "$GPRMC,120001,V,4807.038,N,01131.000,E,,,010130,,*09\n"
                               "$GPRMC,120002,A,4807.038,N,01131.000,E,,,010130,,*1D\n";
  auto camera = GpsCamera(Untimed(), gps);
  std::string flags;
  for (int i = 0; i < 3; ++i) {
    camera->AdvanceTime(i == 0 ? 0.5 : 1);
    Shoot(*camera);
    flags += static_cast<char>(ReadFpga(*camera, 0x50));
  }
  EXPECT_EQ("AVA", flags);
  EXPECT_EQ(2, ReadFpga(*camera, 0x57));
}

TEST(VirtualGps, ALogThatCannotBeReadRefusesTheCamera) {
  VirtualOptions options = Untimed();
  options.model = "t46c";
  options.gps.emplace().source = "/nonexistent/gps.log";
  std::string error;
  EXPECT_EQ(nullptr, Firmware::Make(options, std::make_unique<PatternSource>(64, 32), error));
  EXPECT_EQ("GPS log '/nonexistent/gps.log': cannot be read", error);
}

TEST(VirtualGps, BlocksOfVersionZeroComeByRequestWithTheirCounter) {
  VirtualGps gps = AtTwentySeconds();
  gps.version = 0;
  auto camera = GpsCamera(Untimed(), gps);
  SetLines(*camera, 0, 31);
  std::vector<std::uint8_t> answer(60, 0xEE);
  const auto ask = [&](std::uint16_t line, std::uint16_t length) {
    return camera->Control({kVendorIn, 0xD8, line, 0, length}, std::span(answer).first(length));
  };
  ASSERT_EQ(60, ask(0, 60));
  EXPECT_THAT(std::vector<int>(answer.begin(), answer.begin() + 4), Each(0));
  EXPECT_EQ('V', answer[4 + 7]);

  camera->AdvanceTime(1.5);
  const std::uint32_t latch = Shoot(*camera);
  const auto hundredNs = [&] {  // of the second: milliseconds and tenths of microseconds
    return (answer[4 + 14] + 256 * answer[4 + 15]) * 10'000 + answer[4 + 44] + 256 * answer[4 + 45];
  };
  ASSERT_EQ(60, ask(0, 60));
  std::uint32_t counter = 0;
  std::memcpy(&counter, answer.data(), 4);
  EXPECT_EQ(latch, counter);
  EXPECT_EQ('A', answer[4 + 7]);
  const int start = hundredNs();
  ASSERT_EQ(60, ask(1, 60));
  EXPECT_NEAR(31 * 100, hundredNs() - start, 1) << "31 rows of 10 us";

  EXPECT_EQ(kUsbPipe, ask(2, 60));
  EXPECT_EQ(kUsbPipe, ask(0, 59));
  EXPECT_THAT(Bytes(*camera, 0x50, 55), Each(0)) << "no register blocks";
  VirtualGps current;
  EXPECT_EQ(kUsbPipe, GpsCamera(Untimed(), current)->Control({kVendorIn, 0xD8, 0, 0, 60}, answer));
}

TEST(VirtualGps, AWholeLatchComesByOneRequest) {
  auto camera = GpsCamera(Untimed());
  SetLines(*camera, 3, 30);
  std::vector<std::uint8_t> answer(114, 0xEE);
  const auto ask = [&](VirtualCamera& device, std::uint16_t value, std::uint16_t length) {
    return device.Control({kVendorIn, 0xD9, value, 0, length}, std::span(answer).first(length));
  };
  ASSERT_EQ(114, ask(*camera, 0, 114));
  EXPECT_THAT(std::vector<int>(answer.begin(), answer.begin() + 4), Each(0));
  EXPECT_EQ('V', answer[4]);
  EXPECT_EQ('V', answer[4 + 55]);

  camera->AdvanceTime(5);
  const std::uint32_t latch = Shoot(*camera);
  ASSERT_EQ(114, ask(*camera, 0, 114));
  std::uint32_t counter = 0;
  std::memcpy(&counter, answer.data(), 4);
  EXPECT_EQ(latch, counter);
  // What the registers hold of the same latch.
  EXPECT_EQ(Bytes(*camera, 0x50, 55), std::vector<int>(answer.begin() + 4, answer.begin() + 59));
  EXPECT_EQ(Bytes(*camera, 0x90, 55), std::vector<int>(answer.begin() + 59, answer.end()));
  EXPECT_EQ('A', answer[4]);

  EXPECT_EQ(kUsbPipe, ask(*camera, 1, 114));
  EXPECT_EQ(kUsbPipe, ask(*camera, 0, 113));
  EXPECT_EQ(kUsbPipe, ask(*MakeCamera(Untimed()), 0, 114)) << "no GPS";
  VirtualGps old;
  old.version = 0;
  EXPECT_EQ(kUsbPipe, ask(*GpsCamera(Untimed(), old), 0, 114)) << "its blocks have another form";
}

TEST(VirtualGps, TheHostCannotWriteLatches) {
  auto camera = GpsCamera(Untimed());
  for (const std::uint16_t reg :
       {std::uint16_t{0x46}, std::uint16_t{0x88}, std::uint16_t{0x60}, std::uint16_t{0xA0}}) {
    const int before = ReadFpga(*camera, reg);
    WriteFpga(*camera, reg, static_cast<std::uint8_t>(before ^ 0xFF));
    EXPECT_EQ(before, ReadFpga(*camera, reg)) << reg;
  }
}

}  // namespace
}  // namespace orq::test
