// What else the C interface offers: fitting regions, time marks, frames among threads, hot pixels, the profile.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>

#include "Camera.h"
#include "models/table/ModelData.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

void Expose(const ApiCamera& camera, ApiFrame& frame, std::uint64_t exposureUs = 1000) {
  ASSERT_EQ(orq_exposure_start(camera.camera, exposureUs), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
}

std::map<std::string, std::string> Header(const ApiFrame& frame) {
  std::map<std::string, std::string> texts;
  int32_t count = 0;
  EXPECT_EQ(orq_frame_header_count(frame.frame, &count), ORQ_OK) << orq_last_error();
  for (int32_t i = 0; i < count; ++i) {
    orq_card card{};
    card.size = sizeof card;
    EXPECT_EQ(orq_frame_header_card(frame.frame, i, &card), ORQ_OK) << orq_last_error();
    texts[card.name] = card.text;
  }
  return texts;
}

TEST(ApiRegions, AreFittedToTheModelsStepsWithoutBeingSet) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    camera.Corner();
    orq_camera_info info{};
    info.size = sizeof info;
    ASSERT_EQ(orq_camera_get_info(camera.camera, &info), ORQ_OK);
    const orq_region wanted{sizeof wanted,
                            info.start_x_step + 1,
                            info.start_y_step + 1,
                            128 + info.width_step - 1,
                            128 + info.height_step - 1,
                            1,
                            ORQ_FORMAT_RAW8,
                            0};
    orq_region fitted{};
    fitted.size = sizeof fitted;
    ASSERT_EQ(orq_region_fit(camera.camera, &wanted, &fitted), ORQ_OK) << model.key << orq_last_error();
    EXPECT_EQ(fitted.width, wanted.width / info.width_step * info.width_step) << model.key;
    EXPECT_EQ(fitted.height, wanted.height / info.height_step * info.height_step) << model.key;
    EXPECT_EQ(fitted.start_x, wanted.start_x / info.start_x_step * info.start_x_step) << model.key;
    EXPECT_EQ(fitted.start_y, wanted.start_y / info.start_y_step * info.start_y_step) << model.key;
    orq_region now{};
    now.size = sizeof now;
    ASSERT_EQ(orq_region_get(camera.camera, &now), ORQ_OK);
    EXPECT_EQ(now.width, 64) << "nothing was set";
    const orq_region tooWide{sizeof tooWide, 0, 0, info.sensor_width + info.width_step, 64, 1, ORQ_FORMAT_RAW8, 0};
    EXPECT_EQ(orq_region_fit(camera.camera, &tooWide, &fitted), ORQ_ERROR_RANGE) << model.key;
  }
}

TEST(ApiTimeMark, IsPrintedIntoFramesWhileItIsOn) {
  const ApiCamera camera(Quick("k1c"));
  camera.Corner(ORQ_FORMAT_RAW8, 256);
  for (const bool on : {true, false}) {
    ASSERT_EQ(orq_time_mark_set(camera.camera, on ? 1 : 0), ORQ_OK) << orq_last_error();
    ApiFrame frame;
    Expose(camera, frame);
    EXPECT_EQ(frame.Pixels() != camera.Device().SentPayload(frame.Info().sequence), on);
  }
}

TEST(ApiFrames, LiveUntilTheLastOfManyThreadsLetsGo) {
  const ApiCamera camera(Quick("k1c"));
  camera.Corner();
  ApiFrame frame;
  Expose(camera, frame);
  const std::vector<std::uint8_t> before = frame.Pixels();
  std::vector<std::future<bool>> holders;
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(orq_frame_retain(frame.frame), ORQ_OK);
    holders.push_back(std::async(std::launch::async, [&before, held = frame.frame] {
      ApiFrame own;
      own.frame = held;
      for (int round = 0; round < 1000; ++round) {
        if (orq_frame_retain(held) != ORQ_OK) return false;
        orq_frame_release(held);
      }
      return own.Pixels() == before;
    }));
  }
  orq_frame_release(std::exchange(frame.frame, nullptr));
  for (auto& holder : holders) EXPECT_TRUE(holder.get());
}

TEST(ApiHotPixels, OfADarkAreStoredInFlashAndRepairedFromThenOn) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:k1c,timescale=0.01,scene=dark");
  const std::string backups = folder.File("backups");
  EXPECT_EQ(orq_hot_pixels_save(camera.camera, backups.c_str(), nullptr, nullptr), ORQ_ERROR_STATE) << "no dark";
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 10'000'000, ORQ_MANUAL), ORQ_OK);
  const orq_dark_options one{sizeof one, 1, 0, 0};
  orq_dark_info dark{};
  dark.size = sizeof dark;
  ASSERT_EQ(orq_dark_take(camera.camera, folder.File("dark.bmp").c_str(), &one, nullptr, nullptr, &dark), ORQ_OK)
      << orq_last_error();
  ASSERT_GT(dark.hot_pixels, 0);
  int told = 0;
  const auto tell = [](void* user, const orq_flash_progress* at) {
    EXPECT_LE(at->done, at->total);
    ++*static_cast<int*>(user);
  };
  ASSERT_EQ(orq_hot_pixels_save(camera.camera, backups.c_str(), tell, &told), ORQ_OK) << orq_last_error();
  EXPECT_GT(told, 0);
  EXPECT_FALSE(std::filesystem::is_empty(backups));
  camera.Corner();
  for (const bool on : {true, false}) {
    ASSERT_EQ(orq_hot_pixels_repair(camera.camera, on ? 1 : 0), ORQ_OK) << orq_last_error();
    ApiFrame frame;
    Expose(camera, frame);
    EXPECT_EQ((frame.Info().corrections & ORQ_CORRECTED_HOT_PIXELS) != 0, on);
  }
}

TEST(ApiProfile, StandsInFilesBesideWhatTheProgramSays) {
  const TempDirectory folder;
  ::setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
  const ApiCamera camera(Quick("k1c"));
  camera.Corner();
  ASSERT_EQ(orq_profile_apply(camera.camera), ORQ_OK) << "there is none";
  std::filesystem::create_directories(folder.Path() / "orqcam");
  const auto write = [&folder](const char* text) {
    std::ofstream(folder.Path() / "orqcam" / "profile.json") << text;
  };
  write(R"({"telescope": "Newton 150/750", "observer": "Ada"})");
  ASSERT_EQ(orq_keyword_set(camera.camera, "TELESCOP=another"), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_profile_apply(camera.camera), ORQ_OK) << orq_last_error();
  ApiFrame frame;
  Expose(camera, frame);
  EXPECT_EQ(Header(frame)["OBSERVER"], "Ada");
  EXPECT_EQ(Header(frame)["TELESCOP"], "another") << "what the program has set stays";
  ASSERT_EQ(orq_keywords_clear(camera.camera), ORQ_OK);
  ASSERT_EQ(orq_profile_apply(camera.camera), ORQ_OK);
  ApiFrame next;
  Expose(camera, next);
  EXPECT_EQ(Header(next)["TELESCOP"], "Newton 150/750");
  write("{");
  EXPECT_EQ(orq_profile_apply(camera.camera), ORQ_ERROR_FILE);
  ::unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace orq
