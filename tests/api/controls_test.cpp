// Controls, cooling, guiding and GPS lines through the C interface.
#include <algorithm>
#include <cmath>
#include <future>
#include <set>

#include "Camera.h"
#include "models/table/ModelData.h"
#include "orqcam/orqcam.hpp"
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
      for (const int64_t beyond : {control.minimum - 1, control.maximum + 1})
        EXPECT_EQ(orq_control_set(camera.camera, control.id, beyond, ORQ_MANUAL), ORQ_ERROR_RANGE) << what;
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
      if (control.automatic == 0)
        EXPECT_EQ(orq_control_set(camera.camera, control.id, 0, ORQ_AUTOMATIC), ORQ_ERROR_UNSUPPORTED) << what;
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

TEST(ApiModelControl, EveryModelsLimitsAreThoseOfItsRow) {
  for (const ModelData& model : AllModels()) {
    const std::string key(model.key);
    const orq_control_info gain = modelControl(key, ORQ_CONTROL_GAIN);
    EXPECT_STREQ(gain.name, "Gain");
    EXPECT_EQ(gain.minimum, model.limits.gainMin) << key;
    EXPECT_EQ(gain.maximum, model.limits.gainMax) << key;
    EXPECT_EQ(modelControl(key, ORQ_CONTROL_TEMPERATURE).scale, 10);
    EXPECT_THROW(modelControl(key, ORQ_CONTROL_ROLLING_INTERVAL + 1), RangeError);
    EXPECT_THROW(modelControl(key, -1), RangeError);
  }
  EXPECT_THROW(modelControl("none", ORQ_CONTROL_GAIN), NotFoundError);
}

orq_gain_preset PresetOf(orq_camera* camera, int32_t preset) {
  orq_gain_preset found{};
  found.size = sizeof found;
  EXPECT_EQ(orq_gain_preset_get(camera, preset, &found), ORQ_OK) << orq_last_error();
  return found;
}

// By hand, from what a count is worth at gain 0 and 10^(gain / 200). k2m, 2.75 e-, 12 bit, 11200 e-: unity is
// 200 log10 2.75 = 87.9; 4095 counts are 11261 e- at gain 0, 11132 at 1. x26m, 0.78 e-, 16 bit, 51000 e-: less
// than an electron from the start, and 51117 e- are full. d6m, 3.8 e-, 14 bit, 60000 e-, gain 512 / (512 - code):
// code 377 is 3.793, which reads as 116; code 17 leaves 60189 e- (3), code 23 59469 (4). Its other mode has 0.95
// e-.
TEST(ApiGainPresets, AreWhatTheSensorsNumbersSay) {
  struct Expected {
    const char* model;
    int32_t readoutMode, preset, gain;
    double electrons, most;
  };
  for (const Expected& one : {Expected{"k2m", -1, ORQ_GAIN_UNITY, 88, 0.99847, 4088.7},
                              Expected{"k2m", -1, ORQ_GAIN_LOWEST_NOISE, 400, 0.0275, 112.6},
                              Expected{"k2m", -1, ORQ_GAIN_LARGEST_RANGE, 0, 2.75, 11200},
                              Expected{"x26m", -1, ORQ_GAIN_UNITY, 0, 0.78, 51000},
                              Expected{"x26m", -1, ORQ_GAIN_LARGEST_RANGE, 0, 0.78, 51000},
                              Expected{"d6m", 0, ORQ_GAIN_UNITY, 116, 1.00195, 16415},
                              Expected{"d6m", 0, ORQ_GAIN_LARGEST_RANGE, 3, 3.67383, 60000},
                              Expected{"d6m", 1, ORQ_GAIN_UNITY, 0, 0.95, 15000},
                              Expected{"d6m", 1, ORQ_GAIN_LARGEST_RANGE, 3, 0.91846, 15000}}) {
    const ApiCamera camera(Quick(one.model));
    if (one.readoutMode >= 0)
      ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_READOUT_MODE, one.readoutMode, ORQ_MANUAL), ORQ_OK);
    const orq_gain_preset found = PresetOf(camera.camera, one.preset);
    const std::string what = std::string(one.model) + " preset " + std::to_string(one.preset);
    EXPECT_EQ(found.gain, one.gain) << what;
    EXPECT_NEAR(found.electrons_per_adu, one.electrons, 1e-4) << what;
    EXPECT_NEAR(found.most_electrons, one.most, 0.5) << what;
  }
}

TEST(ApiGainPresets, OfEveryModelAreGainsThatItTakes) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    for (const int32_t preset : {ORQ_GAIN_UNITY, ORQ_GAIN_LOWEST_NOISE, ORQ_GAIN_LARGEST_RANGE}) {
      const orq_gain_preset found = PresetOf(camera.camera, preset);
      const std::string what = std::string(model.key) + " preset " + std::to_string(preset);
      ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_GAIN, found.gain, ORQ_MANUAL), ORQ_OK) << what;
      int64_t gain = -1;
      EXPECT_EQ(orq_control_get(camera.camera, ORQ_CONTROL_GAIN, &gain, nullptr), ORQ_OK);
      EXPECT_EQ(gain, found.gain) << what;
      orq_camera_info info{};
      info.size = sizeof info;
      EXPECT_EQ(orq_camera_get_info(camera.camera, &info), ORQ_OK);
      EXPECT_NEAR(info.electrons_per_adu, found.electrons_per_adu, 1e-3 * found.electrons_per_adu) << what;
      EXPECT_LE(found.most_electrons, model.fullWellElectrons) << what;
    }
    EXPECT_LE(PresetOf(camera.camera, ORQ_GAIN_LOWEST_NOISE).electrons_per_adu,
              PresetOf(camera.camera, ORQ_GAIN_UNITY).electrons_per_adu);
  }
}

TEST(ApiGainPresets, RefuseWhatIsNone) {
  const ApiCamera camera(Quick("k1c"));
  orq_gain_preset found{};
  EXPECT_EQ(orq_gain_preset_get(camera.camera, ORQ_GAIN_UNITY, &found), ORQ_ERROR_INVALID);  // its size is not set
  found.size = sizeof found;
  EXPECT_EQ(orq_gain_preset_get(camera.camera, ORQ_GAIN_LARGEST_RANGE + 1, &found), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_gain_preset_get(camera.camera, -1, &found), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_gain_preset_get(nullptr, ORQ_GAIN_UNITY, &found), ORQ_ERROR_INVALID);
}

}  // namespace
}  // namespace orq
