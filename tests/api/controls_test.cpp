// Controls, cooling, guiding and corrections through the C interface.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>

#include "Camera.h"
#include "models/table/ModelData.h"
#include "unit/support/TempDirectory.h"
#include "virtual/device/DeviceReadings.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::Eventually;
using test::kPatienceMs;
using test::Quick;

std::vector<orq_control_info> ControlsOf(orq_camera* camera) {
  int32_t count = 0;
  EXPECT_EQ(orq_control_count(camera, &count), ORQ_OK) << orq_last_error();
  std::vector<orq_control_info> infos(static_cast<std::size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    infos[static_cast<std::size_t>(i)].size = sizeof(orq_control_info);
    EXPECT_EQ(orq_control_describe(camera, i, &infos[static_cast<std::size_t>(i)]), ORQ_OK) << orq_last_error();
  }
  return infos;
}

TEST(ApiControls, EveryWritableControlOfEveryModelTakesItsLimitsAndNothingBeyond) {
  // These do what they say at once, and say nothing of it afterwards.
  const std::set<int32_t> notReadBack = {ORQ_CONTROL_HUB_RESET, ORQ_CONTROL_FAN_ON, ORQ_CONTROL_FAN_SPEED};
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    camera.Corner();
    const auto controls = ControlsOf(camera.camera);
    ASSERT_FALSE(controls.empty());
    for (const orq_control_info& control : controls) {
      const std::string what = std::string(model.key) + " " + control.name;
      int64_t before = 0;
      int32_t mode = -1;
      EXPECT_EQ(orq_control_get(camera.camera, control.id, &before, &mode), ORQ_OK) << what << orq_last_error();
      if (control.writable == 0) {
        EXPECT_EQ(orq_control_set(camera.camera, control.id, before, ORQ_MANUAL), ORQ_ERROR_UNSUPPORTED) << what;
        continue;
      }
      EXPECT_GE(control.default_value, control.minimum) << what;
      EXPECT_LE(control.default_value, control.maximum) << what;
      for (const int64_t beyond : {control.minimum - 1, control.maximum + 1}) {
        EXPECT_EQ(orq_control_set(camera.camera, control.id, beyond, ORQ_MANUAL), ORQ_ERROR_RANGE) << what;
      }
      int64_t now = 0;
      EXPECT_EQ(orq_control_get(camera.camera, control.id, &now, nullptr), ORQ_OK);
      EXPECT_EQ(now, before) << what << ": refused, and changed";
      for (const int64_t value : {control.minimum, control.maximum, control.default_value}) {
        ASSERT_EQ(orq_control_set(camera.camera, control.id, value, ORQ_MANUAL), ORQ_OK)
            << what << orq_last_error();
        if (notReadBack.contains(control.id)) continue;
        ASSERT_EQ(orq_control_get(camera.camera, control.id, &now, &mode), ORQ_OK);
        EXPECT_EQ(now, value) << what;
        EXPECT_EQ(mode, ORQ_MANUAL) << what;
      }
      if (control.automatic == 0) {
        EXPECT_EQ(orq_control_set(camera.camera, control.id, 0, ORQ_AUTOMATIC), ORQ_ERROR_UNSUPPORTED) << what;
      }
      orq_control_info found{};
      found.size = sizeof found;
      ASSERT_EQ(orq_control_find(camera.camera, control.name, &found), ORQ_OK);
      EXPECT_EQ(found.id, control.id);
    }
  }
}

TEST(ApiControls, AControlIsFoundByNameInAnyCaseAndOthersSayWhatThereIs) {
  const ApiCamera camera;
  orq_control_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_control_find(camera.camera, "gAIN", &info), ORQ_OK);
  EXPECT_EQ(info.id, ORQ_CONTROL_GAIN);
  EXPECT_EQ(orq_control_find(camera.camera, "CoolerOn", &info), ORQ_ERROR_UNSUPPORTED);
  EXPECT_EQ(orq_control_find(camera.camera, "shutter", &info), ORQ_ERROR_INVALID);
  int64_t value = 0;
  EXPECT_EQ(orq_control_get(camera.camera, 1000, &value, nullptr), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_control_get(camera.camera, -1, &value, nullptr), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_GAIN, 1, 2), ORQ_ERROR_INVALID);
}

