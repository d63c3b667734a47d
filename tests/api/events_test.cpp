// Events, their descriptor, losses and returns through the C interface.
#include <poll.h>

#include <algorithm>

#include "Camera.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::Eventually;
using test::kPatienceMs;
using test::Quick;

bool Readable(int32_t fd) {
  pollfd one{fd, POLLIN, 0};
  return ::poll(&one, 1, 0) == 1;
}

int32_t FdOf(const ApiCamera& camera) {
  int32_t fd = -1;
  EXPECT_EQ(orq_camera_event_fd(camera.camera, &fd), ORQ_OK) << orq_last_error();
  return fd;
}

/// The next event's kind, waited for; 0 when none comes.
int32_t NextEvent(const ApiCamera& camera, std::string* text = nullptr) {
  orq_event event{};
  event.size = sizeof event;
  if (!Eventually([&] { return orq_event_next(camera.camera, &event) == ORQ_OK; })) return 0;
  if (text != nullptr) *text = event.text;
  return event.kind;
}

TEST(ApiEvents, TheDescriptorIsReadableUntilTheFrameHasBeenToldOfOrFetched) {
  const ApiCamera camera;
  camera.Corner();
  const int32_t fd = FdOf(camera);
  EXPECT_FALSE(Readable(fd));
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return Readable(fd); }));
  EXPECT_EQ(NextEvent(camera), ORQ_EVENT_FRAME);
  orq_event event{};
  event.size = sizeof event;
  EXPECT_EQ(orq_event_next(camera.camera, &event), ORQ_ERROR_NOT_FOUND) << "told once";
  EXPECT_FALSE(Readable(fd)) << "told of";
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, 0, &frame.frame), ORQ_OK);
  EXPECT_FALSE(Readable(fd));
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return Readable(fd); }));
  ApiFrame next;
  ASSERT_EQ(orq_frame_wait(camera.camera, 0, &next.frame), ORQ_OK);
  EXPECT_FALSE(Readable(fd)) << "fetched without a word";
  EXPECT_EQ(orq_event_next(camera.camera, &event), ORQ_ERROR_NOT_FOUND);
}

/// Polls and takes every event, as a loop does, until a poll has been in vain for `idleMs`. Counts the polls that
/// were not, and the events.
struct Loop {
  void Run(const ApiCamera& camera, int idleMs) {
    pollfd one{FdOf(camera), POLLIN, 0};
    while (::poll(&one, 1, idleMs) == 1) {
      ++wakes;
      orq_event event{};
      event.size = sizeof event;
      while (orq_event_next(camera.camera, &event) == ORQ_OK) {
        ++events;
        lost = lost || event.kind == ORQ_EVENT_LOST;
        returned = returned || event.kind == ORQ_EVENT_RETURNED;
      }
      ASSERT_LE(wakes, events) << "woken for nothing";
    }
  }
  void RunUntil(const ApiCamera& camera, const bool& done) {
    EXPECT_TRUE(Eventually([&] {
      Run(camera, 100);
      return done || ::testing::Test::HasFatalFailure();
    }));
  }
  int wakes = 0;
  int events = 0;
  bool lost = false;
  bool returned = false;
};

TEST(ApiEvents, ALoopThatTakesEventsAndNoFramesSleepsBetweenThemAlsoWhileTheCameraIsLost) {
  const ApiCamera camera;
  camera.Corner();
  Loop loop;
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return Readable(FdOf(camera)); }));
  loop.Run(camera, 200);
  EXPECT_EQ(loop.events, 1) << "the frame, which stays";
  ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
  loop.RunUntil(camera, loop.lost);
  const int wakes = loop.wakes;
  loop.Run(camera, 300);
  EXPECT_EQ(loop.wakes, wakes) << "nothing happens to a lost camera";
  ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
  loop.RunUntil(camera, loop.returned);
}

TEST(ApiEvents, AFailedExposureIsToldOfWithItsReason) {
  const ApiCamera camera(Quick("k1c", ",short@1"));
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  std::string text;
  EXPECT_EQ(NextEvent(camera, &text), ORQ_EVENT_EXPOSURE_FAILED);
  EXPECT_NE(text.find("too short"), std::string::npos) << text;
}

