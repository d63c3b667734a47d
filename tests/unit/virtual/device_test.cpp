// The devices around the sensor, as a host meets them: requests and registers by their numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <iterator>
#include <map>
#include <numeric>
#include <set>

#include "TestCamera.h"
#include "virtual/device/DeviceData.h"
#include "virtual/sensor/chips/PlainChip.h"

namespace orq::test {
namespace {

std::shared_ptr<Firmware> Camera(std::string_view model, double celsius = 20) {
  VirtualOptions options = Untimed();
  options.model = model;
  options.temperatureC = celsius;
  return MakeCamera(options);
}

/// Both bytes of a two-byte request; nothing when it is refused.
std::optional<std::array<int, 2>> Word(VirtualCamera& camera, std::uint8_t request) {
  std::array<std::uint8_t, 2> data{};
  const int result = camera.Control({kVendorIn, request, 0, 0, 2}, data);
  EXPECT_TRUE(result == 2 || result == kUsbPipe) << result;
  return result == 2 ? std::optional(std::array<int, 2>{data[0], data[1]}) : std::nullopt;
}

int ReadSensor(VirtualCamera& camera, std::uint16_t reg) {
  std::uint8_t byte = 0;
  EXPECT_EQ(1, camera.Control({kVendorIn, 0xD2, reg, 0, 1}, std::span(&byte, 1)));
  return byte;
}

int WriteSensor(VirtualCamera& camera, std::uint16_t reg, std::uint8_t value) {
  return Out(camera, 0xD3, reg, value);
}

// The table --------------------------------------------------------------------------------------------------

TEST(DeviceTable, HasEveryModelOnce) {
  std::set<std::string_view> keys;
  std::set<int> products;
  for (const DeviceData& device : AllDevices()) {
    EXPECT_TRUE(keys.insert(device.key).second) << device.key;
    EXPECT_TRUE(products.insert(device.productId).second) << device.key;
    EXPECT_FALSE(device.summary.empty());
    EXPECT_EQ(&device, FindDevice(device.key));
  }
  EXPECT_EQ(
      (std::set<std::string_view>{"k1c", "k1m", "k2m", "x26m", "t46c", "h53m", "b29m", "l3m", "d6m", "replay"}),
      keys)
      << "a new model wants to be named here and in the rows of the next test";
  EXPECT_EQ(nullptr, FindDevice("k9"));
}

TEST(DeviceTable, DecidesWhatTheBoardAnswers) {
  struct Row {
    const char* model;
    int product, board, fpga, adjustable, gps, hub;
  };
  constexpr Row kRows[] = {
      {"k1c", 0x1101, 1, 0xA5, 0, 0, 0},  {"k1m", 0x1102, 1, 0xA5, 0, 0, 0},  {"k2m", 0x1201, 2, 0xA5, 0, 0, 0},
      {"x26m", 0x2601, 6, 0xC0, 1, 0, 4}, {"t46c", 0x461E, 5, 0xC0, 1, 3, 4}, {"h53m", 0x533E, 3, 6, 0, 0, 0},
      {"b29m", 0x294A, 4, 0xB0, 0, 0, 0}, {"l3m", 0x3101, 1, 0xA5, 0, 0, 0},  {"d6m", 0x6201, 2, 0xB0, 0, 0, 0},
      {"replay", 0x0F01, 1, 1, 0, 0, 0},
  };
  EXPECT_EQ(std::size(kRows), AllDevices().size());
  for (const Row& row : kRows) {
    auto camera = Camera(row.model);
    std::uint8_t board = 0;
    EXPECT_EQ(1, camera->Control({kVendorIn, 0xD5, 0, 0, 1}, std::span(&board, 1)));
    EXPECT_EQ(row.product, camera->ProductId()) << row.model;
    EXPECT_EQ(row.board, board) << row.model;
    EXPECT_EQ(row.fpga, ReadFpga(*camera, 0x1C)) << row.model;
    EXPECT_EQ(row.adjustable, ReadFpga(*camera, 0xFE)) << row.model;
    EXPECT_EQ(row.gps, ReadFpga(*camera, 0x46)) << row.model;
    EXPECT_EQ(row.hub, ReadFpga(*camera, 0xFC)) << row.model;
  }
}

// Thermometers -----------------------------------------------------------------------------------------------

TEST(VirtualThermometers, ATmp100CountsSixteenthsWithASign) {
  for (const double celsius : {25.0, 0.0625, -0.0625, -19.97, 99.9}) {
    auto camera = Camera("k1c", celsius);
    const auto bytes = Word(*camera, 0xB3).value();
    const int raw = bytes[1] * 16 + (bytes[0] >> 4);
    const double decoded = raw >= 2048 ? (4096 - raw) * -0.0625 : raw * 0.0625;
    EXPECT_NEAR(celsius, decoded, 0.0313);
    EXPECT_FALSE(Word(*camera, 0xC7)) << "no converter on this board";
  }
  EXPECT_EQ((std::array<int, 2>{0xF0, 0xFF}), Word(*Camera("k1c", -0.0625), 0xB3).value());
}

TEST(VirtualThermometers, ATmp451CountsUnsignedSixteenths) {
  for (const double celsius : {25.0, 33.9375, 0.05, 99.9}) {
    auto camera = Camera("h53m", celsius);
    const auto bytes = Word(*camera, 0xB3).value();
    EXPECT_NEAR(celsius, bytes[1] + bytes[0] * 0.0625, 0.0313);
    EXPECT_FALSE(Word(*camera, 0xC7));
  }
  EXPECT_EQ((std::array<int, 2>{0, 0}), Word(*Camera("h53m", -5), 0xB3).value());
}

/// Resistances of the thermistor, kΩ.
constexpr struct {
  double celsius, kiloOhm;
} kCurve[] = {{-30, 175.2876}, {-20, 97.6037}, {-10, 55.5345}, {0, 32.7421}, {10, 19.9364},
              {20, 12.5005},   {25, 10.0},     {30, 8.0512},   {40, 5.315},  {60, 2.4755}};

TEST(VirtualThermometers, AnAd7142CountsTheThermistorInTwelveBits) {
  for (const auto& point : kCurve) {
    auto camera = Camera("b29m", point.celsius);
    const auto bytes = Word(*camera, 0xC7).value();
    const int adc = (bytes[1] << 4) | (bytes[0] >> 4);
    const double kiloOhm = adc * 10.0 / (4096 - adc);
    EXPECT_NEAR(1, kiloOhm / point.kiloOhm, 0.015) << point.celsius;  // 5 % per degree: 0.3 degrees
    EXPECT_FALSE(Word(*camera, 0xB3));
  }
  EXPECT_EQ((std::array<int, 2>{0x00, 0x80}), Word(*Camera("k2m", 25), 0xC7).value());
}

TEST(VirtualThermometers, AnAdc081CountsTheThermistorInEightBits) {
  for (const auto& point : kCurve) {
    const auto bytes = Word(*Camera("k1m", point.celsius), 0xC7).value();
    const int adc = ((bytes[0] >> 4) | (bytes[1] << 4)) & 0xFF;
    EXPECT_NEAR(256 * point.kiloOhm / (point.kiloOhm + 10), adc, 1) << point.celsius;
  }
  EXPECT_EQ((std::array<int, 2>{0x00, 0x08}), Word(*Camera("k1m", 25), 0xC7).value());
}

TEST(VirtualThermometers, ASensorTellsItsOwnTemperature) {
  for (const double celsius : {25.0, -0.25, -33.333}) {
    auto camera = Camera("t46c", celsius);
    const int low = ReadSensor(*camera, 0x013A);
    const int high = ReadSensor(*camera, 0x013B);
    EXPECT_NEAR(celsius, static_cast<std::int16_t>(low | high << 8) / 256.0, 0.002);
    EXPECT_FALSE(Word(*camera, 0xB3));
    EXPECT_FALSE(Word(*camera, 0xC7));
  }
}

TEST(VirtualThermometers, TheSensorsWordIsLatchedByItsLowByte) {
  auto camera = Camera("t46c", 10);  // 0x0A00
  EXPECT_EQ(0x00, ReadSensor(*camera, 0x013A));
  camera->SetAmbient(-20);
  camera->AdvanceTime(3600);
  EXPECT_EQ(0x0A, ReadSensor(*camera, 0x013B));
  ReadSensor(*camera, 0x013A);
  EXPECT_EQ(0xEF, ReadSensor(*camera, 0x013B));  // -17: 0xEF00
  EXPECT_EQ(0, WriteSensor(*camera, 0x013B, 0x55));
  EXPECT_EQ(0xEF, ReadSensor(*camera, 0x013B)) << "read only";
}

TEST(VirtualThermometers, OtherSensorsHaveNoThermometer) {
  auto camera = Camera("k1c", 25);
  EXPECT_EQ(0, ReadSensor(*camera, 0x013A));
  WriteSensor(*camera, 0x013A, 0x55);
  EXPECT_EQ(0x55, ReadSensor(*camera, 0x013A));
}

TEST(VirtualThermometers, FollowTheSensor) {
  auto camera = Camera("x26m", 20);
  WriteFpga(*camera, 0xE0, 255);
  camera->AdvanceTime(7200);
  // 17 °C around, 6 of the hot side, 48 of the cooler, 3 of the sensor: -22 = 4096 - 352 sixteenths = 0xEA0.
  EXPECT_EQ((std::array<int, 2>{0x00, 0xEA}), Word(*camera, 0xB3).value());
}

// Cooler -----------------------------------------------------------------------------------------------------

TEST(VirtualCooler, AWatchdogSwitchesItOffWhenTheHostIsSilent) {
  auto camera = Camera("x26m");
  WriteFpga(*camera, 0xE2, 60);
  WriteFpga(*camera, 0xE0, 200);
  camera->AdvanceTime(59);
  EXPECT_EQ(200, ReadFpga(*camera, 0xE0)) << "a read does not feed it, yet";
  camera->AdvanceTime(1);
  EXPECT_EQ(0, ReadFpga(*camera, 0xE0));
  EXPECT_EQ(0, camera->FpgaRegister(0xE0));
  EXPECT_EQ(0, camera->Readings().coolerDrive);
  WriteFpga(*camera, 0xE0, 10);
  EXPECT_EQ(10, ReadFpga(*camera, 0xE0));
}

TEST(VirtualCooler, DrivesAndHeaterShowInTheReadings) {
  auto camera = Camera("b29m");
  WriteFpga(*camera, 0xE0, 100);
  WriteFpga(*camera, 0xE1, 50);
  WriteFpga(*camera, 0x19, 0);  // this board's fan is not adjustable: it follows the cooler
  WriteFpga(*camera, 0xFA, 9);
  const DeviceReadings readings = camera->Readings();
  EXPECT_EQ(100, readings.coolerDrive);
  EXPECT_EQ(50, readings.heaterDrive);
  EXPECT_EQ(100, readings.fanSpeed);
}

TEST(VirtualCooler, TheHeaterWarmsTheSensorALittle) {
  auto camera = Camera("x26m", 20);
  WriteFpga(*camera, 0xE1, 255);
  camera->AdvanceTime(3600);
  EXPECT_NEAR(22, camera->Readings().sensorC, 1e-6);
}

TEST(VirtualCooler, IsOffAfterAPowerCycle) {
  auto camera = Camera("x26m");
  WriteFpga(*camera, 0xE0, 255);
  WriteFpga(*camera, 0xE1, 255);
  WriteFpga(*camera, 0xE2, 9);
  camera->PowerCycle();
  EXPECT_EQ(0, ReadFpga(*camera, 0xE0));
  EXPECT_EQ(0, ReadFpga(*camera, 0xE2));
  EXPECT_EQ(0, camera->Readings().coolerDrive);
  EXPECT_EQ(0, camera->Readings().heaterDrive);
}

TEST(VirtualCooler, IsOffWhilePulledOut) {
  auto camera = Camera("x26m");
  WriteFpga(*camera, 0xE0, 255);
  camera->Disconnect();
  EXPECT_EQ(0, camera->Readings().coolerDrive);
}

TEST(VirtualCooler, IsNotOnEveryCamera) {
  auto camera = Camera("k1c");
  WriteFpga(*camera, 0xE0, 255);
  camera->AdvanceTime(3600);
  EXPECT_EQ(255, ReadFpga(*camera, 0xE0));
  EXPECT_EQ(0, camera->Readings().coolerDrive);
  EXPECT_NEAR(20, camera->Readings().sensorC, 1e-9);
}

/// The plainest of regulators finds its temperature.
TEST(VirtualCooler, CanBeRegulated) {
  auto camera = Camera("x26m", 20);
  WriteFpga(*camera, 0xE2, 10);
  double integral = 0;
  double sensorC = 20;
  for (int second = 0; second < 1800; ++second) {
    sensorC = camera->Readings().sensorC;
    const double error = sensorC + 10;
    integral = std::clamp(integral + error * 0.1, 0.0, 255.0);
    WriteFpga(*camera, 0xE0, static_cast<std::uint8_t>(std::clamp(integral + error * 8, 0.0, 255.0)));
    camera->AdvanceTime(1);
  }
  EXPECT_NEAR(-10, sensorC, 0.2);
}

// Fan, LED, hub ----------------------------------------------------------------------------------------------

TEST(VirtualFan, TurnsAsSetOnceBit7OfItsControlIsClear) {
  auto camera = Camera("x26m");
  EXPECT_EQ(0x80, ReadFpga(*camera, 0x19));
  WriteFpga(*camera, 0xFA, 90);
  EXPECT_EQ(90, ReadFpga(*camera, 0xFA));
  EXPECT_EQ(0, camera->Readings().fanSpeed) << "follows the cooler, which is off";
  WriteFpga(*camera, 0xE0, 60);
  EXPECT_EQ(60, camera->Readings().fanSpeed);
  WriteFpga(*camera, 0x19, 0x00);
  EXPECT_EQ(90, camera->Readings().fanSpeed);
  WriteFpga(*camera, 0xFA, 120);
  EXPECT_EQ(120, camera->Readings().fanSpeed);
  WriteFpga(*camera, 0x19, 0x83);
  EXPECT_EQ(60, camera->Readings().fanSpeed);
  EXPECT_EQ(0x83, ReadFpga(*camera, 0x19)) << "the other bits keep what is written";
}

TEST(VirtualFan, AtRestLeavesTheHotSideWarm) {
  auto camera = Camera("x26m", 20);
  WriteFpga(*camera, 0x19, 0);
  WriteFpga(*camera, 0xFA, 0);
  WriteFpga(*camera, 0xE0, 255);
  camera->AdvanceTime(7200);
  EXPECT_NEAR(17 + 22.5, camera->Readings().hotSideC, 1e-6);
  WriteFpga(*camera, 0xFA, 255);
  camera->AdvanceTime(7200);
  EXPECT_NEAR(17 + 6, camera->Readings().hotSideC, 1e-6);
}

TEST(VirtualLed, ShinesAsSet) {
  auto camera = Camera("t46c");
  EXPECT_EQ(255, camera->Readings().ledLevel);
  WriteFpga(*camera, 0xFB, 17);
  EXPECT_EQ(17, camera->Readings().ledLevel);
  auto fixed = Camera("k1c");
  WriteFpga(*fixed, 0xFB, 17);
  EXPECT_EQ(255, fixed->Readings().ledLevel);
}

class VirtualHub : public testing::Test {
 protected:
  bool On() const { return camera->Readings().hubOn; }
  std::shared_ptr<Firmware> camera = Camera("x26m");
};

TEST_F(VirtualHub, APowerBitSwitchesIt) {
  EXPECT_TRUE(On());
  WriteFpga(*camera, 0xFC, 0x03);
  EXPECT_FALSE(On());
  EXPECT_EQ(0x03, ReadFpga(*camera, 0xFC));
  camera->AdvanceTime(100);
  EXPECT_FALSE(On()) << "nothing but a reset switches it on again";
  WriteFpga(*camera, 0xFC, 0x07);
  EXPECT_TRUE(On());
  EXPECT_EQ(0x07, ReadFpga(*camera, 0xFC));
}

TEST_F(VirtualHub, AfterAResetPowerReturnsByItself) {
  WriteFpga(*camera, 0xFC, 0x07);
  WriteFpga(*camera, 0xFD, 2);
  EXPECT_EQ(2, ReadFpga(*camera, 0xFD));
  EXPECT_TRUE(On());
  WriteFpga(*camera, 0xFC, 0x03);
  EXPECT_FALSE(On());
  camera->AdvanceTime(0.9);
  EXPECT_EQ(0x03, ReadFpga(*camera, 0xFC));
  EXPECT_EQ(2, ReadFpga(*camera, 0xFD));
  camera->AdvanceTime(0.2);
  EXPECT_EQ(0x07, ReadFpga(*camera, 0xFC));
  EXPECT_EQ(0, ReadFpga(*camera, 0xFD));
  EXPECT_TRUE(On());
  WriteFpga(*camera, 0xFC, 0);
  camera->AdvanceTime(10);
  EXPECT_FALSE(On()) << "the reset is over";
}

TEST_F(VirtualHub, AResetOfAHubThatIsOffSwitchesItOn) {
  WriteFpga(*camera, 0xFC, 0);
  WriteFpga(*camera, 0xFD, 2);
  EXPECT_FALSE(On());
  camera->AdvanceTime(1);
  EXPECT_TRUE(On());
}

TEST_F(VirtualHub, SwitchingItOnEndsAReset) {
  WriteFpga(*camera, 0xFD, 2);
  WriteFpga(*camera, 0xFC, 0);
  WriteFpga(*camera, 0xFC, 4);
  EXPECT_EQ(0, ReadFpga(*camera, 0xFD));
  WriteFpga(*camera, 0xFC, 0);
  camera->AdvanceTime(10);
  EXPECT_FALSE(On());
}

TEST_F(VirtualHub, OtherCommandsDoNothing) {
  WriteFpga(*camera, 0xFD, 1);
  WriteFpga(*camera, 0xFC, 0);
  camera->AdvanceTime(10);
  EXPECT_FALSE(On());
  EXPECT_EQ(0, ReadFpga(*camera, 0xFD));
}

TEST_F(VirtualHub, APowerCycleSwitchesItOn) {
  WriteFpga(*camera, 0xFC, 0);
  camera->PowerCycle();
  EXPECT_TRUE(On());
  EXPECT_FALSE(Camera("k1c")->Readings().hubOn) << "there is none";
}

// Threads ----------------------------------------------------------------------------------------------------

TEST(VirtualDevices, CanBeLookedAtWhileTheCameraWorks) {
  auto camera = Camera("x26m");
  RunOutput(*camera);
  std::atomic<bool> done{false};
  std::thread watcher([&] {
    while (!done) {
      EXPECT_LE(camera->Readings().coolerDrive, 255);
      camera->AdvanceTime(0.01);
      camera->SetAmbient(5);
    }
  });
  for (int i = 0; i < 200; ++i) {
    WriteFpga(*camera, 0xE0, static_cast<std::uint8_t>(i));
    EXPECT_EQ(i, ReadFpga(*camera, 0xE0));
    EXPECT_TRUE(ReadFrame(*camera).Header());  // its exposure takes the temperature
  }
  done = true;
  watcher.join();
  EXPECT_EQ(199, camera->Readings().coolerDrive);
}

// Exposure counter -------------------------------------------------------------------------------------------

std::uint64_t ExposureCount(VirtualCamera& camera) {
  std::uint64_t count = 0;
  for (int i = 0; i < 5; ++i)
    count |= std::uint64_t{ReadFpga(camera, static_cast<std::uint16_t>(0xD0 + i))} << (8 * i);
  return count;
}

void Expose(VirtualCamera& camera, std::uint64_t microseconds) {
  WriteFpga(camera, wire::kFpgaSingle, 1);
  WriteFpgaWide(camera, wire::kFpgaExposure, 5, microseconds);
  RunOutput(camera);
  EXPECT_EQ(microseconds, ReadFrame(camera).Header().value_or(wire::FrameHeader{}).exposureUs);
  RunOutput(camera, false);
}

TEST(VirtualExposureCounter, CountsTicksOfTheModelsClock) {
  const std::map<std::string_view, std::uint64_t> faster{{"t46c", 20000}, {"h53m", 74250}, {"b29m", 37125}};
  for (const DeviceData& device : AllDevices()) {
    // A chip of another kind wants to be set up first, and exposes by its own registers.
    const auto chip = MakeSensorChip(device.key);
    if (dynamic_cast<const PlainChip*>(chip.get()) == nullptr) continue;
    const auto found = faster.find(device.key);
    const std::uint64_t ticksPerMs = found != faster.end() ? found->second : 1000;
    auto camera = Camera(device.key);
    EXPECT_EQ(0U, ExposureCount(*camera));
    for (const std::uint64_t us : {1'000'000U, 2'500'001U, 3'600'000'000U}) {
      Expose(*camera, us);
      EXPECT_EQ(us * ticksPerMs / 1000, ExposureCount(*camera)) << device.key;
      EXPECT_EQ(us / 1000, ExposureCount(*camera) / ticksPerMs) << device.key;
    }
  }
}

TEST(VirtualExposureCounter, IsLatchedByItsLowestByte) {
  auto camera = Camera("k1c");
  Expose(*camera, 0x01020304);
  EXPECT_EQ(0x04, ReadFpga(*camera, 0xD0));
  Expose(*camera, 0x05060708);
  EXPECT_EQ(0x03, ReadFpga(*camera, 0xD1));
  EXPECT_EQ(0x02, ReadFpga(*camera, 0xD2));
  EXPECT_EQ(0x05060708U, ExposureCount(*camera));
}

// Sensor identity --------------------------------------------------------------------------------------------

std::vector<int> Identity(VirtualCamera& camera) {
  std::vector<int> bytes;
  for (std::uint16_t reg = 0x0A27; reg <= 0x0A31; ++reg) bytes.push_back(ReadSensor(camera, reg));
  return bytes;
}

TEST(VirtualSensorIdentity, ComesFromSerialNumberAndProduct) {
  VirtualOptions options = Untimed();
  options.serial = "0123456789abcdef";
  auto camera = MakeCamera(options);
  EXPECT_EQ(std::vector<int>(11, 0), Identity(*camera)) << "not fetched yet";
  WriteSensor(*camera, 0x0A02, 0x7F);
  WriteSensor(*camera, 0x0A00, 1);
  std::vector<int> expected{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x11, 0x01};
  expected.push_back(std::accumulate(expected.begin(), expected.end(), 0) & 0xFF);
  EXPECT_EQ(expected, Identity(*camera));
  EXPECT_EQ(0, WriteSensor(*camera, 0x0A27, 0x99));
  EXPECT_EQ(expected, Identity(*camera)) << "read only";
}

TEST(VirtualSensorIdentity, IsOnItsPageOnly) {
  auto camera = Camera("k1c");
  WriteSensor(*camera, 0x0A02, 0x7F);
  WriteSensor(*camera, 0x0A00, 0);
  EXPECT_EQ(std::vector<int>(11, 0), Identity(*camera));
  WriteSensor(*camera, 0x0A00, 1);
  EXPECT_NE(std::vector<int>(11, 0), Identity(*camera));
  WriteSensor(*camera, 0x0A02, 0x7E);
  WriteSensor(*camera, 0x0A00, 1);
  EXPECT_EQ(std::vector<int>(11, 0), Identity(*camera));
}

}  // namespace
}  // namespace orq::test
