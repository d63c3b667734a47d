// Headers, statistics and files of frames through the C interface.
#include <sys/timex.h>

#include <fitsio.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "Camera.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

void Expose(const ApiCamera& camera, ApiFrame& frame) {
  ASSERT_EQ(orq_exposure_start(camera.camera, 20'000), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
}

std::map<std::string, orq_card> HeaderOf(const orq_frame* frame) {
  std::map<std::string, orq_card> cards;
  int32_t count = 0;
  EXPECT_EQ(orq_frame_header_count(frame, &count), ORQ_OK) << orq_last_error();
  for (int32_t i = 0; i < count; ++i) {
    orq_card card{};
    card.size = sizeof card;
    EXPECT_EQ(orq_frame_header_card(frame, i, &card), ORQ_OK) << orq_last_error();
    cards[card.name] = card;
  }
  orq_card none{};
  none.size = sizeof none;
  EXPECT_EQ(orq_frame_header_card(frame, count, &none), ORQ_ERROR_RANGE);
  return cards;
}

TEST(ApiFiles, TheHeaderSaysWhatTheCameraAndTheUserSay) {
  const ApiCamera camera(Quick("x26m", ",temp=-10"));
  camera.Corner(ORQ_FORMAT_RAW16);
  orq_labels labels{};
  labels.size = sizeof labels;
  labels.image_type = ORQ_IMAGE_FLAT;
  std::strcpy(labels.object, "M 42");
  ASSERT_EQ(orq_labels_set(camera.camera, &labels), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_keyword_set(camera.camera, "TELESCOP=Newton 150/750 / the small one"), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_keyword_set(camera.camera, "TELESCOP=Newton 200/1000"), ORQ_OK);
  EXPECT_EQ(orq_keyword_set(camera.camera, "EXPTIME=3"), ORQ_ERROR_INVALID);
  ApiFrame frame;
  Expose(camera, frame);
  auto cards = HeaderOf(frame.frame);
  EXPECT_STREQ(cards["OBJECT"].text, "M 42");
  EXPECT_STREQ(cards["IMAGETYP"].text, "Flat Field");
  EXPECT_STREQ(cards["TELESCOP"].text, "Newton 200/1000");
  EXPECT_EQ(cards["EXPTIME"].type, ORQ_CARD_REAL);
  EXPECT_DOUBLE_EQ(cards["EXPTIME"].real, 0.02);
  EXPECT_STREQ(cards["EXPTIME"].text, "0.02");
  EXPECT_EQ(cards["XBINNING"].integer, 1);
  EXPECT_NEAR(cards["CCD-TEMP"].real, -10.0, 1.0);
  EXPECT_STREQ(cards["SWCREATE"].text, "orqcam " ORQCAM_VERSION);
  EXPECT_NEAR(frame.Info().sensor_c, cards["CCD-TEMP"].real, 0.01);
  EXPECT_TRUE(std::isnan(frame.Info().target_c)) << "the cooler is off";
  ASSERT_EQ(orq_keywords_clear(camera.camera), ORQ_OK);
  ApiFrame second;
  Expose(camera, second);
  EXPECT_EQ(HeaderOf(second.frame).count("TELESCOP"), 0U);
  EXPECT_EQ(HeaderOf(frame.frame).count("TELESCOP"), 1U) << "a frame keeps what was said when it was taken";
}

TEST(ApiFiles, ASavedFrameIsReadBackByCfitsio) {
  const TempDirectory folder;
  const ApiCamera camera(Quick("k1c"));
  camera.Corner(ORQ_FORMAT_RAW16);
  ApiFrame frame;
  Expose(camera, frame);
  const std::string file = folder.File("m42-{n:03}.fits");
  const orq_save_options options{sizeof options, 0, 1, 1, 7};
  ASSERT_EQ(orq_frame_save(frame.frame, file.c_str(), &options), ORQ_OK) << orq_last_error();
  EXPECT_EQ(orq_frame_save(frame.frame, file.c_str(), &options), ORQ_ERROR_FILE) << "it is there already";
  EXPECT_TRUE(std::filesystem::exists(folder.File("m42-007.png")));
  fitsfile* fits = nullptr;
  int status = 0;
  ASSERT_EQ(fits_open_file(&fits, folder.File("m42-007.fits").c_str(), READONLY, &status), 0);
  long number = 0;
  fits_read_key(fits, TLONG, "FRAMENO", &number, nullptr, &status);
  std::vector<std::uint16_t> pixels(std::size_t{64} * 64);
  fits_read_img(fits, TUSHORT, 1, LONGLONG{64} * 64, nullptr, pixels.data(), nullptr, &status);
  fits_close_file(fits, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(number, 7);
  const std::vector<std::uint8_t> delivered = frame.Pixels();
  EXPECT_EQ(std::memcmp(pixels.data(), delivered.data(), delivered.size()), 0);
}

// Read back by the image functions, which see the same image in both files.
TEST(ApiFiles, ACompressedFitsHasTheSamePixelsAndCardsInLessSpace) {
  const TempDirectory folder;
  for (const int32_t format : {ORQ_FORMAT_RAW8, ORQ_FORMAT_RAW16, ORQ_FORMAT_RGB24, ORQ_FORMAT_Y8}) {
    const ApiCamera camera("virtual:k1c,timescale=0.01,scene=dark");
    camera.Corner(format, 256);
    ApiFrame frame;
    Expose(camera, frame);
    const std::string names[] = {folder.File("plain.fits"), folder.File("small.fits.fz")};
    const orq_save_options options{sizeof options, 1, 1, 1, 0};
    std::vector<std::uint16_t> pixels[2];
    std::string exposure[2];
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(orq_frame_save(frame.frame, names[i].c_str(), &options), ORQ_OK) << orq_last_error();
      fitsfile* fits = nullptr;
      int status = 0;
      ASSERT_EQ(fits_open_image(&fits, names[i].c_str(), READONLY, &status), 0);
      EXPECT_EQ(fits_is_compressed_image(fits, &status), i);
      long axes[3] = {1, 1, 1};
      fits_get_img_size(fits, 3, axes, &status);
      EXPECT_EQ(axes[0] * axes[1], 256 * 256);
      EXPECT_EQ(axes[2], format == ORQ_FORMAT_RGB24 ? 3 : 1);
      pixels[i].resize(static_cast<std::size_t>(axes[0] * axes[1] * axes[2]));
      fits_read_img(fits, TUSHORT, 1, axes[0] * axes[1] * axes[2], nullptr, pixels[i].data(), nullptr, &status);
      char value[FLEN_VALUE] = "";
      fits_read_keyword(fits, "EXPTIME", value, nullptr, &status);
      exposure[i] = value;
      fits_close_file(fits, &status);
      ASSERT_EQ(status, 0);
    }
    EXPECT_EQ(pixels[0], pixels[1]) << format;
    EXPECT_EQ(exposure[0], exposure[1]);
    EXPECT_NE(exposure[0], "");
    EXPECT_LT(std::filesystem::file_size(names[1]), std::filesystem::file_size(names[0])) << format;
    EXPECT_TRUE(std::filesystem::exists(folder.File("small.png"))) << "the preview beside it";
  }
}

TEST(ApiFiles, PathsThatCannotBeAreRefusedAndLeaveNothing) {
  const TempDirectory folder;
  const ApiCamera camera;
  camera.Corner();
  ApiFrame frame;
  Expose(camera, frame);
  EXPECT_EQ(orq_frame_save(frame.frame, folder.File("a.jpeg").c_str(), nullptr), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_frame_save(frame.frame, folder.File("{nothing}.fits").c_str(), nullptr), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_frame_save(frame.frame, folder.File("no/such/folder.fits").c_str(), nullptr), ORQ_ERROR_FILE);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(ApiFiles, LabelsThatFitsCannotHoldAreRefused) {
  const ApiCamera camera;
  orq_labels labels{};
  labels.size = sizeof labels;
  std::memset(labels.object, 'x', sizeof labels.object);
  EXPECT_EQ(orq_labels_set(camera.camera, &labels), ORQ_ERROR_INVALID) << "72 characters, and no end";
  std::strcpy(labels.object, "caf\xC3\xA9");
  EXPECT_EQ(orq_labels_set(camera.camera, &labels), ORQ_ERROR_INVALID);
  labels.object[0] = '\0';
  labels.image_type = 4;
  EXPECT_EQ(orq_labels_set(camera.camera, &labels), ORQ_ERROR_INVALID);
}

TEST(ApiFiles, StatisticsAreThoseOfThePixels) {
  for (const int32_t format : {ORQ_FORMAT_RAW8, ORQ_FORMAT_RAW16}) {
    const ApiCamera camera(Quick("k1c"));
    camera.Corner(format);
    ApiFrame frame;
    Expose(camera, frame);
    orq_statistics statistics{};
    statistics.size = sizeof statistics;
    ASSERT_EQ(orq_frame_get_statistics(frame.frame, &statistics), ORQ_OK) << orq_last_error();
    const std::vector<std::uint8_t> bytes = frame.Pixels();
    std::vector<double> values;
    for (std::size_t i = 0; i < bytes.size(); i += format == ORQ_FORMAT_RAW16 ? 2 : 1)
      values.push_back(format == ORQ_FORMAT_RAW16 ? bytes[i] + 256 * bytes[i + 1] : bytes[i]);
    std::sort(values.begin(), values.end());
    double sum = 0.0;
    for (const double value : values) sum += value;
    const double mean = sum / static_cast<double>(values.size());
    double squares = 0.0;
    for (const double value : values) squares += (value - mean) * (value - mean);
    EXPECT_EQ(statistics.values, values.size());
    EXPECT_EQ(statistics.minimum, values.front());
    EXPECT_EQ(statistics.maximum, values.back());
    EXPECT_EQ(statistics.median, values[values.size() / 2 - 1]);
    EXPECT_NEAR(statistics.mean, mean, 1e-6 * mean);
    EXPECT_NEAR(statistics.deviation, std::sqrt(squares / static_cast<double>(values.size())), 1e-6 * mean);
    std::uint64_t counted = 0;
    for (const std::uint32_t count : statistics.histogram) counted += count;
    EXPECT_EQ(counted, values.size());
  }
}

TEST(ApiFiles, AFullPixelCountsAsSaturated) {
  const ApiCamera camera("virtual:k1c,timescale=0.01,scene=flat,flux=1e9");
  camera.Corner(ORQ_FORMAT_RAW8);
  ApiFrame frame;
  Expose(camera, frame);
  orq_statistics statistics{};
  statistics.size = sizeof statistics;
  ASSERT_EQ(orq_frame_get_statistics(frame.frame, &statistics), ORQ_OK);
  EXPECT_GT(statistics.saturated, 0.99);
}

TEST(ApiFiles, AGpsFrameSaysWhereAndWhen) {
  const ApiCamera camera(Quick("t46c", ",gpspos=-36.75/174.7/56"));
  camera.Corner();
  ApiFrame frame;
  Expose(camera, frame);
  orq_frame_gps gps{};
  gps.size = sizeof gps;
  ASSERT_EQ(orq_frame_get_gps(frame.frame, &gps), ORQ_OK);
  EXPECT_EQ(gps.state, ORQ_GPS_FIX);
  EXPECT_NEAR(gps.latitude, -36.75, 1e-3);
  EXPECT_NEAR(gps.longitude, 174.7, 1e-3);
  EXPECT_NEAR(gps.altitude_m, 56.0, 1.0);
  EXPECT_EQ(gps.start_line, 0);
  EXPECT_EQ(gps.end_line, 63);
  EXPECT_GT(gps.end_unix_ns, gps.start_unix_ns);
  EXPECT_NEAR(static_cast<double>(gps.end_unix_ns - gps.start_unix_ns), 63.0 * static_cast<double>(gps.row_ns),
              2000.0);
}

TEST(ApiFiles, SavingTellsWhatWasWritten) {
  const TempDirectory folder;
  const ApiCamera camera;
  camera.Corner();
  ApiFrame frame;
  Expose(camera, frame);
  orq_save_options options{};
  options.size = sizeof options;
  options.preview = 1;
  options.number = 7;
  orq_saved_files saved{};
  saved.size = sizeof saved;
  ASSERT_EQ(orq_frame_save_files(frame.frame, folder.File("{camera}-{n:03}.raw").c_str(), &options, &saved),
            ORQ_OK)
      << orq_last_error();
  EXPECT_EQ(saved.file, folder.File("k1c-007.raw"));
  EXPECT_EQ(saved.sidecar, folder.File("k1c-007.json"));
  EXPECT_EQ(saved.preview, folder.File("k1c-007.png"));
  for (const char* name : {saved.file, saved.sidecar, saved.preview}) EXPECT_TRUE(std::filesystem::exists(name));
  EXPECT_STREQ(saved.trouble, "");
  EXPECT_STREQ(saved.warning, "") << "a light frame";
  // Where a folder has the preview's name, the frame itself is safe.
  std::filesystem::create_directory(folder.File("b.png"));
  ASSERT_EQ(orq_frame_save_files(frame.frame, folder.File("b.fits").c_str(), &options, &saved), ORQ_OK);
  EXPECT_STRNE(saved.trouble, "");
  EXPECT_STREQ(saved.preview, "");
  EXPECT_TRUE(std::filesystem::exists(folder.File("b.fits")));
}

TEST(ApiFiles, ABiasWhoseNoiseIsCutOffSaysSo) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:k1c,timescale=0.01,scene=dark");
  camera.Corner();
  ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_OFFSET, 0, ORQ_MANUAL), ORQ_OK);
  orq_labels labels{};
  labels.size = sizeof labels;
  labels.image_type = ORQ_IMAGE_BIAS;
  ASSERT_EQ(orq_labels_set(camera.camera, &labels), ORQ_OK);
  ApiFrame frame;
  Expose(camera, frame);
  orq_saved_files saved{};
  saved.size = sizeof saved;
  ASSERT_EQ(orq_frame_save_files(frame.frame, folder.File("bias.fits").c_str(), nullptr, &saved), ORQ_OK);
  EXPECT_NE(std::string(saved.warning).find("of the pixels are 0"), std::string::npos) << saved.warning;
}