TEST(ApiControls, TheReadoutModeIsOneWhereTheSensorHasSeveralAndFramesSayIt) {
  const ApiCamera camera(Quick("d6m"));
  camera.Corner(ORQ_FORMAT_RAW16, 64);
  orq_control_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_control_find(camera.camera, "readoutmode", &info), ORQ_OK) << orq_last_error();
  EXPECT_EQ(info.id, ORQ_CONTROL_READOUT_MODE);
  EXPECT_STREQ(info.description, "Readout mode:0->High full well 1->Low noise");
  EXPECT_EQ(info.maximum, 1);
  for (const int64_t mode : {1, 0}) {
    ASSERT_EQ(orq_control_set(camera.camera, info.id, mode, ORQ_MANUAL), ORQ_OK) << orq_last_error();
    int64_t value = -1;
    EXPECT_EQ(orq_control_get(camera.camera, info.id, &value, nullptr), ORQ_OK);
    EXPECT_EQ(value, mode);
    ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << orq_last_error();
    ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
    EXPECT_EQ(frame.Info().readout_mode, mode);
    EXPECT_NEAR(frame.Info().electrons_per_adu, (mode == 0 ? 3.8 : 0.95) / 4, 1e-5) << "14 bits in 16";
  }
  EXPECT_EQ(orq_control_set(camera.camera, info.id, 2, ORQ_MANUAL), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_control_find(ApiCamera().camera, "ReadoutMode", &info), ORQ_ERROR_UNSUPPORTED);
}

TEST(ApiControls, AnAutomaticExposureFindsItsTargetWhileVideoRuns) {
  const ApiCamera camera("virtual:k1m,timescale=0.1,scene=flat,flux=200000");
  camera.Corner(ORQ_FORMAT_RAW8, 128);
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 1000, ORQ_MANUAL), ORQ_OK);
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 0, ORQ_AUTOMATIC), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  int64_t exposure = 1000;
  int32_t mode = ORQ_MANUAL;
  EXPECT_TRUE(Eventually([&] {
    ApiFrame frame;
    orq_frame_wait(camera.camera, kPatienceMs, &frame.frame);
    orq_control_get(camera.camera, ORQ_CONTROL_EXPOSURE, &exposure, &mode);
    return exposure > 1000;
  }));
  EXPECT_EQ(mode, ORQ_AUTOMATIC);
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 5000, ORQ_MANUAL), ORQ_OK);
  ASSERT_EQ(orq_control_get(camera.camera, ORQ_CONTROL_EXPOSURE, &exposure, &mode), ORQ_OK);
  EXPECT_EQ(exposure, 5000);
  EXPECT_EQ(mode, ORQ_MANUAL);
}

TEST(ApiControls, OneAfterTheOtherBecomesAutomaticAndManualAgain) {
  const ApiCamera camera;
  constexpr int32_t kControls[] = {ORQ_CONTROL_EXPOSURE, ORQ_CONTROL_GAIN, ORQ_CONTROL_WB_B};
  for (const int32_t mode : {ORQ_AUTOMATIC, ORQ_AUTOMATIC, ORQ_MANUAL}) {
    for (const int32_t id : kControls) {
      int64_t value = 0;
      int32_t now = -1;
      ASSERT_EQ(orq_control_get(camera.camera, id, &value, nullptr), ORQ_OK);
      ASSERT_EQ(orq_control_set(camera.camera, id, value, mode), ORQ_OK) << id << ": " << orq_last_error();
      ASSERT_EQ(orq_control_get(camera.camera, id, &value, &now), ORQ_OK);
      EXPECT_EQ(now, mode) << id;
    }
  }
}

