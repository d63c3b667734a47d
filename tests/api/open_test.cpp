// Finding, opening and closing through the C interface.
#include <cstring>
#include <set>

#include "Camera.h"
#include "models/table/ModelData.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::Quick;

orq_camera_info InfoOf(orq_camera* camera) {
  orq_camera_info info{};
  info.size = sizeof info;
  EXPECT_EQ(orq_camera_get_info(camera, &info), ORQ_OK) << orq_last_error();
  return info;
}

TEST(ApiOpen, EveryVirtualModelIsListedOpenedAndDescribed) {
  orq_camera_list* list = nullptr;
  ASSERT_EQ(orq_list_cameras(ORQ_LIST_VIRTUAL, &list), ORQ_OK);
  int32_t count = 0;
  ASSERT_EQ(orq_camera_list_count(list, &count), ORQ_OK);
  std::set<std::string> listed;
  for (int32_t i = 0; i < count; ++i) {
    orq_camera_entry entry{};
    entry.size = sizeof entry;
    ASSERT_EQ(orq_camera_list_get(list, i, &entry), ORQ_OK);
    listed.insert(entry.name);
    const ApiCamera camera(entry.name);
    const orq_camera_info info = InfoOf(camera.camera);
    EXPECT_STREQ(info.model, entry.model);
    EXPECT_EQ(std::strlen(info.serial), 16U);
    EXPECT_EQ(info.speed, entry.speed);
    EXPECT_NE(info.abilities & ORQ_ABILITY_VIRTUAL, 0U);
    EXPECT_GT(info.sensor_width, 0);
    EXPECT_NE(info.bins & 2U, 0U);
    EXPECT_NE(info.formats & 1U << ORQ_FORMAT_RAW16, 0U);
    EXPECT_EQ("virtual:" + std::string(info.key), entry.name);
    EXPECT_NE(std::strlen(entry.summary), 0U);
    const ModelData& model = *FindModel(info.key);
    EXPECT_EQ((std::vector{info.width_step, info.height_step, info.start_x_step, info.start_y_step,
                           info.least_width, info.least_height}),
              (std::vector{model.region.widthStep, model.region.heightStep, model.region.startXStep,
                           model.region.startYStep, model.region.minWidth, model.region.minHeight}));
    // The gain is 0, its factor 1.
    EXPECT_EQ(info.electrons_per_adu, static_cast<double>(model.baseElectronsPerAdu));
    EXPECT_EQ((info.abilities & ORQ_ABILITY_USB3) != 0, model.usb3Camera);
  }
  orq_camera_list_release(list);
  std::set<std::string> models;
  for (const ModelData& model : AllModels())
    if (model.maxWidth != 0) models.insert("virtual:" + std::string(model.key));
  EXPECT_EQ(listed, models);
}

TEST(ApiOpen, TheReplayIsListedForThoseWhoAskForIt) {
  orq_camera_list* list = nullptr;
  ASSERT_EQ(orq_list_cameras(ORQ_LIST_REPLAY, &list), ORQ_OK);
  int32_t count = 0;
  ASSERT_EQ(orq_camera_list_count(list, &count), ORQ_OK);
  EXPECT_EQ(count, 1);
  orq_camera_entry entry{};
  entry.size = sizeof entry;
  ASSERT_EQ(orq_camera_list_get(list, 0, &entry), ORQ_OK);
  EXPECT_STREQ(entry.name, "virtual:replay");
  orq_camera_list_release(list);
}

TEST(ApiOpen, ANameThatMeansNoCameraSaysWhatIsWrongWithIt) {
  orq_camera* camera = nullptr;
  EXPECT_EQ(orq_camera_open("virtual:nothing", nullptr, &camera), ORQ_ERROR_INVALID);
  EXPECT_NE(std::string(orq_last_error()).find("there are k1c"), std::string::npos) << orq_last_error();
  EXPECT_EQ(orq_camera_open("what is this", nullptr, &camera), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_camera_open("virtual:k1c,seed=x", nullptr, &camera), ORQ_ERROR_INVALID);
  EXPECT_EQ(camera, nullptr);
}

