// The C++ header: values, ranges, exceptions.
#include "orqcam/orqcam.hpp"

#include <filesystem>
#include <fstream>
#include <thread>

#include "Camera.h"
#include "unit/support/TempDirectory.h"

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
  for (const orq_camera_entry& entry : orq::cameras(ORQ_LIST_VIRTUAL))
    found = found || std::string(entry.name) == "virtual:k1c";
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

TEST(Cpp, ADarkIsCheckedTakenAndCopied) {
  const TempDirectory folder;
  orq::Camera camera("virtual:h53m,timescale=0,scene=dark");
  const std::string path = folder.File("dark.bmp");
  EXPECT_THROW(camera.checkDark(folder.File("none/dark.bmp")), orq::FileError);
  camera.checkDark(path);
  auto one = orq::sized<orq_dark_options>();
  one.frames = 1;
  camera.takeDark(path, one);
  EXPECT_THROW(camera.checkDark(path), orq::FileError) << "it is there";
  camera.checkDark(path, true);
  const std::string copy = folder.File("copy.bmp");
  camera.copyDark(path, copy);
  EXPECT_EQ(camera.readDark(copy).frames, 1);
  EXPECT_THROW(camera.copyDark(path, copy), orq::FileError) << "it is there";
  camera.copyDark(path, copy, true);
  camera.checkOwnDark();
  EXPECT_EQ(camera.darkChoice().is_kept, 0);
  const auto place = std::filesystem::path(camera.darkChoice().kept).parent_path();
  std::filesystem::remove_all(place);
  std::ofstream(place) << "a file";
  EXPECT_THROW(camera.checkOwnDark(), orq::FileError) << "no folder can be made there";
  std::filesystem::remove(place);
  camera.copyToOwnDark(path);
  EXPECT_EQ(camera.darkChoice().is_kept, 1);
  EXPECT_STREQ(camera.darkChoice().chosen, camera.darkChoice().kept);
}

TEST(Cpp, RegistersAreWrittenReadAndRequested) {
  orq::Camera camera(Quick("k1c"));
  const orq::VirtualCamera& device = *camera.get()->camera->Named().device;
  constexpr std::uint32_t kSpare = 0x2F0;
  orq::expert::writeRegister(camera, ORQ_CHIP_SENSOR, kSpare, 0x5A);
  EXPECT_EQ(device.SensorRegister(kSpare), 0x5A);
  EXPECT_EQ(orq::expert::readRegister(camera, ORQ_CHIP_SENSOR, kSpare), 0x5A);
  EXPECT_THROW(orq::expert::writeRegister(camera, ORQ_CHIP_FPGA, 0, 256), orq::RangeError);
  EXPECT_THROW(orq::expert::readRegister(camera, 2, 0), orq::InvalidError);
  // Sensor registers by hand: written by request D3, read by D2.
  orq::expert::send(camera, 0xD3, kSpare, 0xA5);
  EXPECT_EQ(device.SensorRegister(kSpare), 0xA5);
  EXPECT_EQ(orq::expert::receive(camera, 0xD2, kSpare, 0, 1), std::vector<std::uint8_t>{0xA5});
  EXPECT_THROW(orq::expert::receive(camera, 0xEE, 0, 0, 1), orq::RefusedError);
  EXPECT_THROW(orq::expert::receive(camera, 0xD2, 0, 0, 4097), orq::RangeError);
  EXPECT_THROW(orq::expert::receive(camera, 0xD2, 0, 0, (std::size_t{1} << 32U) + 1), orq::RangeError);
  EXPECT_THROW(orq::expert::send(camera, 0xD3, 0, 0, std::vector<std::uint8_t>(4097)), orq::RangeError);
}

TEST(Cpp, TheLogIsHeardAsLongAsItsObjectLives) {
  std::atomic<int> lines{0};
  {
    orq::LogSink log(ORQ_LOG_DEBUG, [&lines](int level, const char* line) {
      EXPECT_EQ(level, ORQ_LOG_DEBUG);
      EXPECT_NE(line[0], '\0');
      ++lines;
    });
    const orq::LogSink moved = std::move(log);
    const orq::Camera camera(Quick("k1c"));
    EXPECT_GT(lines, 0);
  }
  const int heard = lines;
  const orq::Camera camera(Quick("k1c"));
  EXPECT_EQ(lines, heard);
  EXPECT_THROW(orq::LogSink(1, [](int, const char*) {}), orq::InvalidError);
}

TEST(Cpp, TheLibraryTellsItsVersionItsStatusesAndItsClock) {
  const orq::Version version = orq::libraryVersion();
  EXPECT_EQ(
      std::to_string(version.major) + "." + std::to_string(version.minor) + "." + std::to_string(version.patch),
      ORQCAM_VERSION);
  EXPECT_EQ(orq::statusName(ORQ_ERROR_BUSY), "busy");
  EXPECT_EQ(orq::statusName(1), "unknown");
  EXPECT_EQ(orq::bayerName(ORQ_BAYER_RGGB), "RGGB");
  EXPECT_EQ(orq::bayerName(ORQ_BAYER_BGGR), "BGGR");
  EXPECT_EQ(orq::bayerName(ORQ_BAYER_GRBG), "GRBG");
  EXPECT_EQ(orq::bayerName(ORQ_BAYER_GBRG), "GBRG");
  for (const int nothing : {-1, -2, 4, 255, 256}) EXPECT_EQ(orq::bayerName(nothing), "") << nothing;
  const orq_clock_state clock = orq::clockState();
  EXPECT_GE(clock.synchronised, -1);
  EXPECT_LE(clock.synchronised, 1);
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