TEST(ApiCooler, TheSensorReachesItsTargetAndWarmsUpAgain) {
  const ApiCamera camera("virtual:x26m,timescale=0.001");
  ASSERT_EQ(orq_cooler_set(camera.camera, 1, 10.0, 0), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_cooler_wait(camera.camera, 60.0), ORQ_OK) << orq_last_error();
  orq_cooler_state state{};
  state.size = sizeof state;
  ASSERT_EQ(orq_cooler_get(camera.camera, &state), ORQ_OK);
  EXPECT_EQ(state.on, 1);
  EXPECT_EQ(state.target_c, 10.0);
  EXPECT_NEAR(state.sensor_c, 10.0, 0.5);
  EXPECT_GT(state.power, 0.0);
  double celsius = 0.0;
  ASSERT_EQ(orq_temperature_get(camera.camera, &celsius), ORQ_OK);
  EXPECT_NEAR(celsius, 10.0, 0.5);
  ASSERT_EQ(orq_cooler_warm_up(camera.camera, 60.0), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_cooler_get(camera.camera, &state), ORQ_OK);
  EXPECT_EQ(state.on, 0);
}

TEST(ApiTemperature, TheSupplyVoltageIsToldWhereItIsMeasured) {
  double volts = 0.0;
  ASSERT_EQ(orq_supply_voltage_get(ApiCamera().camera, &volts), ORQ_OK) << orq_last_error();
  EXPECT_NEAR(volts, 12.0, 0.02);
  volts = -1.0;
  EXPECT_EQ(orq_supply_voltage_get(ApiCamera(Quick("k1c", ",refuse=0xE9")).camera, &volts), ORQ_ERROR_UNSUPPORTED);
  EXPECT_EQ(volts, -1.0) << "written although it failed";
  const ApiCamera gone;
  ASSERT_EQ(orq_camera_unplug_virtual(gone.camera), ORQ_OK);
  EXPECT_EQ(orq_supply_voltage_get(gone.camera, &volts), ORQ_ERROR_LOST);
}

TEST(ApiCooler, AWaitIsCutShortByAnAbortAndByItsTime) {
  const ApiCamera camera("virtual:x26m");
  EXPECT_EQ(orq_cooler_set(camera.camera, 1, -41.0, 0), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_cooler_set(camera.camera, 1, std::nan(""), 0), ORQ_ERROR_RANGE);
  ASSERT_EQ(orq_cooler_set(camera.camera, 1, -20.0, 0), ORQ_OK);
  EXPECT_EQ(orq_cooler_wait(camera.camera, 0.0), ORQ_ERROR_TIMEOUT) << orq_last_error();
  auto waiter = test::Waiting([&] { return orq_cooler_wait(camera.camera, 600.0); });
  ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_CANCELLED);
}

TEST(ApiCooler, ClosingDoesNotWaitForAWait) {
  const ApiCamera camera("virtual:x26m");
  ASSERT_EQ(orq_cooler_set(camera.camera, 1, -20.0, 0), ORQ_OK);
  auto waiter = test::Waiting([&] { return orq_cooler_wait(camera.camera, 600.0); });
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  EXPECT_EQ(waiter.get(), ORQ_ERROR_CANCELLED);
}

TEST(ApiCooler, NobodyWaitsForOneThatIsNotThere) {
  const ApiCamera camera("virtual:k1c");
  EXPECT_EQ(orq_cooler_wait(camera.camera, 1.0), ORQ_ERROR_UNSUPPORTED) << orq_last_error();
  EXPECT_EQ(orq_cooler_warm_up(camera.camera, 1.0), ORQ_ERROR_UNSUPPORTED) << orq_last_error();
}

TEST(ApiCooler, CamerasWithoutOneSaySo) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0 || model.cooled) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    EXPECT_EQ(orq_cooler_set(camera.camera, 1, 0.0, 0), ORQ_ERROR_UNSUPPORTED) << model.key;
  }
}

