// Cameras under everything at once: nothing hangs, every answer is one that the interface promises.
#include <functional>
#include <random>
#include <set>

#include "Camera.h"
#include "models/table/ModelData.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::Eventually;
using test::kPatienceMs;
using Clock = std::chrono::steady_clock;
using Random = std::minstd_rand;

constexpr std::chrono::milliseconds kTourOfAModel{700};

std::vector<std::string> Models() {
  std::vector<std::string> names;
  for (const ModelData& model : AllModels())
    if (model.maxWidth != 0) names.push_back("virtual:" + std::string(model.key) + ",timescale=0");
  return names;
}

int Below(Random& random, int bound) {
  return std::uniform_int_distribution<int>(0, bound - 1)(random);
}

void Pause(Random& random, int mostUs) {
  std::this_thread::sleep_for(std::chrono::microseconds(Below(random, mostUs)));
}

void ExpectOneOf(orq_status status, const std::set<orq_status>& documented, const char* what) {
  EXPECT_TRUE(documented.contains(status)) << what << ": " << orq_status_name(status) << ", " << orq_last_error();
}

std::uint64_t Checksum(const ApiFrame& frame) {
  std::uint64_t sum = 14695981039346656037ULL;
  for (const std::uint8_t byte : frame.Pixels()) sum = (sum ^ byte) * 1099511628211ULL;
  return sum;
}

orq_region SomeRegion(Random& random) {
  const int side = 64 + 32 * Below(random, 3);
  return {sizeof(orq_region),
          16 * Below(random, 8),
          16 * Below(random, 8),
          side,
          side,
          1 + Below(random, 2),
          Below(random, 4),
          0};
}

void TakeExposure(const ApiCamera& camera, Random& random) {
  const orq_status started = orq_exposure_start(camera.camera, 500U + static_cast<unsigned>(Below(random, 2000)));
  ASSERT_EQ(started, ORQ_OK) << orq_last_error();
  ApiFrame frame;
  const orq_status status = orq_frame_wait(camera.camera, kPatienceMs, &frame.frame);
  ExpectOneOf(status, {ORQ_OK, ORQ_ERROR_CANCELLED, ORQ_ERROR_STATE}, "the wait for an exposure");
}

void TakeVideo(const ApiCamera& camera, Random& random) {
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
  orq_status status = ORQ_OK;
  for (int left = Below(random, 10); left > 0 && status == ORQ_OK; --left) {
    ApiFrame frame;
    status = orq_frame_wait(camera.camera, kPatienceMs, &frame.frame);
    ExpectOneOf(status, {ORQ_OK, ORQ_ERROR_CANCELLED, ORQ_ERROR_STATE}, "the wait for a video's frame");
  }
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK) << orq_last_error();
}

void TakeFrames(const ApiCamera& camera, Random& random) {
  const orq_region region = SomeRegion(random);
  ExpectOneOf(orq_region_set(camera.camera, &region, nullptr), {ORQ_OK, ORQ_ERROR_RANGE}, "a region");
  if (Below(random, 2) == 0)
    TakeExposure(camera, random);
  else
    TakeVideo(camera, random);
}

void SetControl(const ApiCamera& camera, Random& random) {
  int32_t count = 0;
  ASSERT_EQ(orq_control_count(camera.camera, &count), ORQ_OK) << orq_last_error();
  orq_control_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_control_describe(camera.camera, Below(random, count), &info), ORQ_OK) << orq_last_error();
  // The hub takes the camera off the bus.
  if (info.writable == 0 || info.id == ORQ_CONTROL_HUB_RESET) return;
  const bool automatic = info.automatic != 0 && Below(random, 2) == 0;
  const std::int64_t most = info.id == ORQ_CONTROL_EXPOSURE ? 5000 : info.maximum;
  const auto value = std::uniform_int_distribution<std::int64_t>(info.minimum, most)(random);
  const orq_status status = orq_control_set(camera.camera, info.id, value, automatic ? ORQ_AUTOMATIC : ORQ_MANUAL);
  // Mono bin would leave no colours in colour frames.
  if (info.id == ORQ_CONTROL_MONO_BIN && status == ORQ_ERROR_REFUSED) return;
  EXPECT_EQ(status, ORQ_OK) << info.name << " " << value << ": " << orq_last_error();
}

