// Temperatures: the closed form, the unit that runs it on the device clock, and what the sensor makes of them.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "TestCamera.h"
#include "virtual/board/ThermalUnit.h"
#include "virtual/sensor/SensorModel.h"

namespace orq::test {
namespace {

/// The two differential equations of the model in small steps.
ThermalState Euler(ThermalState state, const ThermalInputs& in, double seconds) {
  constexpr double kStep = 1e-4;
  const double toAir = 0.75 / (1 + 2.75 * in.fan);
  const double hotEnd = in.ambientC + toAir * 30 * in.cooler * in.cooler;
  const double difference =
      (in.running ? 3 : 0) + 2 * in.heater - 48 * (1.6 * in.cooler - 0.6 * in.cooler * in.cooler);
  for (auto left = std::llround(seconds / kStep); left > 0; --left) {
    const double sensorRate = (state.hotSideC + difference - state.sensorC) / 30;
    const double hotRate = (hotEnd - state.hotSideC) / (400 * toAir);
    state.sensorC += sensorRate * kStep;
    state.hotSideC += hotRate * kStep;
  }
  return state;
}

TEST(ThermalModel, FollowsItsDifferentialEquations) {
  const ThermalInputs cases[] = {
      {.ambientC = 20, .running = true},
      {.ambientC = 20, .cooler = 1, .fan = 1, .running = true},
      {.ambientC = -5, .cooler = 0.4, .heater = 1, .fan = 0, .running = false},
      {.ambientC = 35, .cooler = 0.7, .heater = 0.5, .fan = 0.3, .running = true},
  };
  for (const ThermalInputs& inputs : cases) {
    for (const double seconds : {0.5, 20.0, 90.0, 400.0}) {
      const ThermalState exact = After({25, 10}, inputs, seconds);
      const ThermalState stepped = Euler({25, 10}, inputs, seconds);
      EXPECT_NEAR(stepped.sensorC, exact.sensorC, 1e-3) << inputs.cooler << ' ' << seconds;
      EXPECT_NEAR(stepped.hotSideC, exact.hotSideC, 1e-3) << inputs.cooler << ' ' << seconds;
    }
  }
}

TEST(ThermalModel, ManyStepsEndWhereOneStepEnds) {
  const ThermalInputs inputs{.ambientC = 12, .cooler = 0.8, .heater = 0.2, .fan = 0.5, .running = true};
  ThermalState stepped{20, 20};
  for (int i = 0; i < 10000; ++i) stepped = After(stepped, inputs, 0.013);
  const ThermalState once = After({20, 20}, inputs, 130);
  EXPECT_NEAR(once.sensorC, stepped.sensorC, 1e-9);
  EXPECT_NEAR(once.hotSideC, stepped.hotSideC, 1e-9);
}

TEST(ThermalModel, CoolsAboutFortyDegreesBelowTheSurroundings) {
  const ThermalInputs full{.ambientC = 20, .cooler = 1, .fan = 1, .running = true};
  // 30 W over 0.2 K/W warm the hot side by 6; 48 less; 3 more of the running sensor.
  EXPECT_NEAR(26, Settled(full).hotSideC, 1e-9);
  EXPECT_NEAR(-19, Settled(full).sensorC, 1e-9);
  const ThermalState later = After({20, 20}, full, 3600);
  EXPECT_NEAR(-19, later.sensorC, 1e-6);
  EXPECT_NEAR(26, later.hotSideC, 1e-6);
}

TEST(ThermalModel, WithoutFanTheHotSideWarmsMore) {
  const ThermalInputs still{.ambientC = 20, .cooler = 1, .fan = 0, .running = true};
  EXPECT_NEAR(20 + 22.5, Settled(still).hotSideC, 1e-9);
  EXPECT_NEAR(20 + 22.5 - 45, Settled(still).sensorC, 1e-9);
}

TEST(ThermalModel, MoreDriveIsAlwaysColderWhileTheFanFollows) {
  double last = 100;
  for (int drive = 0; drive <= 255; ++drive) {
    const double u = drive / 255.0;
    const double sensorC = Settled({.ambientC = 20, .cooler = u, .fan = u, .running = true}).sensorC;
    EXPECT_LT(sensorC, last) << drive;
    last = sensorC;
  }
}

struct Unit {
  explicit Unit(const VirtualOptions& options = {}) : thermal(options, clock) {}
  DeviceClock clock{0};
  ThermalUnit thermal;
};

TEST(ThermalUnitTest, TheTemperatureThatIsGivenStaysWithoutACooler) {
  VirtualOptions options;
  options.temperatureC = -10;
  Unit unit(options);
  EXPECT_EQ(-13, unit.thermal.Now().ambientC);
  unit.clock.Advance(3600);
  EXPECT_NEAR(-10, unit.thermal.SensorC(), 1e-9);
}

TEST(ThermalUnitTest, TheSurroundingsThatAreGivenDecideTheTemperature) {
  VirtualOptions options;
  options.ambientC = 8;
  EXPECT_EQ(11, Unit(options).thermal.SensorC());
  options.temperatureC = 30;
  Unit unit(options);
  EXPECT_EQ(30, unit.thermal.SensorC());
  unit.clock.Advance(30);
  EXPECT_NEAR(11 + 19 / std::exp(1), unit.thermal.SensorC(), 1e-9);
}

TEST(ThermalUnitTest, ByDefaultTheSensorHasTwentyDegrees) {
  Unit unit;
  EXPECT_EQ(20, unit.thermal.SensorC());
  EXPECT_EQ(17, unit.thermal.Now().ambientC);
}

TEST(ThermalUnitTest, LookingOftenDoesNotChangeTheTrajectory) {
  Unit watched;
  Unit alone;
  for (Unit* unit : {&watched, &alone}) {
    unit->thermal.SetCooler(200);
    unit->thermal.SetWatchdog(90);
  }
  for (int i = 0; i < 240; ++i) {
    watched.clock.Advance(0.5);
    watched.thermal.SensorC();
  }
  alone.clock.Advance(120);
  EXPECT_EQ(alone.thermal.SensorC(), watched.thermal.SensorC());
  EXPECT_LT(alone.thermal.SensorC(), 10);
}

TEST(ThermalUnitTest, AnInputCountsFromItsChangeOn) {
  Unit unit;
  unit.clock.Advance(50);
  unit.thermal.SetCooler(255);
  unit.clock.Advance(10);
  unit.thermal.SetCooler(0);
  unit.clock.Advance(20);
  const ThermalInputs cooling{.ambientC = 17, .cooler = 1, .fan = 1, .running = true};
  const ThermalInputs idle{.ambientC = 17, .running = true};
  const ThermalState expected = Euler(Euler({20, 17}, cooling, 10), idle, 20);
  EXPECT_NEAR(expected.sensorC, unit.thermal.SensorC(), 1e-3);
  EXPECT_NEAR(expected.hotSideC, unit.thermal.Now().temperatures.hotSideC, 1e-3);
}

TEST(ThermalUnitTest, TheWatchdogEndsTheDriveAtItsTime) {
  Unit unit;
  unit.thermal.SetWatchdog(30);
  unit.thermal.SetCooler(255);
  unit.clock.Advance(29.9);
  EXPECT_EQ(255, unit.thermal.CoolerDrive());
  unit.clock.Advance(0.2);
  EXPECT_EQ(0, unit.thermal.CoolerDrive());
  unit.clock.Advance(69.9);
  const ThermalState expected =
      Euler(Euler({20, 17}, {.ambientC = 17, .cooler = 1, .fan = 1, .running = true}, 30),
            {.ambientC = 17, .running = true}, 70);
  EXPECT_NEAR(expected.sensorC, unit.thermal.SensorC(), 1e-3);
}

TEST(ThermalUnitTest, EveryWriteOfTheDriveStartsTheWatchdogAnew) {
  Unit unit;
  unit.thermal.SetWatchdog(10);
  for (int i = 0; i < 5; ++i) {
    unit.thermal.SetCooler(100);
    unit.clock.Advance(9);
    unit.thermal.SetHeater(i);  // other writes do not
    EXPECT_EQ(100, unit.thermal.CoolerDrive());
  }
  unit.clock.Advance(1);
  EXPECT_EQ(0, unit.thermal.CoolerDrive());
  unit.thermal.SetCooler(7);
  EXPECT_EQ(7, unit.thermal.CoolerDrive());
}

TEST(ThermalUnitTest, AWatchdogThatIsSetTooLateStrikesAtOnce) {
  Unit unit;
  unit.thermal.SetCooler(100);
  unit.clock.Advance(1000);
  EXPECT_EQ(100, unit.thermal.CoolerDrive()) << "no watchdog";
  unit.thermal.SetWatchdog(10);
  EXPECT_EQ(0, unit.thermal.CoolerDrive());
  unit.thermal.SetWatchdog(0);
  unit.thermal.SetCooler(50);
  unit.clock.Advance(1000);
  EXPECT_EQ(50, unit.thermal.CoolerDrive());
}

TEST(ThermalUnitTest, TheFanFollowsTheCoolerUntilItIsSet) {
  Unit unit;
  EXPECT_EQ(0, unit.thermal.Now().fanSpeed);
  unit.thermal.SetCooler(80);
  EXPECT_EQ(80, unit.thermal.Now().fanSpeed);
  unit.thermal.SetFan(30);
  EXPECT_EQ(30, unit.thermal.Now().fanSpeed);
  unit.thermal.SetFan(std::nullopt);
  EXPECT_EQ(80, unit.thermal.Now().fanSpeed);
}

TEST(ThermalUnitTest, ImpossibleValuesAreHeld) {
  Unit unit;
  unit.thermal.SetAmbient(1e300);
  EXPECT_EQ(100, unit.thermal.Now().ambientC);
  unit.thermal.SetAmbient(std::nan(""));
  EXPECT_EQ(20, unit.thermal.Now().ambientC);
  unit.thermal.SetCooler(999);
  EXPECT_EQ(255, unit.thermal.CoolerDrive());
  unit.clock.Advance(1e300);
  unit.clock.Advance(std::nan(""));
  EXPECT_NEAR(20 - 39, unit.thermal.SensorC(), 1e-9);
}

TEST(DeviceClockTest, RunsFasterAtSmallerTimeScales) {
  const auto before = std::chrono::steady_clock::now();
  const DeviceClock clock(0.001);
  const auto made = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() < made + std::chrono::milliseconds(3)) {
  }
  const double seconds = clock.Seconds();
  const std::chrono::duration<double> most = std::chrono::steady_clock::now() - before;
  EXPECT_GE(seconds, 3.0);
  EXPECT_LE(seconds, most.count() * 1000);
}

TEST(DeviceClockTest, StandsStillAtTimeScaleZero) {
  DeviceClock clock(0);
  EXPECT_EQ(0, clock.Seconds());
  clock.Advance(2.5);
  clock.Advance(-1);
  EXPECT_EQ(2.5, clock.Seconds());
}

TEST(DeviceClockTest, StaysFiniteAtTheSmallestTimeScale) {
  EXPECT_TRUE(std::isfinite(DeviceClock(1e-308).Seconds()));
}

/// Keeps the temperatures of the exposures it was asked for.
class RecordingSource : public PatternSource {
 public:
  RecordingSource() : PatternSource(8, 8) {}
  void Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) override {
    std::ranges::fill(adu, static_cast<std::uint16_t>(std::lround(settings.temperatureC * 16 + 1000)));
  }
};

