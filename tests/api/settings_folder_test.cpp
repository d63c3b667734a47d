// Settings that a camera keeps, each in the folder that it was opened with.
#include <filesystem>

#include "Camera.h"
#include "settings/XmlStore.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

class ApiSettingsFolder : public ::testing::Test {
 protected:
  ApiSettingsFolder() {
    EnableXmlStore(true);
    ::setenv("XDG_CONFIG_HOME", folder.File("home").c_str(), 1);
  }
  ~ApiSettingsFolder() override {
    ::unsetenv("XDG_CONFIG_HOME");
    EnableXmlStore(false);
  }

  orq_open_options Options(int32_t settings, const std::string& name) const {
    orq_open_options options{};
    options.size = sizeof options;
    options.settings = settings;
    if (!name.empty()) std::snprintf(options.settings_folder, sizeof options.settings_folder, "%s", name.c_str());
    return options;
  }
  /// A camera's gain when it is opened with these settings.
  std::int64_t GainIn(const std::string& name) const {
    const orq_open_options options = Options(ORQ_SETTINGS_LOAD, name);
    const ApiCamera camera(Quick("k1c"), &options);
    std::int64_t gain = -1;
    EXPECT_EQ(orq_control_get(camera.camera, ORQ_CONTROL_GAIN, &gain, nullptr), ORQ_OK);
    return gain;
  }

  const TempDirectory folder;
};

void SetGain(const ApiCamera& camera, std::int64_t gain) {
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_GAIN, gain, ORQ_MANUAL), ORQ_OK) << orq_last_error();
}

/// Settings are kept when a video stops.
void Keep(const ApiCamera& camera) {
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
}

TEST_F(ApiSettingsFolder, TwoCamerasOfOneModelKeepThemApart) {
  const std::string here = folder.File("here");
  const std::string there = folder.File("deep/there");
  const orq_open_options inHere = Options(ORQ_SETTINGS_LOAD_AND_KEEP, here);
  const orq_open_options inThere = Options(ORQ_SETTINGS_LOAD_AND_KEEP, there);
  const orq_open_options inHome = Options(ORQ_SETTINGS_LOAD_AND_KEEP, "");
  {
    const ApiCamera first(Quick("k1c"), &inHere);
    const ApiCamera second(Quick("k1c"), &inThere);
    const ApiCamera third(Quick("k1c"), &inHome);
    int64_t gain = 41;
    for (const ApiCamera* camera : {&first, &second, &third}) {
      camera->Corner();
      SetGain(*camera, gain++);
    }
    for (const ApiCamera* camera : {&third, &first, &second}) Keep(*camera);
  }
  EXPECT_EQ(GainIn(here), 41);
  EXPECT_EQ(GainIn(there), 42);
  EXPECT_EQ(GainIn(""), 43);
  EXPECT_TRUE(std::filesystem::exists(folder.File("home/orqcam/ORQconfig.xml")));
}

TEST_F(ApiSettingsFolder, WhatAProgramKeepsGoesThereToo) {
  for (const int32_t settings : {ORQ_SETTINGS_OFF, ORQ_SETTINGS_LOAD}) {
    const std::string mine = folder.File("mine" + std::to_string(settings));
    const orq_open_options options = Options(settings, mine);
    const ApiCamera camera(Quick("k1c"), &options);
    SetGain(camera, 37);
    ASSERT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
    EXPECT_EQ(GainIn(mine), 37);
    EXPECT_NE(GainIn(""), 37);
  }
}

TEST_F(ApiSettingsFolder, AFolderIsThatOfTheOpeningWhereverTheProgramGoes) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  const orq_open_options options = Options(ORQ_SETTINGS_LOAD_AND_KEEP, "mine");
  const ApiCamera camera(Quick("k1c"), &options);
  camera.Corner();
  SetGain(camera, 55);
  std::filesystem::current_path(before);
  Keep(camera);
  EXPECT_EQ(GainIn(folder.File("mine")), 55);
}

TEST_F(ApiSettingsFolder, NothingIsKeptUnlessItIsAskedFor) {
  for (const int32_t settings : {ORQ_SETTINGS_OFF, ORQ_SETTINGS_LOAD}) {
    const orq_open_options options = Options(settings, folder.File("none"));
    const ApiCamera camera(Quick("k1c"), &options);
    camera.Corner();
    Keep(camera);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(ApiSettingsFolder, AFolderThatCannotBeIsRefused) {
  orq_open_options options = Options(ORQ_SETTINGS_LOAD, "");
  std::fill(std::begin(options.settings_folder), std::end(options.settings_folder), 'x');
  orq_camera* camera = nullptr;
  EXPECT_EQ(orq_camera_open("virtual:k1c", &options, &camera), ORQ_ERROR_INVALID) << "it has no end";
  const char* const home = std::getenv("HOME");
  const std::string homeBefore = home == nullptr ? "" : home;
  ::unsetenv("XDG_CONFIG_HOME");
  ::unsetenv("HOME");
  options = Options(ORQ_SETTINGS_LOAD, "");
  EXPECT_EQ(orq_camera_open("virtual:k1c", &options, &camera), ORQ_ERROR_FILE) << "nothing says where";
  if (home != nullptr) ::setenv("HOME", homeBefore.c_str(), 1);
}

}  // namespace
}  // namespace orq
