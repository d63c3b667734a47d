// GPS time of frames, from the virtual receiver to the facts of the delivered frame.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "link/WireProtocol.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

using namespace std::chrono_literals;
using Change = std::function<void(VirtualOptions&)>;

constexpr int kSide = 128;
constexpr UtcTenths kRow = 164;
constexpr std::uint64_t kExposureUs = 5'000;
constexpr UtcTenths kExposure = 50'000;
constexpr UtcTenths kSecond = 10'000'000;

UtcTenths Utc(const char* text) {
  return ParseUtc(text).value().time_since_epoch().count() / 100;
}
const UtcTenths kMade = Utc("2031-12-31T23:59:50");

/// An open camera whose time stands still at ten seconds before the new year, with lines at both ends.
struct StampRig : VirtualRig {
  explicit StampRig(const Change& change = {}, int side = kSide)
      : VirtualRig(
            "t46c",
            [&](VirtualOptions& options) {
              options.timeScale = 0;
              options.scene = "dark";
              options.gps.emplace().start = ParseUtc("2031-12-31T23:59:50").value();
              if (change) change(options);
            },
            side) {
    EXPECT_TRUE(Open());
    EXPECT_TRUE(camera->SetExp(kExposureUs, false));
    SetLines(0, side - 1);
    camera->StampFrames(0ms);
  }

  void SetLines(int start, int end) const {
    EXPECT_EQ(camera->GPSSetLine(0, start), CTRL_OK);
    EXPECT_EQ(camera->GPSSetLine(1, end), CTRL_OK);
  }
  void SetRegion(int startY, int height, int bin = 1) const {
    FrameRegion applied;
    std::string reason;
    const FrameRegion wanted{.startY = startY, .width = kSide / bin, .height = height, .bin = bin};
    EXPECT_TRUE(camera->SetRegion(wanted, applied, reason)) << reason;
    EXPECT_EQ(applied, wanted);
  }
  FrameInfo Take() const {
    FrameInfo info;
    EXPECT_FALSE(Snap(info).empty());
    return info;
  }
};

/// Latched times are cut, never rounded up: up to the latch error before the truth.
void ExpectAt(UtcTenths time, UtcTenths truth, const char* what) {
  EXPECT_LE(time, truth) << what;
  EXPECT_GE(time, truth - kLatchError) << what;
}
void ExpectGps(const FrameInfo& info, UtcTenths begin, UtcTenths end) {
  EXPECT_EQ(info.gps.state, GpsState::Fix);
  ExpectAt(info.times.begin, begin, "begin");
  ExpectAt(info.times.end, end, "end");
}
void ExpectComputer(const FrameInfo& info, GpsState state) {
  EXPECT_EQ(info.gps.state, state);
  EXPECT_EQ(info.times.begin, info.startUnixUs * kTenthsPerMicrosecond);
  EXPECT_GE(info.times.end, info.times.begin + kExposure);
  EXPECT_EQ(info.times.uncertainty, info.uncertaintyUs * kTenthsPerMicrosecond);
  EXPECT_EQ(info.times.rowInterval, 0.0);
}

TEST(FrameStamp, TellsTheFirstRowsStartAndTheLastRowsEnd) {
  const StampRig rig;
  rig.device->AdvanceTime(3);
  const FrameInfo info = rig.Take();
  const UtcTenths begin = kMade + 3 * kSecond;
  ExpectGps(info, begin, begin + (kSide - 1) * kRow + kExposure);
  EXPECT_NEAR(info.times.rowInterval, kRow, 0.1);
  EXPECT_LE(info.times.uncertainty, kLatchError + 1);
  EXPECT_EQ(info.gps.latched.startLine, 0);
  EXPECT_EQ(info.gps.latched.endLine, kSide - 1);
  EXPECT_EQ(info.gps.satellites, 11);
  EXPECT_EQ(info.gps.altitude, 574.3);
}

TEST(FrameStamp, RollsOverIntoTheNewYearWithinAFrame) {
  const StampRig rig;
  rig.device->AdvanceTime(9.999);
  const FrameInfo info = rig.Take();
  ExpectGps(info, Utc("2031-12-31T23:59:59.999"), Utc("2032-01-01T00:00:00.0060828"));
}

