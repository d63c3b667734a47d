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
constexpr double kFlashSeconds = 100e-6;

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
  EXPECT_NEAR(static_cast<double>(info.times.begin), static_cast<double>(begin), 4);
  EXPECT_NEAR(static_cast<double>(info.times.end), static_cast<double>(begin + 63 * kRow + kExposure), 4);
  EXPECT_NEAR(info.times.rowInterval, -kRow, 0.3);
}

TEST(FrameStamp, BinnedRowsOfOneColourAreOfLinesTwoApart) {
  for (const bool mono : {false, true}) {
    const StampRig rig;
    ASSERT_EQ(rig.camera->SetControlValue(ORQ_MONO_BIN, mono ? 1 : 0, false), CTRL_OK);
    ASSERT_EQ(rig.camera->SetControlValue(ORQ_FLIP, 2, false), CTRL_OK);
    rig.SetRegion(0, kSide / 2, 2);
    const FrameInfo info = rig.Take();
    ExpectGps(info, kMade, kMade + (kSide - 1) * kRow + kExposure);
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

/// The frames of a video on a clock that stands still, where the next one's latch is always there first: they
/// follow one another by `period`, whatever the computer does meanwhile. How many had their own latch, and how
/// many were predicted.
struct Story {
  int fixes = 0;
  int predicted = 0;
  GpsPredictions counts;
};
Story WatchVideo(const StampRig& rig, UtcTenths period, int enough) {
  constexpr std::uint32_t kFirst = 0xFFFFFFF0U;
  EXPECT_EQ(rig.camera->StartCapture(false), 1);
  Story story;
  EXPECT_TRUE(Eventually([&] {
    FrameInfo info;
    if (!rig.Fetch(info)) return true;
    const UtcTenths begin = kMade + static_cast<UtcTenths>(info.sequence - kFirst) * period;
    EXPECT_TRUE(HasGpsTimes(info.gps.state)) << "state " << static_cast<int>(info.gps.state);
    EXPECT_LE(std::abs(info.times.begin - begin), info.times.uncertainty);
    EXPECT_LE(std::abs(info.times.end - begin - (kSide - 1) * kRow - static_cast<UtcTenths>(info.exposureUs) * 10),
              info.times.uncertainty);
    ++(info.gps.state == GpsState::Predicted ? story.predicted : story.fixes);
    story.counts = info.gps.predictions;
    return story.predicted >= enough;
  }));
  rig.camera->StopCapture();
  return story;
}

TEST(FrameStamp, AVideosFramesHaveTheirOwnTimeOrAPredictedOne) {
  // The exposure is longer than the readout, and the other way round.
  for (const auto& [exposureUs, period] : {std::pair(5'000, 50'000), std::pair(500, kSide * 164)}) {
    const StampRig rig;
    ASSERT_TRUE(rig.camera->SetExp(static_cast<unsigned long long>(exposureUs), false));
    const Story story = WatchVideo(rig, period, 30);
    EXPECT_GE(story.predicted, 30) << "frames come as fast as they are read";
    EXPECT_EQ(story.counts.wrong, 0U);
    EXPECT_GT(story.counts.confirmed, 0U);
    EXPECT_GE(story.counts.predicted, 30U);
  }
}

TEST(FrameStamp, ACameraWithoutTheRequestIsReadByRegisters) {
  const StampRig rig;
  rig.device->FailRequests(wire::kReqGpsLatch, kUsbPipe, 0, 1'000'000);
  const FrameInfo info = rig.Take();
  ExpectGps(info, kMade, kMade + (kSide - 1) * kRow + kExposure);
}

TEST(FrameStamp, ACameraThatDoesNotAnswerForAMomentCostsNoTime) {
  const StampRig rig;
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  const auto look = [&] {
    FrameInfo info;
    EXPECT_TRUE(rig.Fetch(info));
    EXPECT_TRUE(HasGpsTimes(info.gps.state)) << static_cast<int>(info.gps.state);
  };
  for (int i = 0; i < 3; ++i) look();
  rig.device->FailRequests(wire::kReqReadFpga, kUsbPipe, 0, 20);
  for (int i = 0; i < 30; ++i) look();
  rig.camera->StopCapture();
}

TEST(FrameStamp, SingleExposuresAreNeverPredicted) {
  const StampRig rig;
  rig.Take();
  rig.device->AdvanceTime(1);
  const FrameInfo info = rig.Take();
  EXPECT_EQ(info.gps.state, GpsState::Fix);
  EXPECT_EQ(info.gps.predictions.predicted, 0U);
}

// In real time, and on a sensor that keeps its pace also where the computer cannot follow: one that shows a flash.
TEST(FrameStamp, AtEveryRateEachFrameHasGpsTime) {
  struct Rate {
    std::uint64_t exposureUs;
    int frames;
  };
  for (const Rate& rate : {Rate{100'000, 10}, {40'000, 15}, {20'000, 40}}) {
    const StampRig rig([](VirtualOptions& options) {
      options.timeScale = 1;
      options.flash = VirtualFlash{options.gps->start + std::chrono::hours(1), kFlashSeconds};
    });
    ASSERT_TRUE(rig.camera->SetExp(rate.exposureUs, false));
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    FrameInfo first;
    FrameInfo info;
    for (int i = 0; i < rate.frames; ++i) {
      ASSERT_TRUE(rig.Fetch(info));
      if (i == 0) first = info;
      EXPECT_TRUE(HasGpsTimes(info.gps.state)) << "state " << static_cast<int>(info.gps.state);
      const auto since = static_cast<UtcTenths>((info.sequence - first.sequence) * rate.exposureUs * 10);
      EXPECT_LE(std::abs(info.times.begin - first.times.begin - since),
                info.times.uncertainty + first.times.uncertainty);
    }
    rig.camera->StopCapture();
    EXPECT_EQ(info.gps.predictions.wrong, 0U);
  }
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
  const FrameInfo one = rig.Take();
  EXPECT_GT(one.times.uncertainty, 511 * (256 - kRow)) << "one latch does not show it";
  EXPECT_EQ(one.gps.state, GpsState::Fix);
}

TEST(FrameStamp, AGpsTimeLessCertainThanTheComputersIsNotUsed) {
  const StampRig rig([](VirtualOptions& options) { options.usb3 = false; }, 1024);
  ASSERT_TRUE(rig.camera->SetFPSPerc(100, false));
  EXPECT_EQ(rig.Take().gps.state, GpsState::Fix);
  rig.SetLines(0, 0);
  // 1023 rows, each 16.4 us or, by the port, 51.2 us: 36 ms.
  const FrameInfo info = rig.Take();
  ExpectComputer(info, GpsState::Uncertain);
  EXPECT_LT(info.times.uncertainty, 1023 * (512 - kRow));
}

struct LinePair {
  int start = -1;
  int end = -1;
};
LinePair LinesNow(const StampRig& rig) {
  LinePair lines;
  EXPECT_EQ(rig.camera->GPSGetLine(0, lines.start), CTRL_OK);
  EXPECT_EQ(rig.camera->GPSGetLine(1, lines.end), CTRL_OK);
  return lines;
}
void ExpectLines(const StampRig& rig, int start, int end, bool follow) {
  const LinePair lines = LinesNow(rig);
  EXPECT_EQ(lines.start, start);
  EXPECT_EQ(lines.end, end);
  EXPECT_EQ(rig.camera->GpsLinesFollow(), follow);
}

TEST(GpsLines, FollowRegionBinAndFlip) {
  const StampRig rig;
  ExpectLines(rig, 0, kSide - 1, true);
  rig.SetRegion(32, 64);
  ExpectLines(rig, 32, 95, true);
  rig.SetRegion(16, 24, 2);
  ExpectLines(rig, 16, 63, true);
  ASSERT_EQ(rig.camera->SetControlValue(ORQ_FLIP, 2, false), CTRL_OK);
  ExpectLines(rig, 16, 63, true);
  const FrameInfo info = rig.Take();
  ExpectGps(info, kMade, kMade + 47 * kRow + kExposure);
}

TEST(GpsLines, ThatAUserChoseStay) {
  const StampRig rig;
  rig.SetRegion(32, 64);
  rig.SetLines(40, 50);
  ExpectLines(rig, 40, 50, false);
  rig.SetRegion(16, 64);
  ExpectLines(rig, 40, 50, false);
  ASSERT_TRUE(rig.camera->FollowGpsLines(true));
  ExpectLines(rig, 16, 79, true);
  // The control chooses, also where it changes nothing.
  ASSERT_EQ(rig.camera->SetControlValue(ORQ_GPS_END_LINE, 79, false), CTRL_OK);
  ExpectLines(rig, 16, 79, false);
  rig.SetRegion(0, 128);
  ExpectLines(rig, 16, 79, false);
}

TEST(GpsLines, AreKnownAcrossOpens) {
  const StampRig rig;
  rig.SetRegion(32, 64);
  rig.camera->CloseCamera();
  ASSERT_TRUE(rig.Open());
  const FrameRegion region = rig.camera->Region();
  ExpectLines(rig, region.startY, region.startY + region.height - 1, true);
  rig.SetLines(40, 50);
  rig.camera->CloseCamera();
  ASSERT_TRUE(rig.Open());
  ExpectLines(rig, 40, 50, false);
}

TEST(GpsLines, OfAVideoFollowItsNewRegionWithoutLoss) {
  const StampRig rig;
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  rig.SetRegion(32, 64);
  for (int i = 0; i < 5; ++i) {
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info));
    EXPECT_EQ(info.region.startY, 32);
    EXPECT_TRUE(HasGpsTimes(info.gps.state)) << static_cast<int>(info.gps.state);
    EXPECT_EQ(info.gps.latched.startLine, 32);
    EXPECT_EQ(info.gps.latched.endLine, 95);
  }
  rig.camera->StopCapture();
}

TEST(GpsLines, OfOtherModelsAreLeftAlone) {
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  for (const LoggedRequest& request : rig.device->Requests()) {
    const bool write = request.setup.request == wire::kReqWriteFpga;
    EXPECT_FALSE(write && request.setup.value >= 0x47 && request.setup.value <= 0x4E);
  }
}

// A flash of light at an instant that is known: the rows that saw it tell when it came.

struct LitRows {
  int first = -1;
  int last = -1;
};

constexpr double kFaint = 500;  ///< no noise makes rows differ by that much

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
  if (bright - dark < kFaint) return {};
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
  const double top = info.times.rowInterval > 0 ? 0.0 : -(info.region.height - 1) * info.times.rowInterval;
  const auto startOf = [&](int row) {
    return static_cast<double>(info.times.begin) + top + row * info.times.rowInterval;
  };
  const int early = info.times.rowInterval > 0 ? lit.first : lit.last;
  const int late = info.times.rowInterval > 0 ? lit.last : lit.first;
  const double tolerance = std::abs(info.times.rowInterval) + static_cast<double>(info.times.uncertainty);
  const auto exposure = static_cast<double>(static_cast<UtcTenths>(info.exposureUs) * 10);
  EXPECT_NEAR(startOf(early) + exposure, static_cast<double>(flash), tolerance) << "the first row that saw it";
  EXPECT_NEAR(startOf(late), static_cast<double>(flash) + kFlashSeconds * 1e7, tolerance) << "the last one";
}

// A video whose next latch is always there first shows the flash in one of its frames, mostly a predicted one.
TEST(FlashInAVideo, IsPlacedByPredictedTimes) {
  bool predicted = false;
  EXPECT_TRUE(Eventually([&] {
    const StampRig rig([](VirtualOptions& options) {
      options.flash = VirtualFlash{options.gps->start + std::chrono::microseconds(101'960), kFlashSeconds};
    });
    EXPECT_TRUE(rig.camera->SetExp(500, false));
    EXPECT_EQ(rig.camera->StartCapture(false), 1);
    // Frames follow one another by 2099.2 us; this one comes in the middle of the 49th.
    const UtcTenths flash = kMade + 1'019'600;
    std::vector<std::uint8_t> frame = rig.Buffer();
    FrameInfo info;
    do {
      if (rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), 30'000, info) == 0) return true;
    } while (info.times.end < flash - 100'000);
    // Those around it: the first row that saw it tells when it began, if the frame saw it begin.
    for (int i = 0; i < 200 && info.times.begin < flash + 100'000; ++i) {
      const LitRows lit = FindLit(frame, info.region);
      if (info.gps.state == GpsState::Predicted && lit.first > 0 && lit.last < info.region.height - 1) {
        predicted = true;
        const double end = static_cast<double>(info.times.begin) + lit.first * info.times.rowInterval + 5'000;
        EXPECT_NEAR(end, static_cast<double>(flash), kRow + static_cast<double>(info.times.uncertainty));
      }
      if (rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), 30'000, info) == 0) return true;
    }
    rig.camera->StopCapture();
    return predicted;
  }));
  EXPECT_TRUE(predicted);
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