TEST(ApiGuide, APulseHoldsItsLineAndAnAbortEndsIt) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    if (!model.guidePort) {
      EXPECT_EQ(orq_guide_pulse(camera.camera, ORQ_GUIDE_EAST, 10), ORQ_ERROR_UNSUPPORTED) << model.key;
      continue;
    }
    EXPECT_EQ(orq_guide_pulse(camera.camera, 4, 10), ORQ_ERROR_INVALID);
    EXPECT_EQ(orq_guide_pulse(camera.camera, ORQ_GUIDE_EAST, 0), ORQ_ERROR_RANGE);
    EXPECT_EQ(orq_guide_pulse(camera.camera, ORQ_GUIDE_EAST, 60'001), ORQ_ERROR_RANGE);
    ASSERT_EQ(orq_guide_pulse(camera.camera, ORQ_GUIDE_EAST, 5), ORQ_OK) << orq_last_error();
    auto pulse = test::Waiting([&] { return orq_guide_pulse(camera.camera, ORQ_GUIDE_WEST, 60'000); });
    ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
    EXPECT_EQ(pulse.get(), ORQ_ERROR_CANCELLED);
  }
}

TEST(ApiGps, LinesFollowTheRegionUntilTheyAreSet) {
  const ApiCamera camera(Quick("t46c"));
  camera.Corner(ORQ_FORMAT_RAW8, 64);
  orq_gps_lines lines{};
  lines.size = sizeof lines;
  ASSERT_EQ(orq_gps_get_lines(camera.camera, &lines), ORQ_OK) << orq_last_error();
  EXPECT_EQ(lines.follow, 1);
  EXPECT_EQ(lines.end - lines.start, 63);
  orq_gps_lines wanted{sizeof wanted, 0, 10, 50};
  ASSERT_EQ(orq_gps_set_lines(camera.camera, &wanted), ORQ_OK) << orq_last_error();
  camera.Corner(ORQ_FORMAT_RAW8, 96);
  ASSERT_EQ(orq_gps_get_lines(camera.camera, &lines), ORQ_OK);
  EXPECT_EQ(lines.follow, 0);
  EXPECT_EQ(lines.start, 10);
  EXPECT_EQ(lines.end, 50);
  wanted.end = 1'000'000;
  EXPECT_EQ(orq_gps_set_lines(camera.camera, &wanted), ORQ_ERROR_RANGE);
  wanted.follow = 1;
  ASSERT_EQ(orq_gps_set_lines(camera.camera, &wanted), ORQ_OK);
  ASSERT_EQ(orq_gps_get_lines(camera.camera, &lines), ORQ_OK);
  EXPECT_EQ(lines.follow, 1);
  EXPECT_EQ(lines.end - lines.start, 95);
}

TEST(ApiGps, TheReceiverTellsWhatItLatchedLast) {
  const ApiCamera camera(Quick("t46c", ",gpspos=-36.75/174.7/56,gpstime=2031-12-31T00:00:00"));
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  orq_gps_receiver receiver{};
  receiver.size = sizeof receiver;
  ASSERT_EQ(orq_gps_get_receiver(camera.camera, &receiver), ORQ_OK) << orq_last_error();
  EXPECT_EQ(receiver.version, 1);
  EXPECT_EQ(receiver.readable, 1);
  ASSERT_EQ(receiver.fix, 1);
  EXPECT_NEAR(receiver.start_latitude, -36.75, 1e-3);
  EXPECT_NEAR(receiver.end_longitude, 174.7, 1e-3);
  EXPECT_NEAR(receiver.start_altitude_m, 56.0, 1.0);
  EXPECT_EQ(std::string(receiver.start_utc).substr(0, 13), "2031-12-31T00");
  EXPECT_LT(std::string(receiver.start_utc), std::string(receiver.end_utc));
  const ApiCamera without;
  EXPECT_EQ(orq_gps_get_receiver(without.camera, &receiver), ORQ_ERROR_UNSUPPORTED);
  const ApiCamera dark(Quick("t46c", ",gps=nofix"));
  ASSERT_EQ(orq_gps_get_receiver(dark.camera, &receiver), ORQ_OK) << orq_last_error();
  EXPECT_EQ(receiver.fix, 0);
  EXPECT_STREQ(receiver.start_utc, "");
}

TEST(ApiGps, LinesBeyondTheRegionMeanNoGpsTime) {
  const ApiCamera camera(Quick("t46c"));
  camera.Corner();
  EXPECT_EQ(orq_gps_check(camera.camera), ORQ_OK) << orq_last_error();
  const orq_gps_lines lines{sizeof lines, 0, 10, 500};
  ASSERT_EQ(orq_gps_set_lines(camera.camera, &lines), ORQ_OK);
  EXPECT_EQ(orq_gps_check(camera.camera), ORQ_ERROR_STATE);
  EXPECT_EQ(orq_gps_check(ApiCamera().camera), ORQ_ERROR_UNSUPPORTED);
}

TEST(ApiDarks, TheUsersChoiceIsKeptForTheCamera) {
  const TempDirectory folder;
  ::setenv("XDG_STATE_HOME", folder.Path().c_str(), 1);
  const std::string name = Quick("k1c", ",serial=0123456789abcdef");
  const auto choice = [](orq_camera* camera) {
    orq_dark_choice made{};
    made.size = sizeof made;
    EXPECT_EQ(orq_dark_choice_get(camera, &made), ORQ_OK) << orq_last_error();
    return made;
  };
  const std::string chosen = folder.File("my.bmp");
  {
    const ApiCamera camera(name);
    const orq_dark_choice none = choice(camera.camera);
    EXPECT_STREQ(none.chosen, "");
    EXPECT_EQ(none.is_kept, 0);
    std::filesystem::create_directories(std::filesystem::path(none.kept).parent_path());
    std::ofstream(none.kept) << "anything";
    ASSERT_EQ(orq_dark_choice_set(camera.camera, chosen.c_str()), ORQ_OK) << orq_last_error();
  }
  const ApiCamera later(name);
  EXPECT_EQ(choice(later.camera).chosen, chosen);
  EXPECT_EQ(choice(later.camera).is_kept, 1);
  EXPECT_STREQ(choice(ApiCamera(Quick("k1c", ",serial=fedcba9876543210")).camera).chosen, "") << "another camera";
  std::ofstream(std::filesystem::path(choice(later.camera).kept).parent_path() / "applied") << "garbage";
  EXPECT_STREQ(choice(later.camera).chosen, "");
  EXPECT_STRNE(choice(later.camera).trouble, "");
  EXPECT_EQ(choice(later.camera).is_kept, 1) << "also then";
  ASSERT_EQ(orq_dark_choice_set(later.camera, nullptr), ORQ_OK);
  EXPECT_STREQ(choice(later.camera).chosen, "");
  EXPECT_STREQ(choice(later.camera).trouble, "");
  ::unsetenv("XDG_STATE_HOME");
}

TEST(ApiDarks, TheCamerasOwnDarkIsKeptChosenReadAndCopied) {
  const TempDirectory folder;
  ::setenv("XDG_STATE_HOME", folder.Path().c_str(), 1);
  const ApiCamera camera("virtual:h53m,timescale=0.01,scene=dark,serial=0123456789abcdef");
  EXPECT_EQ(orq_dark_check(camera.camera, nullptr, 0), ORQ_OK) << orq_last_error();
  EXPECT_EQ(orq_dark_check(camera.camera, folder.File("none/x.bmp").c_str(), 0), ORQ_ERROR_FILE);
  EXPECT_EQ(orq_dark_check(camera.camera, folder.File("x.png").c_str(), 0), ORQ_ERROR_INVALID);
  const orq_dark_options options{sizeof options, 2, 0, 0};
  orq_dark_info taken{};
  taken.size = sizeof taken;
  for (int i = 0; i < 2; ++i) {  // the second one replaces the first
    ASSERT_EQ(orq_dark_take(camera.camera, nullptr, &options, nullptr, nullptr, &taken), ORQ_OK)
        << orq_last_error();
  }
  EXPECT_STREQ(taken.serial, "0123456789abcdef");
  EXPECT_STREQ(taken.model, "Tavix ORQ-H53M");
  orq_dark_choice choice{};
  choice.size = sizeof choice;
  ASSERT_EQ(orq_dark_choice_get(camera.camera, &choice), ORQ_OK);
  EXPECT_EQ(choice.is_kept, 1);
  EXPECT_STREQ(choice.chosen, choice.kept);
  const std::string copy = folder.File("copy.bmp");
  ASSERT_EQ(orq_dark_copy(camera.camera, choice.kept, copy.c_str(), 0), ORQ_OK) << orq_last_error();
  EXPECT_EQ(orq_dark_copy(camera.camera, choice.kept, copy.c_str(), 0), ORQ_ERROR_FILE) << "it is there";
  orq_dark_info read{};
  read.size = sizeof read;
  ASSERT_EQ(orq_dark_read(camera.camera, copy.c_str(), &read), ORQ_OK) << orq_last_error();
  EXPECT_EQ(read.frames, 2);
  EXPECT_EQ(read.taken_unix_ns, taken.taken_unix_ns);
  EXPECT_STREQ(read.serial, taken.serial);
  EXPECT_STREQ(read.trouble, "");
  std::filesystem::remove(folder.File("copy.json"));
  ASSERT_EQ(orq_dark_read(camera.camera, copy.c_str(), &read), ORQ_OK) << orq_last_error();
  EXPECT_EQ(read.frames, 0) << "nothing is known without a description";
  ASSERT_EQ(orq_dark_choice_set(camera.camera, nullptr), ORQ_OK);
  ASSERT_EQ(orq_dark_copy(camera.camera, copy.c_str(), nullptr, 0), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_dark_choice_get(camera.camera, &choice), ORQ_OK);
  EXPECT_STREQ(choice.chosen, choice.kept) << "a dark that comes to the own place is chosen";
  EXPECT_EQ(orq_dark_read(ApiCamera().camera, copy.c_str(), &read), ORQ_ERROR_RANGE) << "of another sensor";
  ::unsetenv("XDG_STATE_HOME");
}

TEST(ApiDarks, ADarkIsTakenUsedAndToldOfInTheHeader) {
  const TempDirectory folder;
  const std::string path = folder.File("dark.bmp");
  const ApiCamera camera("virtual:h53m,timescale=0.01,scene=dark");
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 20'000, ORQ_MANUAL), ORQ_OK);
  camera.Corner();
  int told = 0;
  const auto tell = [](void* user, const orq_dark_progress* at) {
    EXPECT_EQ(at->frames, 3);
    ++*static_cast<int*>(user);
  };
  const orq_dark_options options{sizeof options, 3, 0, 0};
  orq_dark_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_dark_take(camera.camera, path.c_str(), &options, tell, &told, &info), ORQ_OK) << orq_last_error();
  EXPECT_EQ(info.frames, 3);
  EXPECT_EQ(info.exposure_us, 20'000U);
  EXPECT_GT(told, 0);
  EXPECT_EQ(orq_dark_take(camera.camera, path.c_str(), &options, nullptr, nullptr, nullptr), ORQ_ERROR_FILE);
  EXPECT_EQ(orq_dark_take(camera.camera, folder.File("dark.fits").c_str(), nullptr, nullptr, nullptr, nullptr),
            ORQ_ERROR_INVALID);
  orq_region region{};
  region.size = sizeof region;
  ASSERT_EQ(orq_region_get(camera.camera, &region), ORQ_OK);
  EXPECT_EQ(region.width, 64) << "as it was before";
  const auto state = [&camera] {
    orq_dark_state now{};
    now.size = sizeof now;
    EXPECT_EQ(orq_dark_get_state(camera.camera, &now), ORQ_OK) << orq_last_error();
    return now;
  };
  EXPECT_EQ(state().in_use, 0);
  ASSERT_EQ(orq_dark_use(camera.camera, path.c_str()), ORQ_OK) << orq_last_error();
  EXPECT_EQ(state().in_use, 1);
  EXPECT_STREQ(state().trouble, "");
  EXPECT_STREQ(state().differences, "");
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 30'000, ORQ_MANUAL), ORQ_OK);
  EXPECT_NE(std::string(state().differences).find("20ms"), std::string::npos) << state().differences;
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 20'000, ORQ_MANUAL), ORQ_OK);
  for (const bool used : {true, false}) {
    ASSERT_EQ(orq_exposure_start(camera.camera, 0), ORQ_OK);
    ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
    EXPECT_EQ((frame.Info().corrections & ORQ_CORRECTED_DARK) != 0, used);
    int32_t count = 0;
    bool named = false;
    ASSERT_EQ(orq_frame_header_count(frame.frame, &count), ORQ_OK);
    for (int32_t i = 0; i < count; ++i) {
      orq_card card{};
      card.size = sizeof card;
      ASSERT_EQ(orq_frame_header_card(frame.frame, i, &card), ORQ_OK);
      if (std::string(card.name) == "DARKFILE") named = std::string(card.text) == "dark.bmp";
    }
    EXPECT_EQ(named, used);
    ASSERT_EQ(orq_dark_use(camera.camera, nullptr), ORQ_OK);
  }
  EXPECT_EQ(state().in_use, 0);
  EXPECT_EQ(orq_dark_use(camera.camera, folder.File("none.bmp").c_str()), ORQ_ERROR_FILE);
  EXPECT_EQ(orq_dark_use(camera.camera, ""), ORQ_ERROR_FILE) << "an empty name is no wish for none";
  const ApiCamera other(Quick("k1c"));
  EXPECT_EQ(orq_dark_use(other.camera, path.c_str()), ORQ_ERROR_RANGE) << orq_last_error();
}

TEST(ApiDarks, AnAbortEndsADarkAndLeavesNoFile) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:h53m,scene=dark");
  camera.Corner();
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 60'000'000, ORQ_MANUAL), ORQ_OK);
  auto dark = test::Waiting([&] {
    return orq_dark_take(camera.camera, folder.File("dark.bmp").c_str(), nullptr, nullptr, nullptr, nullptr);
  });
  ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
  EXPECT_EQ(dark.get(), ORQ_ERROR_CANCELLED);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << orq_last_error();
  ApiFrame frame;
  EXPECT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
}