TEST(FrameStamp, FollowsRegionFlipAndLinesInIt) {
  const StampRig rig;
  rig.SetRegion(32, 64);
  rig.SetLines(40, 90);
  FrameInfo info = rig.Take();
  const UtcTenths first = info.gps.latched.start - 8 * kRow;
  ExpectGps(info, kMade, kMade + 63 * kRow + kExposure);
  EXPECT_LE(std::abs(info.times.begin - first), 2);

  rig.camera->SetControlValue(ORQ_FLIP, 2, false);  // top to bottom
  info = rig.Take();
  ASSERT_TRUE(info.flipVertical);
  const UtcTenths begin = info.gps.latched.start - 8 * kRow;
  EXPECT_NEAR(static_cast<double>(info.times.begin), static_cast<double>(begin + 63 * kRow), 4);
  EXPECT_NEAR(static_cast<double>(info.times.end), static_cast<double>(begin + kExposure), 4);
  EXPECT_NEAR(info.times.rowInterval, -kRow, 0.3);
}

TEST(FrameStamp, BinnedRowsOfOneColourAreOfLinesTwoApart) {
  for (const bool mono : {false, true}) {
    const StampRig rig;
    ASSERT_EQ(rig.camera->SetControlValue(ORQ_MONO_BIN, mono ? 1 : 0, false), CTRL_OK);
    ASSERT_EQ(rig.camera->SetControlValue(ORQ_FLIP, 2, false), CTRL_OK);
    rig.SetRegion(0, kSide / 2, 2);
    const FrameInfo info = rig.Take();
    // Upside down the file begins with lines 125 and 127, or 126 and 127, and ends with 0 and 2, or 0 and 1.
    ExpectGps(info, kMade + (mono ? 126 : 125) * kRow, kMade + (mono ? 1 : 2) * kRow + kExposure);
    EXPECT_NEAR(info.times.rowInterval, -2 * kRow, 0.2);
  }
}

TEST(FrameStamp, ARegionWithoutTheLinesHasTheComputersTime) {
  const StampRig rig;
  rig.SetRegion(32, 64);
  for (const auto& [start, end] : {std::pair(0, 40), std::pair(40, 96), std::pair(0, 127)}) {
    rig.SetLines(start, end);
    const FrameInfo info = rig.Take();
    ExpectComputer(info, GpsState::NoLatch);
    EXPECT_EQ(info.gps.latched.startLine, start);
    EXPECT_EQ(info.gps.latched.endLine, end);
  }
}

TEST(FrameStamp, NobodyWhoDoesNotAskWaitsForIt) {
  const StampRig rig;
  rig.camera->StampFrames(std::nullopt);
  rig.device->ClearRequests();
  ExpectComputer(rig.Take(), GpsState::None);
  const auto requests = rig.device->Requests();
  const auto ofBlocks = std::ranges::count_if(requests, [](const LoggedRequest& request) {
    return request.setup.request == wire::kReqReadFpga && request.setup.value >= 0x50 &&
           request.setup.value < 0xC7;
  });
  EXPECT_EQ(ofBlocks, 0);
}

TEST(FrameStamp, AskingRarelyLeavesTheFramesBetweenAlone) {
  const StampRig rig;
  rig.camera->StampFrames(1h);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  // The first frame that was made was asked for; it may have been replaced before it was fetched.
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(info.gps.state, GpsState::None);
  rig.camera->StopCapture();
}

TEST(FrameStamp, AVideosTimesAreOfItsOwnFramesOrTheComputers) {
  const StampRig rig;
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  // Frames of a still clock follow one another by their exposure, which is longer than their readout.
  constexpr std::uint32_t kFirst = 0xFFFFFFF0U;
  bool missed = false;
  int frames = 0;
  EXPECT_TRUE(Eventually([&] {
    FrameInfo info;
    if (!rig.Fetch(info)) return true;
    ++frames;
    missed = missed || info.gps.state == GpsState::Missed;
    if (info.gps.state == GpsState::Fix) {
      const UtcTenths begin = kMade + static_cast<UtcTenths>(info.sequence - kFirst) * kExposure;
      ExpectGps(info, begin, begin + (kSide - 1) * kRow + kExposure);
    } else {
      ExpectComputer(info, GpsState::Missed);
    }
    return missed && frames >= 10;
  }));
  EXPECT_TRUE(missed) << "frames come as fast as they are read: the next one's latch is there first";
  rig.camera->StopCapture();
}

