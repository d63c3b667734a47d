// The page about adding a model: its code is that of the tree, and goes from a product id to a corrected frame.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "session/DarkSession.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

std::string Text(const std::string& path) {
  std::ifstream file(std::string(ORQ_SOURCE_DIR) + "/" + path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(AddingAModel, ThePagesCodeStandsInTheFilesThatItNames) {
  std::istringstream page(Text("docs/adding-a-model.md"));
  std::string named;
  int blocks = 0;
  for (std::string line; std::getline(page, line);) {
    if (line.size() > 2 && line.front() == '`' && line.back() == '`') named = line.substr(1, line.size() - 2);
    if (line != "```cpp") continue;
    std::string block;
    while (std::getline(page, line) && line != "```") block += line + "\n";
    EXPECT_NE(Text(named).find(block), std::string::npos) << named << " has not:\n" << block;
    ++blocks;
  }
  EXPECT_EQ(blocks, 6);
}

// A pattern that matches nothing lets ctest succeed.
TEST(AddingAModel, TheTestsThatThePageNamesAreThere) {
  std::string tests;
  for (const auto& file : std::filesystem::recursive_directory_iterator(std::string(ORQ_SOURCE_DIR) + "/tests")) {
    const std::string name = std::filesystem::relative(file.path(), ORQ_SOURCE_DIR);
    if (name.ends_with("_test.cpp")) tests += Text(name);
    if (name.starts_with("tests/cli/test_")) tests += "cli." + file.path().stem().string().substr(5) + "\n";
  }
  const std::string page = Text("docs/adding-a-model.md");
  const std::regex pattern("ctest .* -R '([^']+)'");
  int names = 0;
  for (std::sregex_iterator at(page.begin(), page.end(), pattern), end; at != end; ++at) {
    std::istringstream words((*at)[1]);
    for (std::string word; std::getline(words, word, '|'); ++names)
      EXPECT_NE(tests.find(word), std::string::npos) << word;
  }
  EXPECT_GT(names, 5);
}

double Mean(const std::vector<std::uint8_t>& frame) {
  return std::accumulate(frame.begin(), frame.end(), 0.0) / static_cast<double>(frame.size());
}

TEST(AddingAModel, TheExampleGoesFromItsProductIdToACorrectedFrame) {
  const ModelData* model = FindModel(std::uint16_t{0x3101});
  ASSERT_NE(model, nullptr);
  const VirtualRig rig(
      model->key.data(),
      [](VirtualOptions& options) {
        options.scene = "dark";
        options.timeScale = 0;
        options.temperatureC = 60;  // so that there is a dark current to be corrected
      },
      256);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  ASSERT_TRUE(camera.SetExp(30'000'000, false));
  ASSERT_TRUE(camera.SetGain(100, false));
  DarkFacts facts;
  const DarkOutcome outcome = DarkSession(camera).Collect(1, {}, facts);
  ASSERT_TRUE(outcome.Done()) << outcome.reason;
  EXPECT_EQ(facts.gain, 99);

  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(camera.SetRegion({0, 0, 256, 256, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  camera.UsingDark(false);
  FrameInfo info;
  const std::vector<std::uint8_t> plain = rig.Snap(info);
  ASSERT_FALSE(plain.empty());
  EXPECT_FALSE(info.darkSubtracted);
  ASSERT_TRUE(DarkSession(camera).Collect(1, {}, facts).Done());
  camera.UsingDark(true);
  const std::vector<std::uint8_t> corrected = rig.Snap(info);
  ASSERT_FALSE(corrected.empty());
  EXPECT_TRUE(info.darkSubtracted);
  EXPECT_EQ(info.gain, 99);
  EXPECT_EQ(info.exposureUs, 30'000'000U);
  const auto spread = [](const std::vector<std::uint8_t>& frame) {
    const double mean = Mean(frame);
    double sum = 0;
    for (const std::uint8_t value : frame) sum += (value - mean) * (value - mean);
    return sum / static_cast<double>(frame.size());
  };
  EXPECT_LT(spread(corrected), 0.5 * spread(plain)) << "hot pixels and rows stand out no more";
}

}  // namespace
}  // namespace orq
