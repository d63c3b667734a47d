#include <gtest/gtest.h>

#include <map>
#include <set>

#include "link/ProductIds.h"
#include "models/camera/FrameGeometry.h"
#include "models/table/ModelData.h"
#include "virtual/device/DeviceData.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

TEST(ModelTable, KnowsEachModelByIdAndByName) {
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
  EXPECT_EQ(keys.size(), AllModels().size());
  EXPECT_EQ(names.size(), AllModels().size());
  EXPECT_EQ(ids.size(), AllModels().size());
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
  EXPECT_EQ(model.limits.offsetDefault, 70);
  EXPECT_EQ(model.limits.wbMin, 1);
  EXPECT_EQ(model.limits.wbMax, 99);
  EXPECT_TRUE(model.guidePort);
  EXPECT_FALSE(model.hardwareBin);
}

struct Facts {
  const char* key;
  const char* name;
  int productId, width, height, adcBits;
  bool colour, msbFirst, guidePort, cooled;
  int gainMax;
  Thermometer thermometer;
  int ticksPerMs;
};

TEST(ModelTable, StatesEachCamera) {
  using enum Thermometer;
  const Facts all[] = {
      {"k1c", "Tavix ORQ-K1C", 0x1101, 1936, 1096, 12, true, true, true, false, 100, Tmp100, 1'000},
      {"k1m", "Tavix ORQ-K1M", 0x1102, 1936, 1096, 12, false, true, true, false, 100, Adc081, 1'000},
      {"k2m", "Tavix ORQ-K2M", 0x1201, 2560, 1920, 12, false, true, true, false, 400, Ad7142, 1'000},
      {"x26m", "Tavix ORQ-X26M", 0x2601, 6248, 4176, 16, false, false, false, true, 450, Tmp100, 1'000},
      {"t46c", "Tavix ORQ-T46C", 0x461E, 4080, 3000, 14, true, false, false, false, 380, Sensor, 20'000},
      {"h53m", "Tavix ORQ-H53M", 0x533E, 3200, 2160, 12, false, false, false, false, 420, Tmp451, 74'250},
      {"b29m", "Tavix ORQ-B29M", 0x294A, 4192, 2816, 16, false, false, false, true, 450, Ad7142, 37'125},
      {"l3m", "Tavix ORQ-L3M", 0x3101, 800, 600, 12, false, false, true, false, 300, Tmp100, 1'000},
      {"d6m", "Tavix ORQ-D6M", 0x6201, 960, 640, 14, false, false, false, false, 360, Tmp100, 1'000}};
  ASSERT_EQ(std::size(all) + 1, AllModels().size()) << "a new model wants a row in the list above";
  for (const Facts& facts : all) {
    const ModelData* model = FindModel(facts.key);
    ASSERT_NE(model, nullptr) << facts.key;
    EXPECT_EQ(model->name, facts.name);
    EXPECT_EQ(model->productId, facts.productId) << facts.key;
    EXPECT_EQ(model->maxWidth, facts.width) << facts.key;
    EXPECT_EQ(model->maxHeight, facts.height) << facts.key;
    EXPECT_EQ(model->adcBits, facts.adcBits) << facts.key;
    EXPECT_EQ(model->colour, facts.colour) << facts.key;
    EXPECT_EQ(model->formats, (std::array{true, facts.colour, true, facts.colour})) << facts.key;
    EXPECT_EQ(model->msbFirst, facts.msbFirst) << facts.key;
    EXPECT_EQ(model->guidePort, facts.guidePort) << facts.key;
    EXPECT_EQ(model->cooled, facts.cooled) << facts.key;
    EXPECT_EQ(model->antiDewHeater, facts.cooled) << facts.key;
    EXPECT_EQ(model->limits.gainMax, facts.gainMax) << facts.key;
    EXPECT_EQ(model->thermometer, facts.thermometer) << facts.key;
    EXPECT_EQ(model->ticksPerMs, facts.ticksPerMs) << facts.key;
  }
}

TEST(ModelTable, GivesTheSpecialDevicesToTheirModels) {
  for (const ModelData& model : AllModels()) {
    EXPECT_EQ(model.gps, model.key == "t46c") << model.key;
    EXPECT_EQ(model.hardwareBin, model.key == "x26m") << model.key;
    EXPECT_EQ(model.fpgaBin, model.key == "b29m") << model.key;
    EXPECT_EQ(model.focusMotorRequest, model.key == "h53m" ? 0xBA : 0) << model.key;
    EXPECT_FALSE(model.highSpeed) << model.key << ": the one that has it is probed";
  }
  EXPECT_EQ(FindModel("b29m")->bins, (std::array<std::uint8_t, 16>{1, 2, 4}));
}

// What a model says about its sensor must hold for the simulated one.
TEST(ModelTable, AgreesWithTheSensorOfTheVirtualCamera) {
  for (const ModelData& model : AllModels()) {
    if (model.key == "replay") continue;
    const SensorData* sensor = FindSensor(model.key);
    ASSERT_NE(sensor, nullptr) << model.key << " has no row in src/virtual/sensor/SensorData.cpp";
    EXPECT_EQ(sensor->width, model.maxWidth) << model.key;
    EXPECT_EQ(sensor->height, model.maxHeight) << model.key;
    EXPECT_EQ(sensor->adcBits, model.adcBits) << model.key;
    EXPECT_EQ(sensor->bayerPattern, model.colour ? model.bayerPattern : -1) << model.key;
    EXPECT_EQ(sensor->pixelSizeUm, model.pixelSizeUm) << model.key;
    EXPECT_EQ(sensor->lineTimeNs, model.lineTimeNs) << model.key;
    EXPECT_EQ(sensor->baseElectronsPerAdu, model.baseElectronsPerAdu) << model.key;
    EXPECT_EQ(sensor->fullWellElectrons, model.fullWellElectrons) << model.key;
    EXPECT_EQ(sensor->countsPerOffsetStep, model.countsPerOffset) << model.key;
    EXPECT_EQ(sensor->gainLaw == SensorGainLaw::Stepped, model.name.find("K1") != std::string_view::npos)
        << model.key;
  }
}

// And about its devices, or the host would ask for what is not there.
TEST(ModelTable, AgreesWithTheBoardOfTheVirtualCamera) {
  for (const ModelData& model : AllModels()) {
    const DeviceData* device = FindDevice(model.key);
    ASSERT_NE(device, nullptr) << model.key << " has no row in src/virtual/device/DeviceData.cpp";
    EXPECT_EQ(device->productId, model.productId) << model.key;
    if (model.key == "replay") continue;
    EXPECT_EQ(device->ticksPerMs, static_cast<std::uint32_t>(model.ticksPerMs)) << model.key;
    EXPECT_EQ(device->gpsVersion >= 1, model.gps) << model.key;
    EXPECT_EQ(device->guidePort, model.guidePort) << model.key;
    EXPECT_EQ(device->cooler, model.cooled) << model.key;
    EXPECT_EQ(device->focusMotor, model.focusMotorRequest != 0) << model.key;
    const std::map<Thermometer, ThermometerKind> kinds{{Thermometer::Tmp100, ThermometerKind::Tmp100},
                                                       {Thermometer::Tmp451, ThermometerKind::Tmp451},
                                                       {Thermometer::Adc081, ThermometerKind::Adc081},
                                                       {Thermometer::Ad7142, ThermometerKind::Ad7142},
                                                       {Thermometer::Sensor, ThermometerKind::Sensor}};
    EXPECT_EQ(kinds.at(model.thermometer), device->thermometer) << model.key;
  }
}

TEST(ModelTable, FitsTheWholeSensorToTheRegionRules) {
  for (const ModelData& model : AllModels()) {
    EXPECT_EQ(FullRegion(model).width, model.maxWidth) << model.key;
    EXPECT_EQ(FullRegion(model).height, model.maxHeight) << model.key;
  }
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