TEST(ApiFiles, WhatCouldNotBeSavedIsToldBeforehand) {
  const TempDirectory folder;
  const ApiCamera camera;
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("{n}.fits").c_str(), nullptr, 3), ORQ_OK);
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("none/{n}.fits").c_str(), nullptr, 3), ORQ_ERROR_FILE);
  std::ofstream(folder.File("3.fits")) << "there";
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("{n}.fits").c_str(), nullptr, 2), ORQ_OK);
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("{n}.fits").c_str(), nullptr, 3), ORQ_ERROR_FILE);
  const orq_save_options replace{sizeof replace, 1, 0, 0, 0};
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("{n}.fits").c_str(), &replace, 3), ORQ_OK);
  EXPECT_EQ(orq_save_check(camera.camera, folder.File("{n}.txt").c_str(), nullptr, 3), ORQ_ERROR_INVALID);
}

TEST(ApiFiles, TheComputersClockIsAsItsSystemSays) {
  orq_clock_state state{};
  state.size = sizeof state;
  ASSERT_EQ(orq_clock_get_state(&state), ORQ_OK);
  timex time{};
  const int result = ntp_adjtime(&time);
  EXPECT_EQ(state.synchronised, result < 0 ? -1 : result != TIME_ERROR && (time.status & STA_UNSYNC) == 0 ? 1 : 0);
}

}  // namespace
}  // namespace orq