int SampleOfAFrame(VirtualCamera& camera) {
  WriteFpga(camera, wire::kFpgaSingle, 1);
  RunOutput(camera);
  const auto payload = ReadFrame(camera).Payload();
  RunOutput(camera, false);
  return payload.size() < 2 ? -1 : (payload[0] | payload[1] << 8) >> 4;  // 12 bits, left-aligned
}

TEST(VirtualTemperature, AnExposureIsAsWarmAsTheSensorAtItsBeginning) {
  std::string error;
  VirtualOptions options = Untimed();
  options.model = "x26m";
  auto camera = Firmware::Make(options, std::make_unique<RecordingSource>(), error);
  camera->PowerCycle();
  EXPECT_EQ(1000 + 20 * 16, SampleOfAFrame(*camera));
  WriteFpga(*camera, wire::kFpgaCoolerPower, 255);
  camera->AdvanceTime(3600);
  EXPECT_EQ(1000 - 22 * 16, SampleOfAFrame(*camera));  // 17 + 6 - 48 + 3
}

TEST(VirtualTemperature, DarkCurrentDoublesEverySixDegreesOfTheSensor) {
  const auto meanDark = [](double celsius) {
    VirtualOptions options = Untimed();
    options.temperatureC = celsius;
    options.scene = "dark";
    std::string error;
    auto camera = VirtualCamera::Make(options, error);
    camera->PowerCycle();
    SetRegion(*camera, 320, 240);
    WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 1'000'000'000);
    RunOutput(*camera);
    const auto payload = ReadFrame(*camera).Payload();
    double sum = 0;
    for (std::size_t i = 0; i + 1 < payload.size(); i += 2) sum += (payload[i] | payload[i + 1] << 8) >> 4;
    return sum / (320 * 240);
  };
  const double cold = meanDark(20);
  EXPECT_GT(cold, 0.05 * 1000 / 3.6 * 0.99);  // 0.05 e-/s for 1000 s at 3.6 e- per count, and hot pixels
  EXPECT_NEAR(2, meanDark(26.3) / cold, 0.05);
}

TEST(VirtualTemperature, ASensorAtRestCoolsToItsSurroundings) {
  auto camera = MakeCamera(Untimed());
  EXPECT_EQ(20, camera->Readings().sensorC);
  Out(*camera, 0xAE);  // no clock
  camera->AdvanceTime(3600);
  EXPECT_NEAR(17, camera->Readings().sensorC, 1e-9);
  Out(*camera, 0xAF);
  camera->AdvanceTime(3600);
  EXPECT_NEAR(20, camera->Readings().sensorC, 1e-9);
  Out(*camera, 0xD3, 0x0100, 1);  // standby
  camera->AdvanceTime(3600);
  EXPECT_NEAR(17, camera->Readings().sensorC, 1e-9);
  Out(*camera, 0xD3, 0x0100, 0);
  camera->Disconnect();
  camera->AdvanceTime(3600);
  EXPECT_NEAR(17, camera->Readings().sensorC, 1e-9);
  camera->SetAmbient(5);
  camera->PowerCycle();
  camera->AdvanceTime(7200);
  EXPECT_NEAR(8, camera->Readings().sensorC, 1e-6);
}

}  // namespace
}  // namespace orq::test
