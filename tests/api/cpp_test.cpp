// The C++ header: values, ranges, exceptions.
#include "orqcam/orqcam.hpp"

#include <thread>

#include "Camera.h"

namespace {

using namespace std::chrono_literals;
using orq::test::Quick;

orq_region Corner(int side) {
  auto corner = orq::sized<orq_region>();
  corner.width = corner.height = side;
  corner.bin = 1;
  return corner;
}

TEST(Cpp, AnExposureIsAFrameWithItsTimeAndPixels) {
  orq::Camera camera(Quick("k1c"));
  EXPECT_EQ(camera.region(Corner(64)).width, 64);
  const orq::Frame frame = camera.expose(20ms);
  EXPECT_EQ(frame.exposure(), 20ms);
  EXPECT_EQ(frame.size(), 64U * 64U);
  EXPECT_EQ(frame.pixels().size(), frame.size());
  EXPECT_EQ(frame.pixels().data(), frame.data());
  const auto age = std::chrono::system_clock::now() - frame.time();
  EXPECT_GT(age, 0s);
  EXPECT_LT(age, 60s);
}

TEST(Cpp, FramesAreSharedAndOutliveTheirCamera) {
  orq::Frame kept;
  {
    orq::Camera camera(Quick("k1c"));
    camera.region(Corner(64));
    kept = camera.expose(5ms);
  }
  const orq::Frame copy = kept;
  EXPECT_EQ(copy.data(), kept.data());
  const orq::Frame moved = std::move(kept);
  EXPECT_FALSE(kept);  // NOLINT(bugprone-use-after-move): empty, as its contract says
  EXPECT_EQ(moved.data(), copy.data());
}

TEST(Cpp, AVideoIsARangeThatEndsWhenItIsAborted) {
  orq::Camera camera(Quick("k1c"));
  camera.region(Corner(64));
  int frames = 0;
  for (const orq::Frame& frame : camera.video()) {
    EXPECT_EQ(frame.width(), 64);
    if (++frames == 5) camera.abort();
    ASSERT_LT(frames, 6);
  }
  EXPECT_EQ(frames, 5);
  EXPECT_EQ(camera.expose(3ms).exposure(), 3ms) << "the video has ended with its range";
}

TEST(Cpp, AVideoIsARangeThatEndsWhenItsCameraIsClosed) {
  orq::Camera camera(Quick("k1c"));
  camera.region(Corner(64));
  int frames = 0;
  for (const orq::Frame& frame : camera.video()) {
    EXPECT_EQ(frame.width(), 64);
    if (++frames == 3) camera.close();
    ASSERT_LT(frames, 4);
  }
  EXPECT_EQ(frames, 3);
}

TEST(Cpp, ReadersWaitInTime) {
  orq::Camera camera("virtual:k1c");
  camera.region(Corner(64));
  orq::Reader every = camera.reader(ORQ_READ_EVERY, 4);
  camera.startExposure(60s);
  EXPECT_THROW(every.wait(10ms), orq::TimeoutError);
  camera.abort();
}

TEST(Cpp, EachStatusIsAnExceptionWithItsText) {
  EXPECT_THROW(orq::Camera("nonsense"), orq::InvalidError);
  EXPECT_THROW(orq::Camera("serial:0000000000000000"), orq::NotFoundError);
  orq::Camera camera(Quick("k1c"));
  EXPECT_THROW(camera.expose(1us), orq::RangeError);
  EXPECT_THROW(camera.expose(-1us), orq::RangeError);
  EXPECT_THROW(camera.wait(0ms), orq::StateError);
  camera.close();
  try {
    camera.expose(1ms);
    FAIL() << "a closed camera exposes nothing";
  } catch (const orq::Error& error) {
    EXPECT_EQ(error.status(), ORQ_ERROR_STATE);
    EXPECT_STREQ(error.what(), "the camera is closed: open it again first");
  }
}

TEST(Cpp, VirtualCamerasAreListed) {
  bool found = false;
  for (const orq_camera_entry& entry : orq::cameras(ORQ_LIST_VIRTUAL)) {
    found = found || std::string(entry.name) == "virtual:k1c";
  }
  EXPECT_TRUE(found);
}

TEST(Cpp, TheBayerPatternOfFramesToComeFollowsFlipsAndFormats) {
  orq::Camera camera(Quick("k1c"));
  camera.region(Corner(64));
  // Each flip of an even size swaps the two colours of a row, or the two rows.
  constexpr int kOfFlips[] = {ORQ_BAYER_RGGB, ORQ_BAYER_GRBG, ORQ_BAYER_GBRG, ORQ_BAYER_BGGR};
  for (int flips = 0; flips < 4; ++flips) {
    camera.control(ORQ_CONTROL_FLIP, flips);
    EXPECT_EQ(camera.bayer(), kOfFlips[flips]) << flips;
    EXPECT_EQ(camera.expose(1ms).info().bayer, kOfFlips[flips]) << flips;
  }
  orq_region colours = camera.region();
  colours.format = ORQ_FORMAT_RGB24;
  camera.region(colours);
  EXPECT_EQ(camera.bayer(), ORQ_BAYER_NONE);
  EXPECT_EQ(orq::Camera(Quick("k1m")).bayer(), ORQ_BAYER_NONE);
  EXPECT_EQ(orq_region_get_bayer(camera.get(), nullptr), ORQ_ERROR_INVALID);
}

TEST(Cpp, AWatchLivesAsLongAsItsObject) {
  std::optional<orq::Watch> watch(std::in_place, [](bool, const orq_camera_entry&) {});
  orq::Watch moved = std::move(*watch);
  watch.reset();
}

TEST(Cpp, EventsComeOnceEach) {
  orq::Camera camera(Quick("k1c"));
  camera.region(Corner(64));
  EXPECT_FALSE(camera.nextEvent());
  camera.startExposure(1ms);
  EXPECT_TRUE(orq::test::Eventually([&] { return camera.nextEvent().has_value(); }));
  EXPECT_GE(camera.eventDescriptor(), 0);
}

}  // namespace
