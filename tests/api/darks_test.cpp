// Darks and hot pixels through the C interface.
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <utility>
#include <vector>

#include "Camera.h"
#include "models/table/ModelData.h"
#include "orqcam/orqcam.hpp"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;
using test::Quick;

TEST(ApiDarks, TheUsersChoiceIsKeptForTheCamera) {
  const TempDirectory folder;
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
    EXPECT_EQ(orq_dark_choice_set(camera.camera, ""), ORQ_ERROR_INVALID) << "an empty name is no wish for none";
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
}

TEST(ApiDarks, TheCamerasOwnDarkIsKeptChosenReadAndCopied) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:h53m,timescale=0.01,scene=dark,serial=0011223344556677");
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
  EXPECT_STREQ(taken.serial, "0011223344556677");
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

TEST(ApiDarks, AnotherThatIsTakenEndsTheUseOfTheOne) {
  const TempDirectory folder;
  const ApiCamera camera(Quick("h53m"));
  const auto take = [&](const char* name) {
    const orq_dark_options options{sizeof options, 1, 0, 0};
    return orq_dark_take(camera.camera, folder.File(name).c_str(), &options, nullptr, nullptr, nullptr);
  };
  ASSERT_EQ(take("one.bmp"), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_dark_use(camera.camera, folder.File("one.bmp").c_str()), ORQ_OK) << orq_last_error();
  ASSERT_EQ(take("two.bmp"), ORQ_OK) << orq_last_error();
  orq_dark_state state{};
  state.size = sizeof state;
  ASSERT_EQ(orq_dark_get_state(camera.camera, &state), ORQ_OK) << orq_last_error();
  EXPECT_EQ(state.in_use, 0);
  ASSERT_EQ(orq_exposure_start(camera.camera, 0), ORQ_OK);
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  EXPECT_EQ(frame.Info().corrections & ORQ_CORRECTED_DARK, 0);
}

// Of every model: its own modes, or high speed.
TEST(ApiDarks, ADarkKnowsItsReadoutMode) {
  const TempDirectory folder;
  int tried = 0;
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera("virtual:" + std::string(model.key) + ",timescale=0,scene=dark");
    orq_control_info control{};
    control.size = sizeof control;
    if (orq_control_find(camera.camera, "ReadoutMode", &control) != ORQ_OK &&
        orq_control_find(camera.camera, "HighSpeedMode", &control) != ORQ_OK)
      continue;
    ++tried;
    ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_EXPOSURE, 1000, ORQ_MANUAL), ORQ_OK);
    for (const int mode : {1, 0}) {
      ASSERT_EQ(orq_control_set(camera.camera, control.id, mode, ORQ_MANUAL), ORQ_OK) << orq_last_error();
      const std::string path = folder.File(std::string(model.key) + std::to_string(mode) + ".bmp");
      const orq_dark_options options{sizeof options, 1, 0, 0};
      orq_dark_info taken{};
      taken.size = sizeof taken;
      ASSERT_EQ(orq_dark_take(camera.camera, path.c_str(), &options, nullptr, nullptr, &taken), ORQ_OK)
          << orq_last_error();
      EXPECT_EQ(taken.readout_mode, mode) << model.key;
      orq_dark_info read{};
      read.size = sizeof read;
      ASSERT_EQ(orq_dark_read(camera.camera, path.c_str(), &read), ORQ_OK) << orq_last_error();
      EXPECT_EQ(read.readout_mode, mode) << model.key;
      ASSERT_EQ(orq_dark_use(camera.camera, path.c_str()), ORQ_OK) << orq_last_error();
      orq_dark_state state{};
      state.size = sizeof state;
      ASSERT_EQ(orq_dark_get_state(camera.camera, &state), ORQ_OK);
      EXPECT_STREQ(state.differences, "") << model.key;
      ASSERT_EQ(orq_control_set(camera.camera, control.id, 1 - mode, ORQ_MANUAL), ORQ_OK) << orq_last_error();
      ASSERT_EQ(orq_dark_get_state(camera.camera, &state), ORQ_OK);
      EXPECT_TRUE(std::string(state.differences).starts_with("readout mode ")) << state.differences;
    }
  }
  EXPECT_GT(tried, 1);
}

