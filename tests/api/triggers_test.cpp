// Camera modes, triggers, outputs, counters and the log through the C interface.
#include <atomic>
#include <cmath>

#include "Camera.h"
#include "models/table/ModelData.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

TEST(ApiTriggers, ASoftwareTriggerTakesAFrameAndOnlyThen) {
  const ApiCamera camera(Quick("k1c", ",fpga=0xC0"));
  camera.Corner();
  uint32_t modes = 0;
  ASSERT_EQ(orq_trigger_get_modes(camera.camera, &modes), ORQ_OK);
  EXPECT_EQ(modes, 0x7FU);
  EXPECT_EQ(orq_trigger_send(camera.camera), ORQ_ERROR_STATE) << "the mode takes none";
  ASSERT_EQ(orq_trigger_set_mode(camera.camera, ORQ_MODE_SOFTWARE), ORQ_OK) << orq_last_error();
  EXPECT_EQ(orq_trigger_send(camera.camera), ORQ_ERROR_STATE) << "no capture listens";
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  orq_frame* none = nullptr;
  EXPECT_EQ(orq_frame_wait(camera.camera, 200, &none), ORQ_ERROR_TIMEOUT);
  EXPECT_EQ(orq_trigger_set_mode(camera.camera, ORQ_MODE_FREE), ORQ_ERROR_STATE);
  ASSERT_EQ(orq_trigger_send(camera.camera), ORQ_OK) << orq_last_error();
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
}

TEST(ApiTriggers, ModesAreThoseThatTheCameraOffers) {
  const ApiCamera edges(Quick("k1c", ",fpga=0xA0"));
  uint32_t modes = 0;
  ASSERT_EQ(orq_trigger_get_modes(edges.camera, &modes), ORQ_OK);
  EXPECT_EQ(modes, 0x0FU);
  EXPECT_EQ(orq_trigger_set_mode(edges.camera, ORQ_MODE_LOW), ORQ_ERROR_UNSUPPORTED);
  EXPECT_EQ(orq_trigger_set_mode(edges.camera, -1), ORQ_ERROR_UNSUPPORTED);
  int32_t mode = -1;
  ASSERT_EQ(orq_trigger_get_mode(edges.camera, &mode), ORQ_OK);
  EXPECT_EQ(mode, ORQ_MODE_FREE);
}

TEST(ApiTriggers, OutputsKeepWhatTheyWereSetTo) {
  const ApiCamera camera(Quick("k1c", ",fpga=0xC0"));
  const orq_trigger_output wanted{sizeof wanted, 0, 25, 1500};
  ASSERT_EQ(orq_trigger_set_output(camera.camera, ORQ_OUTPUT_B, &wanted), ORQ_OK) << orq_last_error();
  orq_trigger_output now{};
  now.size = sizeof now;
  ASSERT_EQ(orq_trigger_get_output(camera.camera, ORQ_OUTPUT_B, &now), ORQ_OK);
  EXPECT_EQ(now.active_high, 0);
  EXPECT_EQ(now.delay_us, 25);
  EXPECT_EQ(now.length_us, 1500);
  const orq_trigger_output negative{sizeof negative, 1, -1, 10};
  EXPECT_EQ(orq_trigger_set_output(camera.camera, ORQ_OUTPUT_A, &negative), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_trigger_set_output(camera.camera, 2, &wanted), ORQ_ERROR_RANGE);
}

TEST(ApiTriggers, ACameraWithoutATriggerUnitHasNone) {
  const ApiCamera camera(Quick("k1c", ",fpga=0x10"));
  uint32_t modes = 0;
  ASSERT_EQ(orq_trigger_get_modes(camera.camera, &modes), ORQ_OK);
  EXPECT_EQ(modes, 1U);
  orq_trigger_output pulse{};
  pulse.size = sizeof pulse;
  EXPECT_EQ(orq_trigger_get_output(camera.camera, ORQ_OUTPUT_A, &pulse), ORQ_ERROR_UNSUPPORTED);
}

