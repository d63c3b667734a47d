// Automatic exposure and gain, and waiting until they have settled.
#include "Camera.h"

namespace orq {
namespace {

using test::ApiCamera;

constexpr double kPatience = 60.0;

/// Even light that takes 10 ms or so for the target.
struct Lit : ApiCamera {
  Lit() : ApiCamera("virtual:k1m,timescale=0.1,scene=flat,flux=200000") { Corner(ORQ_FORMAT_RAW8, 128); }

  void Automatic() const {
    ASSERT_EQ(orq_control_set(camera, ORQ_CONTROL_EXPOSURE, 1000, ORQ_MANUAL), ORQ_OK);
    ASSERT_EQ(orq_control_set(camera, ORQ_CONTROL_EXPOSURE, 0, ORQ_AUTOMATIC), ORQ_OK) << orq_last_error();
  }
  orq_automatic_state State() const {
    orq_automatic_state state{};
    state.size = sizeof state;
    EXPECT_EQ(orq_automatic_get(camera, &state), ORQ_OK) << orq_last_error();
    return state;
  }
};

TEST(ApiAutomatic, ItSettlesOnItsTargetAndOnANewOne) {
  const Lit lit;
  lit.Automatic();
  ASSERT_EQ(orq_video_start(lit.camera), ORQ_OK);
  std::uint64_t before = 0;
  for (const int32_t target : {80, 140}) {
    ASSERT_EQ(orq_control_set(lit.camera, ORQ_CONTROL_AUTO_TARGET_BRIGHTNESS, target, ORQ_MANUAL), ORQ_OK);
    EXPECT_EQ(lit.State().settled, 0) << "what was before is no longer so";
    ASSERT_EQ(orq_automatic_wait(lit.camera, kPatience), ORQ_OK) << orq_last_error();
    const orq_automatic_state state = lit.State();
    EXPECT_EQ(state.target, target);
    EXPECT_NEAR(state.mean, target, 20);
    EXPECT_EQ(state.on_target, 1);
    EXPECT_EQ(state.settled, 1);
    EXPECT_EQ(state.wb_r, 0) << "not automatic";
    EXPECT_GT(state.exposure_us, before);
    before = state.exposure_us;
  }
  int64_t exposure = 0;
  ASSERT_EQ(orq_control_get(lit.camera, ORQ_CONTROL_EXPOSURE, &exposure, nullptr), ORQ_OK);
  EXPECT_EQ(static_cast<std::uint64_t>(exposure), before);
}

TEST(ApiAutomatic, WithoutAnAutomaticControlOrAVideoThereIsNothingToWaitFor) {
  const Lit lit;
  orq_automatic_state state{};
  state.size = sizeof state;
  EXPECT_EQ(orq_automatic_get(lit.camera, &state), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_automatic_wait(lit.camera, kPatience), ORQ_ERROR_STATE);
  lit.Automatic();
  EXPECT_EQ(orq_automatic_wait(lit.camera, kPatience), ORQ_ERROR_STATE);
}

// Frames of a minute: nothing is measured meanwhile.
class ApiAutomaticWait : public ::testing::Test {
 protected:
  ApiAutomaticWait() {
    slow.Corner();
    EXPECT_EQ(orq_control_set(slow.camera, ORQ_CONTROL_GAIN, 0, ORQ_AUTOMATIC), ORQ_OK) << orq_last_error();
    EXPECT_EQ(orq_control_set(slow.camera, ORQ_CONTROL_EXPOSURE, 60'000'000, ORQ_MANUAL), ORQ_OK);
    EXPECT_EQ(orq_video_start(slow.camera), ORQ_OK) << orq_last_error();
  }
  std::future<orq_status> Wait() {
    return test::Waiting([this] { return orq_automatic_wait(slow.camera, kPatience); });
  }

  const ApiCamera slow{"virtual:k1m,scene=flat"};
};

TEST_F(ApiAutomaticWait, EndsWithItsTime) {
  EXPECT_EQ(orq_automatic_wait(slow.camera, 0.3), ORQ_ERROR_TIMEOUT);
}

TEST_F(ApiAutomaticWait, EndsWithAnAbort) {
  auto waiter = Wait();
  ASSERT_EQ(orq_capture_abort(slow.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_CANCELLED);
}

TEST_F(ApiAutomaticWait, EndsWithTheVideo) {
  auto waiter = Wait();
  ASSERT_EQ(orq_video_stop(slow.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_CANCELLED);
}

TEST_F(ApiAutomaticWait, EndsWithTheCamera) {
  auto waiter = Wait();
  ASSERT_EQ(orq_camera_close(slow.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_CANCELLED);
}

TEST_F(ApiAutomaticWait, EndsWithALoss) {
  auto waiter = Wait();
  ASSERT_EQ(orq_camera_unplug_virtual(slow.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_LOST) << orq_last_error();
}

}  // namespace
}  // namespace orq
