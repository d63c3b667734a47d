// Settings that a camera keeps, each in the folder that it was opened with.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Camera.h"
#include "orqcam/orqcam.hpp"
#include "settings/XmlStore.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

class ApiSettings : public ::testing::Test {
 protected:
  ApiSettings() {
    EnableXmlStore(true);
    ::setenv("XDG_CONFIG_HOME", folder.File("home").c_str(), 1);
  }
  ~ApiSettings() override {
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

TEST_F(ApiSettings, TwoCamerasOfOneModelKeepThemApart) {
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

TEST_F(ApiSettings, AFolderIsThatOfTheOpeningWhereverTheProgramGoes) {
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

TEST_F(ApiSettings, NothingIsKeptUnlessItIsAskedFor) {
  for (const int32_t settings : {ORQ_SETTINGS_OFF, ORQ_SETTINGS_LOAD}) {
    const orq_open_options options = Options(settings, folder.File("none"));
    const ApiCamera camera(Quick("k1c"), &options);
    camera.Corner();
    Keep(camera);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(ApiSettings, AFolderThatCannotBeIsRefused) {
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

/// The text of the camera's next event of that kind.
std::optional<std::string> Told(const ApiCamera& camera, std::int32_t kind) {
  orq_event event{};
  event.size = sizeof event;
  while (orq_event_next(camera.camera, &event) == ORQ_OK)
    if (event.kind == kind) return event.text;
  return std::nullopt;
}

std::string Path() {
  orq_path path{};
  path.size = sizeof path;
  EXPECT_EQ(orq_settings_path(&path), ORQ_OK) << orq_last_error();
  return path.path;
}

TEST_F(ApiSettings, WhatIsKeptIsWhatLaterRunsStartWith) {
  EXPECT_EQ(Path(), folder.File("home/orqcam/ORQconfig.xml"));
  const orq_open_options load = Options(ORQ_SETTINGS_LOAD, "");
  {
    const ApiCamera camera(Quick("k1c"), &load);
    SetGain(camera, 42);
    EXPECT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 2'000'000, ORQ_MANUAL), ORQ_OK);
    EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
    SetGain(camera, 7);
  }
  EXPECT_EQ(GainIn(""), 42);
  const ApiCamera later(Quick("k1c"), &load);
  std::int64_t exposure = 0;
  EXPECT_EQ(orq_control_get(later.camera, ORQ_CONTROL_EXPOSURE, &exposure, nullptr), ORQ_OK);
  EXPECT_EQ(exposure, ORQ_LONGEST_KEPT_EXPOSURE_US);
  EXPECT_EQ(Told(later, ORQ_EVENT_SETTINGS), std::nullopt);
  EXPECT_EQ(orq_settings_keep(ApiCamera().camera), ORQ_ERROR_STATE) << "opened without settings";
}

TEST_F(ApiSettings, ADamagedFileIsToldAndSetAside) {
  std::filesystem::create_directories(std::filesystem::path(Path()).parent_path());
  std::ofstream(Path()) << "wreck";
  const orq_open_options load = Options(ORQ_SETTINGS_LOAD, "");
  const ApiCamera camera(Quick("k1c"), &load);
  const auto told = Told(camera, ORQ_EVENT_SETTINGS);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->rfind("going on without kept settings: ", 0), 0U) << *told;
  EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
  const auto aside = Told(camera, ORQ_EVENT_SETTINGS);
  ASSERT_TRUE(aside);
  EXPECT_NE(aside->find(".damaged-1"), std::string::npos) << *aside;
}

TEST_F(ApiSettings, WhatCannotBeKeptIsAFailure) {
  std::ofstream(folder.File("home")) << "no folder";
  const orq_open_options load = Options(ORQ_SETTINGS_LOAD, "");
  const ApiCamera camera(Quick("k1c"), &load);
  EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_ERROR_FILE);
  EXPECT_STRNE(orq_last_error(), "");
  const char* const home = std::getenv("HOME");
  const std::string before = home == nullptr ? "" : home;
  ::unsetenv("XDG_CONFIG_HOME");
  ::unsetenv("HOME");
  orq_path path{};
  path.size = sizeof path;
  EXPECT_EQ(orq_settings_path(&path), ORQ_ERROR_FILE);
  EXPECT_NE(std::string(orq_last_error()).find("HOME or XDG_CONFIG_HOME"), std::string::npos);
  if (home != nullptr) ::setenv("HOME", before.c_str(), 1);
}

TEST_F(ApiSettings, ATableOfHotPixelsThatIsGoneIsTold) {
  const orq_open_options load = Options(ORQ_SETTINGS_LOAD, "");
  {
    const ApiCamera camera(Quick("k1c"), &load);
    camera.camera->camera->Named().camera->HPC = 1;  // as a user had it who then restored an older flash
    EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
  }
  const ApiCamera later(Quick("k1c"), &load);
  EXPECT_EQ(Told(later, ORQ_EVENT_UNCORRECTED), "hot pixels are not repaired: their table cannot be loaded");
}

TEST_F(ApiSettings, WhatIsKeptIsListedAndForgottenOwnerByOwner) {
  EXPECT_TRUE(settings().empty());
  forgetSettings();
  const orq_open_options load = Options(ORQ_SETTINGS_LOAD, "");
  for (const char* const model : {"k1c", "x26m"}) {
    const ApiCamera camera(Quick(model), &load);
    SetGain(camera, 42);
    EXPECT_EQ(orq_settings_keep(camera.camera), ORQ_OK) << orq_last_error();
  }
  EXPECT_EQ(settingsOwner("virtual:k1c"), "virtual Tavix ORQ-K1C");
  EXPECT_THROW(settingsOwner("virtual:none"), InvalidError);
  EXPECT_THROW(settingsOwner("serial:0123456789abcdef"), NotFoundError);
  int gains = 0;
  bool hasText = false;
  for (const orq_setting& setting : settings()) {
    const std::string name = setting.name;
    if (name == "Exposure") EXPECT_STREQ(setting.unit, "us");
    if (name == "BMPPATH") hasText = setting.is_text == 1;
    if (name != "Gain") continue;
    ++gains;
    EXPECT_EQ(setting.is_text, 0);
    EXPECT_EQ(setting.number, 42);
  }
  EXPECT_EQ(gains, 2);
  EXPECT_TRUE(hasText);
  forgetSettings("virtual Tavix ORQ-K1C");
  ASSERT_FALSE(settings().empty());
  for (const orq_setting& setting : settings()) EXPECT_STREQ(setting.owner, "virtual Tavix ORQ-X26M");
  forgetSettings();
  EXPECT_TRUE(settings().empty());
  std::ofstream(Path()) << "wreck";
  EXPECT_THROW(settings(), FileError);
}

TEST_F(ApiSettings, AProfileIsStatedAsAWhole) {
  EXPECT_STREQ(profile().observer, "");
  EXPECT_TRUE(std::isnan(profile().latitude_deg));
  orq_profile stated = profile();
  std::snprintf(stated.telescope, sizeof stated.telescope, "Newton 150/750");
  stated.latitude_deg = -33.25;
  profile(stated);
  EXPECT_STREQ(profile().telescope, "Newton 150/750");
  EXPECT_EQ(profile().latitude_deg, -33.25);
  EXPECT_TRUE(std::isnan(profile().elevation_m));

  stated.latitude_deg = 90.5;
  try {
    profile(stated);
    ADD_FAILURE();
  } catch (const InvalidError& error) {
    EXPECT_STREQ(error.what(), "latitude 90.5 is not from -90 to 90 deg");
  }
  stated.latitude_deg = 0;
  stated.site[0] = '\n';
  EXPECT_THROW(profile(stated), InvalidError);
  std::fill(std::begin(stated.site), std::end(stated.site), 'x');
  EXPECT_THROW(profile(stated), InvalidError) << "it has no end";
  EXPECT_EQ(profile().latitude_deg, -33.25) << "nothing was changed";
  clearProfile();
  EXPECT_STREQ(profile().telescope, "");
}

TEST_F(ApiSettings, AFileIsWholeOrNotThere) {
  const std::string path = folder.File("report.txt");
  EXPECT_NO_THROW(checkFile(path));
  writeFile(path, "first");
  EXPECT_THROW(checkFile(path), FileError);
  EXPECT_THROW(writeFile(path, "second"), FileError);
  writeFile(path, "second", true);
  std::string text;
  std::getline(std::ifstream(path), text);
  EXPECT_EQ(text, "second");
  EXPECT_THROW(checkFile(folder.File("none/report.txt")), FileError);
}

TEST(ApiLibrary, TellsWhatAReportOfAFaultNeeds) {
  EXPECT_EQ(std::string(orq_usb_version()).rfind("1.", 0), 0U);
  ::setenv("XDG_STATE_HOME", "/tmp/state", 0);  // asked for once in a process
  const std::string log = logPath();
  EXPECT_EQ(log.front(), '/') << log;
  EXPECT_NE(log.find("/orqcam/orqcam.log"), std::string::npos) << log;
}

}  // namespace
}  // namespace orq
