// What an abort, a close or a loss ends, and what not.
#include <string>

#include "Camera.h"
#include "models/table/ModelData.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::Eventually;
using test::Quick;
using Clock = std::chrono::steady_clock;

// Of every model that has one.
template <class Work>
void ForEachWithGuidePort(Work work) {
  for (const ModelData& model : AllModels())
    if (model.maxWidth != 0 && model.guidePort) work("virtual:" + std::string(model.key) + ",timescale=0");
}

std::string FirstWithGuidePort() {
  std::string first;
  ForEachWithGuidePort([&](const std::string& name) { first = first.empty() ? name : first; });
  return first;
}

bool IsCapturing(const ApiCamera& camera) {
  orq_exposure_progress progress{};
  progress.size = sizeof progress;
  EXPECT_EQ(orq_exposure_get_progress(camera.camera, &progress), ORQ_OK) << orq_last_error();
  return progress.running != 0;
}

TEST(ApiAbort, LeavesAFinishedExposuresFrameAlone) {
  const ApiCamera camera;
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return !IsCapturing(camera); }));
  ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the device's part of it
  ApiFrame frame;
  EXPECT_EQ(orq_frame_wait(camera.camera, 0, &frame.frame), ORQ_OK) << orq_last_error();
}

TEST(ApiAbort, DoesNotReachWhatBeginsAfterIt) {
  ForEachWithGuidePort([](const std::string& name) {
    const ApiCamera camera(name);
    for (int round = 0; round < 5; ++round) {
      ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
      ASSERT_EQ(orq_guide_pulse(camera.camera, ORQ_GUIDE_NORTH, 20), ORQ_OK) << name << ": " << orq_last_error();
    }
  });
}

TEST(ApiAbort, DoesNotReachADarkThatBeginsAfterIt) {
  const ApiCamera camera(Quick("k1c"));
  camera.Corner();
  const std::string path = ::testing::TempDir() + "abort_then_dark.bmp";
  orq_dark_options options{};
  options.size = sizeof options;
  options.frames = 1;
  options.overwrite = 1;
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
    ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
    ASSERT_EQ(orq_dark_take(camera.camera, path.c_str(), &options, nullptr, nullptr, nullptr), ORQ_OK)
        << orq_last_error();
  }
}

TEST(ApiAbort, OfAnExposureAndTheEndOfAVideoLeaveAGuidePulseAlone) {
  const ApiCamera camera("virtual:k1c");
  ASSERT_EQ(orq_exposure_start(camera.camera, 60'000'000), ORQ_OK) << orq_last_error();
  auto frame = test::Waiting([&] {
    ApiFrame taken;
    return orq_frame_wait(camera.camera, -1, &taken.frame);
  });
  auto pulse = test::Waiting([&] { return orq_guide_pulse(camera.camera, ORQ_GUIDE_WEST, 800); });
  ASSERT_EQ(orq_exposure_abort(camera.camera), ORQ_OK) << orq_last_error();
  EXPECT_EQ(frame.get(), ORQ_ERROR_CANCELLED);
  EXPECT_TRUE(Eventually([&] { return !IsCapturing(camera); }));
  EXPECT_EQ(pulse.get(), ORQ_OK);

  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
  pulse = test::Waiting([&] { return orq_guide_pulse(camera.camera, ORQ_GUIDE_WEST, 800); });
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
  EXPECT_EQ(pulse.get(), ORQ_OK);
}

TEST(ApiAbort, ALossEndsAGuidePulseAtOnce) {
  const ApiCamera camera(FirstWithGuidePort());
  auto pulse = test::Waiting([&] { return orq_guide_pulse(camera.camera, ORQ_GUIDE_WEST, 60'000); });
  const auto begin = Clock::now();
  ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
  EXPECT_EQ(pulse.get(), ORQ_ERROR_LOST);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(20));
}

TEST(ApiAbort, AClosingAtAnyMomentEndsAGuidePulse) {
  const std::string name = FirstWithGuidePort();
  for (int round = 0; round < 30; ++round) {
    const ApiCamera camera(name);
    std::atomic<bool> begun{false};
    auto pulse = std::async(std::launch::async, [&] {
      begun = true;
      return orq_guide_pulse(camera.camera, ORQ_GUIDE_EAST, 60'000);
    });
    while (!begun) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(7 * round));
    const auto begin = Clock::now();
    ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
    const orq_status status = pulse.get();
    ASSERT_TRUE(status == ORQ_ERROR_CANCELLED || status == ORQ_ERROR_STATE) << status << orq_last_error();
    ASSERT_LT(Clock::now() - begin, std::chrono::seconds(20)) << round;
  }
}

TEST(ApiAbort, ACloseThatMeetsAReopenWins) {
  const ApiCamera camera(Quick("k1c"));
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
    auto reopened = std::async(std::launch::async, [&] { return orq_camera_reopen(camera.camera); });
    std::this_thread::sleep_for(std::chrono::microseconds(50 * round));
    const bool before = reopened.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
    ASSERT_EQ(reopened.get(), ORQ_OK) << orq_last_error();
    orq_region region{};
    region.size = sizeof region;
    if (before) ASSERT_EQ(orq_region_get(camera.camera, &region), ORQ_ERROR_STATE);
  }
}

}  // namespace
}  // namespace orq
