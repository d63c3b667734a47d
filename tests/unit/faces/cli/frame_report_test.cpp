#include "output/frames/FrameReport.h"

#include <gtest/gtest.h>

namespace orq::cli {
namespace {

TEST(GpsTrouble, IsToldForEveryFrameThatWasAskedForAndHasNone) {
  orq_frame_gps gps{};
  for (gps.state = ORQ_GPS_NONE; gps.state <= ORQ_GPS_UNREADABLE; ++gps.state) {
    const bool fine = gps.state == ORQ_GPS_NONE || gps.state == ORQ_GPS_FIX || gps.state == ORQ_GPS_PREDICTED;
    EXPECT_EQ(GpsTrouble(gps).empty(), fine) << gps.state;
  }
}

}  // namespace
}  // namespace orq::cli
