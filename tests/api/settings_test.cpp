// What is kept from one run to the next, through the C interface.
#include <cstdlib>
#include <fstream>
#include <optional>

#include "Camera.h"
#include "settings/XmlStore.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::Quick;

class ApiSettings : public testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CONFIG_HOME", folder_.Path().c_str(), 1);
    EnableXmlStore(true);
  }
  void TearDown() override {
    EnableXmlStore(false);
    unsetenv("XDG_CONFIG_HOME");
  }

  static std::string Path() {
    orq_path path{};
    path.size = sizeof path;
    EXPECT_EQ(orq_settings_path(&path), ORQ_OK) << orq_last_error();
    return path.path;
  }
  static std::int64_t Gain(const ApiCamera& camera) {
    std::int64_t gain = -1;
    EXPECT_EQ(orq_control_get(camera.camera, ORQ_CONTROL_GAIN, &gain, nullptr), ORQ_OK) << orq_last_error();
    return gain;
  }
  /// The text of the camera's next event of that kind.
  static std::optional<std::string> Told(const ApiCamera& camera, std::int32_t kind) {
    orq_event event{};
    event.size = sizeof event;
    while (orq_event_next(camera.camera, &event) == ORQ_OK) {
      if (event.kind == kind) return event.text;
    }
    return std::nullopt;
  }

  TempDirectory folder_;
  orq_open_options load_{sizeof load_, ORQ_SETTINGS_LOAD, 0, 0, ""};
};

TEST_F(ApiSettings, WhatIsKeptIsWhatLaterRunsStartWith) {
  EXPECT_EQ(Path(), folder_.Path().string() + "/orqcam/ORQconfig.xml");
  {
    const ApiCamera camera(Quick("k1c"), &load_);
    EXPECT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_GAIN, 42, ORQ_MANUAL), ORQ_OK);
    EXPECT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 2'000'000, ORQ_MANUAL), ORQ_OK);
    EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
    EXPECT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_GAIN, 7, ORQ_MANUAL), ORQ_OK);
  }
  const ApiCamera later(Quick("k1c"), &load_);
  EXPECT_EQ(Gain(later), 42);
  std::int64_t exposure = 0;
  EXPECT_EQ(orq_control_get(later.camera, ORQ_CONTROL_EXPOSURE, &exposure, nullptr), ORQ_OK);
  EXPECT_EQ(exposure, ORQ_LONGEST_KEPT_EXPOSURE_US);
  EXPECT_EQ(Told(later, ORQ_EVENT_SETTINGS), std::nullopt);
  EXPECT_EQ(Gain(ApiCamera(Quick("k1c"))), 0) << "without settings";
}

TEST_F(ApiSettings, ADamagedFileIsToldAndSetAside) {
  const std::string path = Path();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << "wreck";
  const ApiCamera camera(Quick("k1c"), &load_);
  const auto told = Told(camera, ORQ_EVENT_SETTINGS);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->rfind("going on without kept settings: ", 0), 0U) << *told;
  EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
  const auto aside = Told(camera, ORQ_EVENT_SETTINGS);
  ASSERT_TRUE(aside);
  EXPECT_NE(aside->find(".damaged-1"), std::string::npos) << *aside;
}

TEST_F(ApiSettings, WithoutAPlaceNothingIsKept) {
  const ApiCamera camera;
  std::ofstream(folder_.Path() / "orqcam") << "no folder";
  EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_ERROR_FILE);
  EXPECT_STRNE(orq_last_error(), "");
  const char* const home = std::getenv("HOME");
  const std::string before = home == nullptr ? "" : home;
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("HOME");
  EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_ERROR_FILE);
  orq_path path{};
  path.size = sizeof path;
  EXPECT_EQ(orq_settings_path(&path), ORQ_ERROR_FILE);
  EXPECT_NE(std::string(orq_last_error()).find("HOME or XDG_CONFIG_HOME"), std::string::npos);
  if (home != nullptr) setenv("HOME", before.c_str(), 1);
}

TEST(ApiSettingsRepair, ATableThatIsGoneIsTold) {
  EnableXmlStore(true);
  const TempDirectory folder;
  setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
  const orq_open_options load{sizeof load, ORQ_SETTINGS_LOAD, 0, 0, ""};
  {
    const ApiCamera camera(Quick("k1c"), &load);
    camera.camera->camera->Named().camera->HPC = 1;  // as a user had it who then restored an older flash
    EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
  }
  const ApiCamera later(Quick("k1c"), &load);
  orq_event event{};
  event.size = sizeof event;
  ASSERT_EQ(orq_event_next(later.camera, &event), ORQ_OK) << orq_last_error();
  EXPECT_EQ(event.kind, ORQ_EVENT_UNCORRECTED);
  EXPECT_STREQ(event.text, "hot pixels are not repaired: their table cannot be loaded");
  unsetenv("XDG_CONFIG_HOME");
  EnableXmlStore(false);
}

}  // namespace
}  // namespace orq
