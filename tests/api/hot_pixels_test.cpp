// Tables of hot pixels through the C interface, with the C++ layer over it.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>

#include "Camera.h"
#include "models/table/ModelData.h"
#include "orqcam/orqcam.hpp"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kBadRow = 30;
const std::vector<std::pair<int, int>> kHot = {{10, 7}, {11, 7}, {40, 20}, {63, 47}};

/// A camera that plays a dark in which some pixels and every second one of a row stand out.
class ApiHotPixels : public ::testing::Test {
 protected:
  ApiHotPixels() : camera_(Name()) {}

  std::string Name() const {
    std::string pixels(std::size_t{kWidth} * kHeight, 10);
    const auto mark = [&](int x, int y) { pixels[static_cast<std::size_t>(y * kWidth + x)] = 90; };
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

TEST_F(ApiHotPixels, AreFoundInADarkStoredAndReadAgain) {
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

TEST_F(ApiHotPixels, ATableOutlivesItsCameraAndBecomesFiles) {
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

TEST_F(ApiHotPixels, TheTableKnowsItsEnd) {
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

}  // namespace
}  // namespace orq
