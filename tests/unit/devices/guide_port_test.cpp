#include <climits>

#include "unit/devices/DeviceTest.h"
#include "unit/devices/SleepLog.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kOn[] = {"40 B0 00 00 00 00 00 00", "40 B0 01 00 00 00 00 00", "40 B0 02 00 00 00 00 00",
                               "40 B0 03 00 00 00 00 00"};
constexpr const char* kOff[] = {"40 B1 00 00 00 00 00 00", "40 B1 01 00 00 00 00 00", "40 B1 02 00 00 00 00 00",
                                "40 B1 03 00 00 00 00 00"};
constexpr int kNoLines[] = {4, 5, -1, 65536, INT_MAX, INT_MIN};

class GuidePort : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    sleeps::onSleep = [this](unsigned us) {
      for (std::string& event : Sent()) story.push_back(std::move(event));
      story.push_back("sleep " + std::to_string(us));
    };
  }
  void TearDown() override { sleeps::onSleep = nullptr; }

  /// Requests and sleeps of one pulse, in order.
  std::vector<std::string> Pulse(int direction, int ms) {
    story.clear();
    EXPECT_TRUE(camera.pulseGuide(static_cast<GuideD>(direction), ms));
    for (std::string& event : Sent()) story.push_back(std::move(event));
    return story;
  }

  std::vector<std::string> story;
};

TEST_F(GuidePort, LinesAreSwitchedByTheirNumber) {
  for (int d = 0; d < 4; ++d) {
    EXPECT_TRUE(camera.PulseGuideOn(static_cast<GuideD>(d)));
    EXPECT_THAT(Sent(), ElementsAre(kOn[d]));
    EXPECT_TRUE(camera.PulseGuideOff(static_cast<GuideD>(d)));
    EXPECT_THAT(Sent(), ElementsAre(kOff[d]));
  }
}

TEST_F(GuidePort, DirectionsWithoutALineSendNothingAndSucceed) {
  for (const int d : kNoLines) {
    EXPECT_TRUE(camera.PulseGuideOn(static_cast<GuideD>(d)));
    EXPECT_TRUE(camera.PulseGuideOff(static_cast<GuideD>(d)));
    EXPECT_THAT(Pulse(d, 1000), IsEmpty()) << "and no pulse is waited for";
  }
}

TEST_F(GuidePort, APulseIsOnASleepAndOff) {
  for (int d = 0; d < 4; ++d) EXPECT_THAT(Pulse(d, 250), ElementsAre(kOn[d], "sleep 250000", kOff[d]));
}

TEST_F(GuidePort, APulseOfNoLengthIsOnAndOff) {
  EXPECT_THAT(Pulse(GUIDE_EAST, 0), ElementsAre(kOn[2], "sleep 0", kOff[2]));
}

TEST_F(GuidePort, ALongPulseIsSleptInOnePiece) {
  EXPECT_THAT(Pulse(GUIDE_NORTH, 3'000'000), ElementsAre(kOn[0], "sleep 3000000000", kOff[0]));
}

TEST_F(GuidePort, LengthsAreHandedOnInTheSleeps32UnsignedBits) {
  // 2^32 - 1000; (2^32 + 32704) / 1000 = 4294967.3: 4294968 * 1000 - 2^32 = 704.
  EXPECT_THAT(Pulse(GUIDE_NORTH, -1), ElementsAre(kOn[0], "sleep 4294966296", kOff[0]));
  EXPECT_THAT(Pulse(GUIDE_NORTH, 4'294'968), ElementsAre(kOn[0], "sleep 704", kOff[0]));
  EXPECT_THAT(Pulse(GUIDE_NORTH, INT_MIN), ElementsAre(kOn[0], "sleep 0", kOff[0]));
  EXPECT_THAT(Pulse(GUIDE_NORTH, INT_MAX), ElementsAre(kOn[0], "sleep 4294966296", kOff[0]));
}

TEST_F(GuidePort, TheCamerasAnswerIsNotExamined) {
  camera.port->refusedRequests = {0xB0, 0xB1};
  EXPECT_TRUE(camera.PulseGuideOn(GUIDE_WEST));
  EXPECT_TRUE(camera.PulseGuideOff(GUIDE_WEST));
  EXPECT_THAT(Sent(), ElementsAre(kOn[3], kOff[3]));
  EXPECT_THAT(Pulse(GUIDE_WEST, 7), ElementsAre(kOn[3], "sleep 7000", kOff[3]));
}

TEST_F(GuidePort, EveryCallIsLoggedWhateverTheDirection) {
  LogText log;
  camera.PulseGuideOn(GUIDE_SOUTH);
  camera.PulseGuideOff(GUIDE_SOUTH);
  camera.pulseGuide(GUIDE_SOUTH, 20);
  camera.PulseGuideOn(static_cast<GuideD>(4));
  camera.PulseGuideOff(static_cast<GuideD>(-1));
  camera.pulseGuide(static_cast<GuideD>(9), -5);
  EXPECT_EQ(log.Text(), Line("PulseGuideOn", "PulseGuide Direction On:1") +
                            Line("PulseGuideOff", "PulseGuide Direction Off:1") +
                            Line("pulseGuide", "PulseGuide Direction:1 time:20\n") +
                            Line("PulseGuideOn", "PulseGuide Direction On:4") +
                            Line("PulseGuideOff", "PulseGuide Direction Off:-1") +
                            Line("pulseGuide", "PulseGuide Direction:9 time:-5\n"));
}

}  // namespace
}  // namespace orq::test