TEST(ApiDarks, WithoutATableThereAreNoHotPixelsToRepair) {
  const ApiCamera camera;
  EXPECT_EQ(orq_hot_pixels_repair(camera.camera, 1), ORQ_ERROR_STATE) << orq_last_error();
  EXPECT_EQ(orq_hot_pixels_repair(camera.camera, 0), ORQ_OK);
}

// Gains by hand: units of 0.1 dB divide what a count is worth at gain 0 by 10^(gain / 200).
TEST(ApiGainPresets, AreThoseOfTheSensorsNumbers) {
  struct Expected {
    const char* model;
    int preset;
    int gain;
    double electrons, most;
  };
  // d6m, first mode: 3.8 e- and 14 bit. 16383 counts of 3.8 e- are 62255, of the next step 60948, and then less than
  // the full well of 60000.
  // x26m: 0.78 e- and 16 bit take 51117 of 51000 e-; no gain has more electrons per count.
  const ApiCamera x26m(Quick("x26m"));
  orq_gain_preset found{};
  found.size = sizeof found;
  ASSERT_EQ(orq_gain_preset_get(x26m.camera, ORQ_GAIN_UNITY, &found), ORQ_OK) << orq_last_error();
  EXPECT_EQ(found.gain, 0);
  EXPECT_NEAR(found.electrons_per_adu, 0.78, 1e-6);
  EXPECT_EQ(found.most_electrons, 51000.0);
  ASSERT_EQ(orq_gain_preset_get(x26m.camera, ORQ_GAIN_LARGEST_RANGE, &found), ORQ_OK);
  EXPECT_EQ(found.gain, 0);
}

}  // namespace
}  // namespace orq