TEST(ApiEvents, AnIdleCameraThatIsUnpluggedIsToldOfAndComesBackAsItWas) {
  const ApiCamera camera;
  camera.Corner(ORQ_FORMAT_RAW16, 96);
  const int32_t fd = FdOf(camera);
  ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return Readable(fd); }));
  EXPECT_EQ(NextEvent(camera), ORQ_EVENT_LOST);
  EXPECT_FALSE(Readable(fd)) << "told of";
  EXPECT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_ERROR_LOST);
  EXPECT_EQ(orq_camera_reopen(camera.camera), ORQ_ERROR_NOT_FOUND);
  ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
  EXPECT_EQ(NextEvent(camera), ORQ_EVENT_RETURNED);
  ASSERT_EQ(orq_camera_reopen(camera.camera), ORQ_OK) << orq_last_error();
  EXPECT_FALSE(Readable(fd));
  orq_region region{};
  region.size = sizeof region;
  ASSERT_EQ(orq_region_get(camera.camera, &region), ORQ_OK);
  EXPECT_EQ(region.width, 96);
  ASSERT_EQ(orq_exposure_start(camera.camera, 3000), ORQ_OK) << orq_last_error();
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  EXPECT_EQ(frame.Info().exposure_us, 3000U);
}

TEST(ApiEvents, AReopenRightAfterAnUnplugDoesNotTakeTheDeadCameraForAnOpenOne) {
  const ApiCamera camera;
  camera.Corner();
  for (int round = 0; round < 5; ++round) {
    ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
    EXPECT_EQ(orq_camera_reopen(camera.camera), ORQ_ERROR_NOT_FOUND) << round;
    ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
    ASSERT_EQ(orq_camera_reopen(camera.camera), ORQ_OK) << round << orq_last_error();
    ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << round << orq_last_error();
    ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << round << orq_last_error();
  }
}

TEST(ApiEvents, AnUnplugDuringAVideoEndsTheWaitWithLost) {
  const ApiCamera camera;
  camera.Corner();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  orq_status status = ORQ_OK;
  for (int frames = 0; status == ORQ_OK; ++frames) {
    ApiFrame frame;
    status = orq_frame_wait(camera.camera, kPatienceMs, &frame.frame);
    if (frames == 0) ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
    ASSERT_LT(frames, 100);
  }
  EXPECT_EQ(status, ORQ_ERROR_LOST) << orq_last_error();
  ASSERT_EQ(NextEvent(camera), ORQ_EVENT_LOST);
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_OK);
}

TEST(ApiEvents, WithResumeAVideoGoesOnWhenTheCameraIsBack) {
  const orq_open_options options{sizeof options, ORQ_SETTINGS_OFF, 0, 1, ""};
  const ApiCamera camera(Quick("k1c"), &options);
  camera.Corner();
  orq_reader* reader = nullptr;
  const orq_reader_options every{sizeof every, ORQ_READ_EVERY, 4096, 0};
  ASSERT_EQ(orq_reader_open(camera.camera, &every, &reader), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ApiFrame before;
  ASSERT_EQ(orq_reader_wait(reader, kPatienceMs, &before.frame), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
  std::int32_t kind = NextEvent(camera);
  while (kind == ORQ_EVENT_FRAME || kind == ORQ_EVENT_EXPOSURE_FAILED) kind = NextEvent(camera);
  ASSERT_EQ(kind, ORQ_EVENT_LOST);
  ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
  // Frames that were in line at the pull come first, then the first one after it, then others.
  std::vector<int32_t> gaps{before.Info().after_gap};
  EXPECT_TRUE(Eventually([&] {
    ApiFrame next;
    if (orq_reader_wait(reader, 100, &next.frame) != ORQ_OK) return false;
    gaps.push_back(next.Info().after_gap);
    EXPECT_EQ(next.Info().width, 64);
    return gaps.size() > 2 && *(gaps.end() - 2) == 1;
  })) << orq_last_error();
  EXPECT_EQ(std::ranges::count(gaps, 1), 1);
  EXPECT_EQ(gaps.back(), 0);
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << orq_last_error();
  ApiFrame own;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &own.frame), ORQ_OK) << orq_last_error();
  EXPECT_EQ(own.Info().after_gap, 0) << "the program has started it";
  orq_reader_release(reader);
}

TEST(ApiEvents, AClosedCameraKeepsItsDescriptor) {
  const ApiCamera camera;
  const int32_t fd = FdOf(camera);
  ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  EXPECT_FALSE(Readable(fd));
  EXPECT_EQ(FdOf(camera), fd);
}

}  // namespace
}  // namespace orq