void UseReader(const ApiCamera& camera, Random& random) {
  const orq_reader_options options{sizeof options, Below(random, 2), 1 + Below(random, 16), 0};
  orq_reader* reader = nullptr;
  ASSERT_EQ(orq_reader_open(camera.camera, &options, &reader), ORQ_OK) << orq_last_error();
  for (int i = Below(random, 4); i > 0; --i) {
    ApiFrame frame;
    ExpectOneOf(orq_reader_wait(reader, Below(random, 6), &frame.frame),
                {ORQ_OK, ORQ_ERROR_TIMEOUT, ORQ_ERROR_CANCELLED, ORQ_ERROR_STATE}, "a reader");
  }
  orq_reader_release(reader);
}

void Abort(const ApiCamera& camera, Random& random) {
  Pause(random, 3000);
  const auto begin = Clock::now();
  EXPECT_EQ(orq_capture_abort(camera.camera), ORQ_OK) << orq_last_error();
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10));  // half a second, on a computer that does little else
}

/// Each on a thread of its own, over and over.
void Together(const ApiCamera& camera, const std::vector<void (*)(const ApiCamera&, Random&)>& works) {
  const auto end = Clock::now() + kTourOfAModel;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < works.size(); ++i) {
    threads.emplace_back([&camera, end, work = works[i], seed = i + 1] {
      Random random(static_cast<Random::result_type>(seed));
      while (Clock::now() < end && !testing::Test::HasFailure()) work(camera, random);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void ExpectTheNextExposure(const ApiCamera& camera, const std::string& when) {
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1300), ORQ_OK) << when << ": " << orq_last_error();
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << when << ": " << orq_last_error();
  EXPECT_EQ(frame.Info().exposure_us, 1300U) << when;
  EXPECT_EQ(frame.Info().width, 64) << when;
}

TEST(ApiTour, FramesAbortsControlsAndReadersAtOnceOnEveryModel) {
  for (const std::string& name : Models()) {
    const ApiCamera camera(name);
    camera.Corner();
    ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
    ApiFrame kept;
    ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &kept.frame), ORQ_OK) << orq_last_error();
    const std::uint64_t before = Checksum(kept);
    Together(camera, {TakeFrames, Abort, SetControl, UseReader, UseReader});
    ASSERT_FALSE(HasFailure()) << name;
    ExpectTheNextExposure(camera, name);
    EXPECT_EQ(Checksum(kept), before) << name << ": a kept frame was written to";
  }
}

using Step = std::function<orq_status(orq_camera*)>;