TEST(FrameStamp, LinesThatMoveDuringAVideoAreNotTrustedAtOnce) {
  const StampRig rig([](VirtualOptions& options) { options.fpgaType = 0xC0; });
  ASSERT_EQ(rig.camera->SetCameraMode(1), MODE_OK) << "a frame for each trigger";
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  const auto next = [&] {
    std::string reason;
    FrameInfo info;
    EXPECT_TRUE(Eventually([&] { return rig.camera->SoftTrigger(reason); })) << reason;
    EXPECT_TRUE(rig.Fetch(info));
    return info;
  };
  EXPECT_EQ(next().gps.state, GpsState::Fix);
  rig.SetLines(10, 20);
  ExpectComputer(next(), GpsState::Unsettled);
  ExpectComputer(next(), GpsState::Unsettled);
  const FrameInfo info = next();
  EXPECT_EQ(info.gps.state, GpsState::Fix);
  EXPECT_EQ(info.gps.latched.startLine, 10);
  rig.camera->StopCapture();
}

TEST(FrameStamp, WithoutAFixFramesHaveTheComputersTime) {
  const StampRig rig([](VirtualOptions& options) { options.gps->source = "nofix"; });
  ExpectComputer(rig.Take(), GpsState::NoFix);
}

std::string Sentence(const std::string& body) {
  unsigned sum = 0;
  for (const char c : body) sum ^= static_cast<std::uint8_t>(c);
  char tail[8];
  std::snprintf(tail, sizeof tail, "*%02X\r\n", sum);
  return "$" + body + tail;
}

TEST(FrameStamp, AFixThatIsLostMidwayIsMissedAndComesBack) {
  const auto file = std::filesystem::path(testing::TempDir()) / "frame_stamp_lost.nmea";
  std::ofstream(file) << Sentence("GPRMC,080910.00,A,4807.03812,S,01131.50009,W,0,0,070524,,,A")
                      << Sentence("GPRMC,080911.00,V,,,,,,,070524,,,N")
                      << Sentence("GPRMC,080912.00,A,4807.03812,S,01131.50009,W,0,0,070524,,,A");
  const StampRig rig([&](VirtualOptions& options) { options.gps->source = file.string(); });
  std::filesystem::remove(file);
  const UtcTenths start = Utc("2024-05-07T08:09:10");
  rig.device->AdvanceTime(0.5);
  ExpectGps(rig.Take(), start + kSecond / 2, start + kSecond / 2 + (kSide - 1) * kRow + kExposure);
  rig.device->AdvanceTime(1);
  ExpectComputer(rig.Take(), GpsState::NoFix);
  rig.device->AdvanceTime(1);
  const FrameInfo info = rig.Take();
  EXPECT_EQ(info.gps.state, GpsState::Fix);
  ExpectAt(info.times.begin, start + 5 * kSecond / 2, "begin");
  EXPECT_NEAR(info.gps.latitude.value_or(0), -(48 + 7.0381 / 60), 1e-5);
  EXPECT_NEAR(info.gps.longitude.value_or(0), -(11 + 31.5 / 60), 1e-5);
  EXPECT_FALSE(info.gps.altitude.has_value()) << "no sentence told it";
}

TEST(FrameStamp, EveryQuarterOfTheWorldHasItsSigns) {
  for (const double latitude : {36.75, -36.75}) {
    for (const double longitude : {174.7, -174.7}) {
      const StampRig rig([&](VirtualOptions& options) {
        options.gps->latitude = latitude;
        options.gps->longitude = longitude;
        options.gps->altitudeMetres = -12.5;
      });
      const FrameInfo info = rig.Take();
      EXPECT_NEAR(info.gps.latitude.value_or(0), latitude, 1e-5);
      EXPECT_NEAR(info.gps.longitude.value_or(0), longitude, 2e-5);
      EXPECT_EQ(info.gps.altitude, -12.5);
    }
  }
}

TEST(FrameStamp, OlderRecordsGiveTheSameTimesAndNoPlace) {
  const StampRig rig([](VirtualOptions& options) { options.gps->version = 0; });
  rig.device->AdvanceTime(3);
  const FrameInfo info = rig.Take();
  const UtcTenths begin = kMade + 3 * kSecond;
  ExpectGps(info, begin, begin + (kSide - 1) * kRow + kExposure);
  EXPECT_FALSE(info.gps.latitude.has_value());
  rig.device->FailRequests(wire::kReqGpsBlock, kUsbPipe);
  ExpectComputer(rig.Take(), GpsState::Unreadable);
}

TEST(FrameStamp, OtherModelsAreNotAsked) {
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  rig.camera->StampFrames(0ms);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  EXPECT_EQ(info.gps.state, GpsState::None);
}