// What an earlier version wrote beside a dark lacks it.
TEST(ApiDarks, AnOlderDarksReadoutModeIsUnknown) {
  const TempDirectory folder;
  const std::string path = folder.File("dark.bmp");
  const ApiCamera camera("virtual:h53m,timescale=0,scene=dark");
  const orq_dark_options options{sizeof options, 1, 0, 0};
  ASSERT_EQ(orq_dark_take(camera.camera, path.c_str(), &options, nullptr, nullptr, nullptr), ORQ_OK);
  const std::string description = folder.File("dark.json");
  std::ifstream file(description);
  std::string older;
  for (std::string line; std::getline(file, line);)
    if (line.find("readout") == std::string::npos) older += line + "\n";
  std::ofstream(description) << older;
  orq_dark_info read{};
  read.size = sizeof read;
  ASSERT_EQ(orq_dark_read(camera.camera, path.c_str(), &read), ORQ_OK) << orq_last_error();
  EXPECT_STREQ(read.trouble, "");
  EXPECT_EQ(read.frames, 1);
  EXPECT_EQ(read.readout_mode, -1);
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

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kBadRow = 30;
const std::vector<std::pair<int, int>> kHot = {{10, 7}, {11, 7}, {40, 20}, {63, 47}};

/// A camera that plays a dark in which some pixels and every second one of a row stand out.
class ApiHotPixelTable : public ::testing::Test {
 protected:
  ApiHotPixelTable() : camera_(Name()) {}

  std::string Name() const {
    std::string pixels(std::size_t{kWidth} * kHeight, 10);
    const auto mark = [&](int x, int y) {
      pixels[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)] = 90;
    };
    for (const auto& [x, y] : kHot) mark(x, y);
    for (int x = 0; x < kWidth; x += 2) mark(x, kBadRow);
    std::ofstream(folder_.File("dark.pgm"), std::ios::binary) << "P5\n"
                                                              << kWidth << " " << kHeight << "\n255\n"
                                                              << pixels;
    return "virtual:replay,timescale=0,file=" + folder_.File("dark.pgm");
  }
  std::string Text(const std::string& name) const {
    std::ifstream file(folder_.File(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const TempDirectory folder_;
  Camera camera_;
};

void ExpectTheMarked(const HotPixels& table) {
  const orq_hot_pixel_counts counts = table.counts();
  EXPECT_EQ(counts.width, kWidth);
  EXPECT_EQ(counts.height, kHeight);
  EXPECT_EQ(counts.left_out, 0);
  std::vector<std::pair<int, int>> places;
  for (const SensorPixel& pixel : table.pixels()) places.emplace_back(pixel.x, pixel.y);
  EXPECT_EQ(places, kHot);
  EXPECT_EQ(table.badRows(), std::vector<int>{kBadRow});
}

TEST_F(ApiHotPixelTable, AreFoundInADarkStoredAndReadAgain) {
  EXPECT_THROW(camera_.hotPixels(), NotFoundError) << "a new camera's flash is empty";
  EXPECT_THROW(camera_.repairHotPixels(true), StateError);
  EXPECT_FALSE(camera_.repairsHotPixels());
  const auto before = std::distance(std::filesystem::directory_iterator(folder_.Path()), {});
  const HotPixels found = camera_.findHotPixels(2);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), before) << "it is in no file";
  ExpectTheMarked(found);
  const std::string backups = folder_.File("backups");
  check(orq_hot_pixels_save(camera_.get(), backups.c_str(), nullptr, nullptr));
  EXPECT_EQ(camera_.flashBackup().rfind(backups, 0), 0U);
  ExpectTheMarked(camera_.hotPixels());
  camera_.repairHotPixels(true);
  EXPECT_TRUE(camera_.repairsHotPixels());
  camera_.repairHotPixels(false);
  EXPECT_FALSE(camera_.repairsHotPixels());
}

TEST_F(ApiHotPixelTable, ATableOutlivesItsCameraAndBecomesFiles) {
  const HotPixels table = camera_.findHotPixels(1);
  camera_.close();
  table.save(folder_.File("hot.csv"), ORQ_TABLE_CSV);
  std::string expected = "x_px,y_px,value\n10,7,1\n11,7,1\n40,20,1\n";
  for (int x = 0; x < kWidth; x += 2) expected += std::to_string(x) + ",30,2\n";
  EXPECT_EQ(Text("hot.csv"), expected + "63,47,1\n");
  EXPECT_THROW(table.save(folder_.File("hot.csv"), ORQ_TABLE_BMP), FileError) << "it is there";
  table.save(folder_.File("hot.csv"), ORQ_TABLE_BMP, true);
  EXPECT_EQ(Text("hot.csv").substr(0, 2), "BM");
  table.save(folder_.File("hot"), ORQ_TABLE_PNG);
  EXPECT_EQ(Text("hot").substr(0, 4), "\x89PNG");
  EXPECT_THROW(table.save(folder_.File("x"), 3), InvalidError);
  EXPECT_THROW(table.save(folder_.File("none/x"), ORQ_TABLE_CSV), FileError);
}

TEST_F(ApiHotPixelTable, TheTableKnowsItsEnd) {
  orq_hot_pixel_table* table = nullptr;
  orq_dark_info info{};
  info.size = sizeof info;
  check(orq_hot_pixels_find(camera_.get(), nullptr, nullptr, nullptr, &info, &table));
  EXPECT_EQ(info.frames, 5) << "of a short exposure";
  EXPECT_EQ(info.bad_rows, 1);
  std::int32_t x = 0;
  std::int32_t y = 0;
  EXPECT_EQ(orq_hot_pixel_table_get_pixel(table, 3, &x, &y), ORQ_OK);
  EXPECT_EQ(std::pair(x, y), kHot.back());
  EXPECT_EQ(orq_hot_pixel_table_get_pixel(table, 4, &x, &y), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_hot_pixel_table_get_pixel(table, -1, &x, &y), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_hot_pixel_table_get_bad_row(table, 1, &y), ORQ_ERROR_RANGE);
  orq_hot_pixel_table_release(table);
  const orq_dark_options many{sizeof many, 17, 0, 0};
  EXPECT_EQ(orq_hot_pixels_find(camera_.get(), &many, nullptr, nullptr, nullptr, &table), ORQ_ERROR_RANGE);
}

}  // namespace
}  // namespace orq