std::vector<Step> Steps() {
  const auto setGain = [](orq_camera* camera) {
    return orq_control_set(camera, ORQ_CONTROL_GAIN, 10, ORQ_MANUAL);
  };
  const auto setRegion = [](orq_camera* camera) {
    const orq_region region{sizeof region, 0, 0, 128, 128, 1, ORQ_FORMAT_RAW16, 0};
    return orq_region_set(camera, &region, nullptr);
  };
  const auto expose = [](orq_camera* camera) { return orq_exposure_start(camera, 1000); };
  const auto wait = [](orq_camera* camera) {
    ApiFrame frame;
    return orq_frame_wait(camera, kPatienceMs, &frame.frame);
  };
  const auto readTemperature = [](orq_camera* camera) {
    double celsius = 0.0;
    return orq_temperature_get(camera, &celsius);
  };
  const auto cool = [](orq_camera* camera) { return orq_cooler_set(camera, 1, 0.0, 0); };
  const auto awaitCold = [](orq_camera* camera) { return orq_cooler_wait(camera, 0.2); };
  const auto automatic = [](orq_camera* camera) {
    return orq_control_set(camera, ORQ_CONTROL_GAIN, 0, ORQ_AUTOMATIC);
  };
  const auto highSpeed = [](orq_camera* camera) {
    return orq_control_set(camera, ORQ_CONTROL_HIGH_SPEED, 1, ORQ_MANUAL);
  };
  const auto guide = [](orq_camera* camera) { return orq_guide_pulse(camera, ORQ_GUIDE_NORTH, 5); };
  return {setGain,         setRegion, expose,    wait,   readTemperature,  cool,      awaitCold,
          orq_video_start, wait,      automatic, guide,  highSpeed,        setRegion, wait,
          orq_video_stop,  expose,    wait,      expose, orq_capture_abort};
}

/// All steps, with the cable pulled `delayUs` after the one with the number `pulled` has begun.
void WalkWithoutCable(const ApiCamera& camera, std::size_t pulled, int delayUs) {
  const std::vector<Step> steps = Steps();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    std::thread puller;
    if (i == pulled) {
      puller = std::thread([&camera, delayUs] {
        std::this_thread::sleep_for(std::chrono::microseconds(delayUs));
        EXPECT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
      });
    }
    const orq_status status = steps[i](camera.camera);
    const std::set<orq_status> documented{ORQ_OK,          ORQ_ERROR_LOST,    ORQ_ERROR_UNSUPPORTED,
                                          ORQ_ERROR_STATE, ORQ_ERROR_TIMEOUT, ORQ_ERROR_REFUSED,
                                          ORQ_ERROR_RANGE};
    ExpectOneOf(status, documented, ("step " + std::to_string(i)).c_str());
    EXPECT_TRUE(i >= pulled || status != ORQ_ERROR_LOST) << i << ": " << orq_last_error();
    if (puller.joinable()) puller.join();
  }
}

void PlugInAgain(const ApiCamera& camera) {
  orq_region region{};
  region.size = sizeof region;
  ASSERT_TRUE(Eventually([&] { return orq_region_get(camera.camera, &region) == ORQ_ERROR_LOST; }));
  ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
  ASSERT_EQ(orq_camera_reopen(camera.camera), ORQ_OK) << orq_last_error();
}

TEST(ApiTour, TheCableIsPulledAtEveryStep) {
  const ApiCamera camera("virtual:t46c,timescale=0");
  Random random(7);
  for (std::size_t pulled = 0; pulled < Steps().size(); ++pulled) {
    camera.Corner();
    WalkWithoutCable(camera, pulled, Below(random, 1500));
    ASSERT_FALSE(HasFailure()) << "pulled at step " << pulled;
    PlugInAgain(camera);
    ExpectTheNextExposure(camera, "after a pull at step " + std::to_string(pulled));
  }
}

TEST(ApiTour, AVideoGoesOnHoweverOftenTheCableSlips) {
  const orq_open_options options{sizeof options, ORQ_SETTINGS_OFF, 0, 1, ""};
  const ApiCamera camera("virtual:k1c,timescale=0", &options);
  camera.Corner();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  Random random(11);
  for (int slip = 0; slip < 25; ++slip) {
    ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
    Pause(random, 400'000);
    ASSERT_EQ(orq_camera_replug_virtual(camera.camera), ORQ_OK);
    Pause(random, 1 + 20'000 * (slip % 10));
  }
  ApiFrame frame;
  ASSERT_TRUE(Eventually([&] { return orq_frame_wait(camera.camera, 100, &frame.frame) == ORQ_OK; }))
      << orq_last_error();
  EXPECT_EQ(orq_video_stop(camera.camera), ORQ_OK) << orq_last_error();
}

}  // namespace
}  // namespace orq