TEST(ApiOpen, ACameraThatRefusesItsFirstRequestIsNotOpened) {
  orq_camera* camera = nullptr;
  EXPECT_EQ(orq_camera_open("virtual:k1c,refuse=0xE0", nullptr, &camera), ORQ_OK) << orq_last_error();
  orq_camera_release(camera);
}

TEST(ApiOpen, ClosingTwiceIsHarmlessAndEverythingElseAnswersState) {
  const ApiCamera camera;
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  orq_camera_info info{};
  info.size = sizeof info;
  EXPECT_EQ(orq_camera_get_info(camera.camera, &info), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_video_start(camera.camera), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_video_stop(camera.camera), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_capture_abort(camera.camera), ORQ_ERROR_STATE);
  orq_frame* frame = nullptr;
  EXPECT_EQ(orq_frame_wait(camera.camera, 0, &frame), ORQ_ERROR_STATE);
  orq_reader* reader = nullptr;
  EXPECT_EQ(orq_reader_open(camera.camera, nullptr, &reader), ORQ_ERROR_STATE);
}

TEST(ApiOpen, AClosedCameraIsReopenedWithItsRegionAndExposure) {
  const ApiCamera camera;
  camera.Corner(ORQ_FORMAT_RAW16, 96);
  ASSERT_EQ(orq_exposure_start(camera.camera, 7000), ORQ_OK);
  ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  ASSERT_EQ(orq_camera_reopen(camera.camera), ORQ_OK) << orq_last_error();
  orq_region region{};
  region.size = sizeof region;
  ASSERT_EQ(orq_region_get(camera.camera, &region), ORQ_OK);
  EXPECT_EQ(region.width, 96);
  EXPECT_EQ(region.format, ORQ_FORMAT_RAW16);
  ASSERT_EQ(orq_exposure_start(camera.camera, 0), ORQ_OK) << orq_last_error();
  test::ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, test::kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  EXPECT_EQ(frame.Info().exposure_us, 7000U);
  EXPECT_EQ(orq_camera_reopen(camera.camera), ORQ_OK);  // open already: nothing is done
}

TEST(ApiOpen, OptionsThatCannotBeAreInvalid) {
  orq_camera* camera = nullptr;
  orq_open_options options{};
  EXPECT_EQ(orq_camera_open("virtual:k1c", &options, &camera), ORQ_ERROR_INVALID) << "size is 0";
  options.size = sizeof options;
  options.settings = 3;
  EXPECT_EQ(orq_camera_open("virtual:k1c", &options, &camera), ORQ_ERROR_INVALID);
  options.settings = 0;
  options.frame_memory_mb = 0xFFFFFFFF;
  EXPECT_EQ(orq_camera_open("virtual:k1c", &options, &camera), ORQ_ERROR_INVALID);
}

TEST(ApiOpen, AnOlderHeadersStructIsFilledAsFarAsItGoes) {
  const ApiCamera camera;
  orq_camera_info info;
  std::memset(&info, 0x55, sizeof info);
  info.size = offsetof(orq_camera_info, serial);
  ASSERT_EQ(orq_camera_get_info(camera.camera, &info), ORQ_OK);
  EXPECT_STREQ(info.model, "Tavix ORQ-K1C");
  EXPECT_EQ(info.size, offsetof(orq_camera_info, serial));
  EXPECT_EQ(info.serial[0], 0x55);
}

TEST(ApiOpen, ANewerHeadersStructIsFilledUpWithZeros) {
  const ApiCamera camera;
  struct Newer {
    orq_camera_info known;
    unsigned char more[64];
  } info;
  std::memset(&info, 0x55, sizeof info);
  info.known.size = sizeof info;
  ASSERT_EQ(orq_camera_get_info(camera.camera, &info.known), ORQ_OK);
  for (const unsigned char byte : info.more) EXPECT_EQ(byte, 0);
  EXPECT_STREQ(info.known.model, "Tavix ORQ-K1C");
}

}  // namespace
}  // namespace orq
