#include <gtest/gtest.h>

#include <set>

#include "link/ProductIds.h"
#include "models/ModelData.h"

namespace orq {
namespace {

TEST(ModelTable, KnowsEachModelByIdAndByName) {
  ASSERT_EQ(AllModels().size(), 3U);
  for (const ModelData& model : AllModels()) {
    EXPECT_EQ(FindModel(model.productId), &model);
    EXPECT_EQ(FindModel(model.key), &model);
  }
  EXPECT_EQ(FindModel("K1C"), FindModel(pid::kK1C));
  EXPECT_EQ(FindModel("X26m"), FindModel(pid::kX26M));
}

TEST(ModelTable, AnswersNullForOthers) {
  EXPECT_EQ(FindModel(std::uint16_t{0x1234}), nullptr);
  EXPECT_EQ(FindModel("k1"), nullptr);
  EXPECT_EQ(FindModel("k1cc"), nullptr);
  EXPECT_EQ(FindModel(""), nullptr);
}

TEST(ModelTable, HasUniqueNamesAndIds) {
  std::set<std::string_view> keys, names;
  std::set<std::uint16_t> ids;
  for (const ModelData& model : AllModels()) {
    keys.insert(model.key);
    names.insert(model.name);
    ids.insert(model.productId);
  }
  EXPECT_EQ(keys.size(), 3U);
  EXPECT_EQ(names.size(), 3U);
  EXPECT_EQ(ids.size(), 3U);
}

TEST(ModelTable, StatesTheColourCamera) {
  const ModelData& model = *FindModel("k1c");
  EXPECT_EQ(model.name, "Tavix ORQ-K1C");
  EXPECT_EQ(model.maxWidth, 1936);
  EXPECT_EQ(model.maxHeight, 1096);
  EXPECT_EQ(model.pixelSizeUm, 2.9);
  EXPECT_EQ(model.adcBits, 12);
  EXPECT_TRUE(model.colour);
  EXPECT_TRUE(model.msbFirst);
  EXPECT_EQ(model.formats, (std::array{true, true, true, true}));
  EXPECT_EQ(model.limits.exposureMin, 32);
  EXPECT_EQ(model.limits.exposureMax, 2'000'000'000);
  EXPECT_EQ(model.limits.exposureDefault, 10'000);
  EXPECT_EQ(model.limits.offsetMax, 240);
  EXPECT_EQ(model.limits.offsetDefault, 8);
  EXPECT_EQ(model.limits.wbMin, 1);
  EXPECT_EQ(model.limits.wbMax, 99);
  EXPECT_TRUE(model.guidePort);
  EXPECT_FALSE(model.hardwareBin);
}

TEST(ModelTable, StatesTheMonochromeCamera) {
  const ModelData& model = *FindModel("x26m");
  EXPECT_EQ(model.name, "Tavix ORQ-X26M");
  EXPECT_EQ(model.maxWidth, 6248);
  EXPECT_EQ(model.maxHeight, 4176);
  EXPECT_EQ(model.pixelSizeUm, 3.76);
  EXPECT_EQ(model.adcBits, 16);
  EXPECT_FALSE(model.colour);
  EXPECT_EQ(model.formats, (std::array{true, false, true, false}));
  EXPECT_EQ(model.limits.gainMax, 450);
  EXPECT_TRUE(model.hardwareBin);
  EXPECT_FALSE(model.cooled);
}

TEST(ModelTable, KeepsEveryDefaultInsideItsLimits) {
  for (const ModelData& model : AllModels()) {
    const ControlLimits& l = model.limits;
    EXPECT_TRUE(l.gainMin <= l.gainDefault && l.gainDefault <= l.gainMax) << model.key;
    EXPECT_TRUE(l.exposureMin <= l.exposureDefault && l.exposureDefault <= l.exposureMax) << model.key;
    EXPECT_TRUE(l.offsetMin <= l.offsetDefault && l.offsetDefault <= l.offsetMax) << model.key;
    EXPECT_TRUE(l.wbMin <= l.wbRedDefault && l.wbRedDefault <= l.wbMax) << model.key;
    EXPECT_TRUE(l.wbMin <= l.wbBlueDefault && l.wbBlueDefault <= l.wbMax) << model.key;
    EXPECT_TRUE(l.bandwidthMin <= model.usb3Bandwidth && model.usb3Bandwidth <= l.bandwidthMax) << model.key;
  }
}

}  // namespace
}  // namespace orq