TEST(FrameStamp, OnUsb2TheLatchesTellTheRowsTime) {
  const StampRig rig([](VirtualOptions& options) { options.usb3 = false; }, 512);
  ASSERT_TRUE(rig.camera->SetFPSPerc(100, false));
  const FrameInfo info = rig.Take();
  EXPECT_EQ(info.gps.state, GpsState::Fix);
  // 512 samples of two bytes at 40 bytes per us: slower than the sensor.
  EXPECT_NEAR(info.times.rowInterval, 256.0, 0.1);
  rig.SetLines(0, 0);
  EXPECT_GT(rig.Take().times.uncertainty, 511 * (256 - kRow)) << "one latch does not show it";
}

// A flash of light at an instant that is known: the rows that saw it tell when it came.

constexpr double kFlashSeconds = 100e-6;

struct LitRows {
  int first = -1;
  int last = -1;
};

LitRows FindLit(const std::vector<std::uint8_t>& frame, const FrameRegion& region) {
  std::vector<double> means;
  for (int y = 0; y < region.height; ++y) {
    double sum = 0;
    for (int x = 0; x < region.width; ++x) {
      const auto at = 2 * static_cast<std::size_t>(y * region.width + x);
      sum += frame[at] + 256 * frame[at + 1];
    }
    means.push_back(sum / region.width);
  }
  const auto [dark, bright] = std::ranges::minmax(means);
  const double lit = dark + (bright - dark) * 0.005;
  LitRows rows;
  for (int y = 0; y < region.height; ++y) {
    if (means[static_cast<std::size_t>(y)] <= lit) continue;
    if (rows.first < 0) rows.first = y;
    rows.last = y;
  }
  return rows;
}

/// The frame's own times and rows against the instant that the camera was told.
void ExpectFlashFound(const StampRig& rig, UtcTenths flash) {
  FrameInfo info;
  const std::vector<std::uint8_t> frame = rig.Snap(info);
  ASSERT_FALSE(frame.empty());
  ASSERT_EQ(info.gps.state, GpsState::Fix);
  const LitRows lit = FindLit(frame, info.region);
  ASSERT_GT(lit.first, 0) << "the flash must begin and end within the frame";
  ASSERT_LT(lit.last, info.region.height - 1);
  const auto startOf = [&](int row) {
    return static_cast<double>(info.times.begin) + row * info.times.rowInterval;
  };
  const int early = info.times.rowInterval > 0 ? lit.first : lit.last;
  const int late = info.times.rowInterval > 0 ? lit.last : lit.first;
  const double tolerance = std::abs(info.times.rowInterval) + static_cast<double>(info.times.uncertainty);
  const auto exposure = static_cast<double>(info.exposureUs * 10);
  EXPECT_NEAR(startOf(early) + exposure, static_cast<double>(flash), tolerance) << "the first row that saw it";
  EXPECT_NEAR(startOf(late), static_cast<double>(flash) + kFlashSeconds * 1e7, tolerance) << "the last one";
}

class Flash : public testing::TestWithParam<std::int64_t> {
 protected:
  /// So many µs after the first exposure began.
  std::int64_t AfterUs() const { return GetParam(); }
  UtcTenths Instant() const { return kMade + AfterUs() * 10; }
  std::unique_ptr<StampRig> Make() const {
    auto rig = std::make_unique<StampRig>([&](VirtualOptions& options) {
      options.flash = VirtualFlash{options.gps->start + std::chrono::microseconds(AfterUs()), kFlashSeconds};
    });
    EXPECT_TRUE(rig->camera->SetExp(500, false));
    return rig;
  }
};

TEST_P(Flash, IsPlacedWithinARowOfTheWholeFrame) {
  ExpectFlashFound(*Make(), Instant());
}

TEST_P(Flash, IsPlacedWithinARowOfAFlippedFrame) {
  const auto rig = Make();
  rig->camera->SetControlValue(ORQ_FLIP, 2, false);
  ExpectFlashFound(*rig, Instant());
}

TEST_P(Flash, IsPlacedWithinARowOfABinnedFrame) {
  for (const bool mono : {false, true}) {
    const auto rig = Make();
    ASSERT_EQ(rig->camera->SetControlValue(ORQ_MONO_BIN, mono ? 1 : 0, false), CTRL_OK);
    rig->SetRegion(0, kSide / 2, 2);
    ExpectFlashFound(*rig, Instant());
  }
}

TEST_P(Flash, IsPlacedWithinARowOfARegion) {
  const auto rig = Make();
  rig->SetRegion(20, 100);
  rig->SetLines(30, 110);
  ExpectFlashFound(*rig, Instant());
}

INSTANTIATE_TEST_SUITE_P(Instants, Flash, testing::Values(1'000, 1'007, 1'234, 1'300));

}  // namespace
}  // namespace orq::test
