#include "output/FrameWatch.h"

#include <gtest/gtest.h>

#include <string>

#include "models/camera/FrameTypes.h"

namespace orq::cli {
namespace {

class WatchedGps : public testing::Test {
 protected:
  std::string Look(GpsState state, std::uint64_t wrong = 0) {
    auto info = sized<orq_frame_info>();
    info.sequence = 77;
    auto gps = sized<orq_frame_gps>();
    gps.state = static_cast<std::int32_t>(state);
    gps.wrong = wrong;
    testing::internal::CaptureStderr();
    watch.Look(info, gps);
    return testing::internal::GetCapturedStderr();
  }
  GpsWatch watch{true};
};

TEST_F(WatchedGps, PredictedTimesAreNoLoss) {
  EXPECT_EQ(Look(GpsState::Fix), "");
  EXPECT_EQ(Look(GpsState::Predicted), "");
  EXPECT_NE(Look(GpsState::NoFix).find("the computer's time now"), std::string::npos);
  EXPECT_NE(Look(GpsState::Predicted).find("again"), std::string::npos);
}

TEST_F(WatchedGps, TellsWhatProvedWrongEachTime) {
  EXPECT_NE(Look(GpsState::Fix, 3).find("3 frames before camera sequence 77"), std::string::npos);
  EXPECT_EQ(Look(GpsState::Fix, 3), "");
  EXPECT_NE(Look(GpsState::Fix, 4).find("of 1 frame before"), std::string::npos);
  EXPECT_EQ(Look(GpsState::Fix, 0), "") << "another capture";
}

}  // namespace
}  // namespace orq::cli