TEST(ApiCounters, TheStreamsIdentitiesHold) {
  const ApiCamera camera(Quick("k1c", ",short@2"));
  camera.Corner();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  for (int i = 0; i < 4; ++i) {
    ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK);
  }
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
  orq_stream_counters c{};
  c.size = sizeof c;
  ASSERT_EQ(orq_stream_get_counters(camera.camera, &c), ORQ_OK);
  EXPECT_EQ(c.started, c.completed + c.failed + c.stale + c.dropped + c.aborted + c.filling);
  EXPECT_EQ(c.failed, 1U);
  EXPECT_EQ(c.failed_short, 1U);
  EXPECT_GE(c.completed, 4U);
  EXPECT_GT(c.bytes, 4U * 64 * 64);
}

TEST(ApiCounters, AreToldAlsoOfAClosedCamera) {
  const ApiCamera camera;
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, test::kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  orq_stream_counters counters{};
  counters.size = sizeof counters;
  ASSERT_EQ(orq_stream_get_counters(camera.camera, &counters), ORQ_OK) << orq_last_error();
  EXPECT_EQ(counters.completed, 1U);
}

TEST(ApiReadings, ComeWithFramesUnlessNobodyWantsThem) {
  const ApiCamera camera;
  camera.Corner();
  for (const bool wanted : {true, false}) {
    ASSERT_EQ(orq_frame_readings_set(camera.camera, wanted ? 1 : 0), ORQ_OK);
    ASSERT_EQ(orq_exposure_start(camera.camera, 1'200'000), ORQ_OK);
    ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, test::kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
    EXPECT_EQ(std::isnan(frame.Info().sensor_c), !wanted);
    EXPECT_EQ(frame.Info().real_exposure_ms, wanted ? 1200 : -1);
  }
  orq_exposure_progress progress{};
  progress.size = sizeof progress;
  ASSERT_EQ(orq_exposure_get_progress(camera.camera, &progress), ORQ_OK);
  EXPECT_GT(progress.limit_us, 0U);
}

TEST(ApiGps, FramesHaveGpsTimeFromTheStartAndNotWhenNobodyAsks) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    if (!model.gps) {
      EXPECT_EQ(orq_gps_stamp_every(camera.camera, 0), ORQ_ERROR_UNSUPPORTED) << model.key;
      continue;
    }
    camera.Corner();
    for (const bool asked : {true, false}) {
      ASSERT_EQ(orq_gps_stamp_every(camera.camera, asked ? 0 : -1), ORQ_OK);
      ASSERT_EQ(orq_exposure_start(camera.camera, 20'000), ORQ_OK);
      ApiFrame frame;
      ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
      EXPECT_EQ(frame.Info().time_source, asked ? ORQ_TIME_GPS : ORQ_TIME_COMPUTER);
      // The receiver's time begins with 2030 unless the camera is told otherwise.
      constexpr std::int64_t kBegin2030 = 1'893'456'000;
      const std::int64_t seconds = frame.Info().time_unix_ns / 1'000'000'000;
      EXPECT_EQ(seconds >= kBegin2030 && seconds < kBegin2030 + 3600, asked) << seconds;
    }
  }
}

TEST(ApiLog, DebugLinesGoToTheCallbackUntilItIsTakenBack) {
  std::atomic<int> lines{0};
  const auto count = [](void* user, int32_t level, const char* line) {
    EXPECT_EQ(level, ORQ_LOG_DEBUG);
    EXPECT_NE(line[0], '\0');
    EXPECT_EQ(std::string(line).find('\n'), std::string::npos);
    ++*static_cast<std::atomic<int>*>(user);
  };
  EXPECT_EQ(orq_log_set(9, count, &lines), ORQ_ERROR_INVALID);
  ASSERT_EQ(orq_log_set(ORQ_LOG_DEBUG, count, &lines), ORQ_OK);
  { const ApiCamera camera; }
  EXPECT_GT(lines, 3);
  ASSERT_EQ(orq_log_set(ORQ_LOG_DEBUG, nullptr, nullptr), ORQ_OK);
  const int before = lines;
  { const ApiCamera camera; }
  EXPECT_EQ(lines, before);
}

}  // namespace
}  // namespace orq
