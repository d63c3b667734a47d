// The regulator's decisions one by one, and the regulator on simulated coolers.
#include "models/cooling/CoolerRegulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace orq {
namespace {

// 10 % per degree, integral share doubling in 50 s, 6 degrees per minute (0.1 per second).
constexpr RegulatorTuning kPlain{.percentPerDegree = 10.0,
                                 .integralSeconds = 50.0,
                                 .degreesPerMinute = 6.0,
                                 .mostDegreesAhead = 2.0,
                                 .mostPercent = 100.0};

RegulatorState At(double setPoint, double integral) {
  return {.started = true, .setPoint = setPoint, .integral = integral};
}

TEST(CoolerRegulator, BeginsAtTheSensorsTemperatureWithoutDrive) {
  RegulatorState state;
  EXPECT_EQ(NextDrive(kPlain, state, 18.5, -10.0, 0.0), 0.0);
  EXPECT_TRUE(state.started);
  EXPECT_EQ(state.setPoint, 18.5);
  EXPECT_EQ(state.integral, 0.0);
}

TEST(CoolerRegulator, AddsAProportionalAndAnIntegralShare) {
  RegulatorState state = At(0.0, 20.0);
  // 1.5 degrees too warm: 15 %, and 15 * 2 / 50 = 0.6 % more integral.
  EXPECT_NEAR(NextDrive(kPlain, state, 1.5, 0.0, 2.0), 15.0 + 20.6, 1e-9);
  EXPECT_NEAR(state.integral, 20.6, 1e-9);
  // 1 degree too cold: -10 %, and 0.2 % less.
  EXPECT_NEAR(NextDrive(kPlain, state, -1.0, 0.0, 1.0), -10.0 + 20.4, 1e-9);
}

TEST(CoolerRegulator, MovesTheSetPointAtTheRampsRateBothWays) {
  RegulatorState down = At(10.0, 0.0);
  NextDrive(kPlain, down, 10.0, -20.0, 3.0);
  EXPECT_NEAR(down.setPoint, 9.7, 1e-9);
  RegulatorState up = At(-20.0, 50.0);
  NextDrive(kPlain, up, -20.0, 15.0, 3.0);
  EXPECT_NEAR(up.setPoint, -19.7, 1e-9);
}

TEST(CoolerRegulator, EndsTheRampOnTheTarget) {
  RegulatorState state = At(0.25, 0.0);
  NextDrive(kPlain, state, 0.25, 0.0, 5.0);
  EXPECT_EQ(state.setPoint, 0.0);
  NextDrive(kPlain, state, 0.25, 0.0, 5.0);
  EXPECT_EQ(state.setPoint, 0.0);
}

TEST(CoolerRegulator, WaitsForASensorThatCannotFollow) {
  RegulatorState cooling = At(5.0, 100.0);
  NextDrive(kPlain, cooling, 7.0, -20.0, 1.0);
  EXPECT_EQ(cooling.setPoint, 5.0) << "already two degrees ahead";
  NextDrive(kPlain, cooling, 9.0, -20.0, 1.0);
  EXPECT_EQ(cooling.setPoint, 7.0) << "goes back with a sensor that gets warmer";
  RegulatorState warming = At(-5.0, 0.0);
  NextDrive(kPlain, warming, -7.5, 20.0, 1.0);
  EXPECT_EQ(warming.setPoint, -5.5);
}

TEST(CoolerRegulator, DoesNotWindUpAtEitherEnd) {
  RegulatorState hot = At(0.0, 95.0);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(NextDrive(kPlain, hot, 2.0, 0.0, 1.0), 100.0);
  EXPECT_EQ(hot.integral, 95.0);
  // One step after the sensor has come back the drive leaves its end.
  EXPECT_LT(NextDrive(kPlain, hot, -0.1, 0.0, 1.0), 95.0);

  RegulatorState cold = At(0.0, 5.0);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(NextDrive(kPlain, cold, -2.0, 0.0, 1.0), 0.0);
  EXPECT_EQ(cold.integral, 5.0);
  EXPECT_GT(NextDrive(kPlain, cold, 0.1, 0.0, 1.0), 5.0);
}

TEST(CoolerRegulator, ReachesEitherEndExactly) {
  RegulatorState hot = At(0.0, 79.9);
  EXPECT_EQ(NextDrive(kPlain, hot, 2.0, 0.0, 1.0), 100.0);
  EXPECT_EQ(hot.integral, 80.0);
  RegulatorState cold = At(0.0, 20.1);
  EXPECT_EQ(NextDrive(kPlain, cold, -2.0, 0.0, 1.0), 0.0);
  EXPECT_EQ(cold.integral, 20.0);
}

TEST(CoolerRegulator, LeavesAnEndAlsoWhenTheIntegralHoldsIt) {
  RegulatorState state = At(0.0, 100.0);
  double drive = 100.0;
  for (int i = 0; i < 200; ++i) drive = NextDrive(kPlain, state, -0.5, 0.0, 1.0);
  // -5 % at once and 0.1 % less per second.
  EXPECT_NEAR(drive, 75.0, 1e-6);
}

TEST(CoolerRegulator, KeepsToTheLargestDriveAllowed) {
  RegulatorTuning weak = kPlain;
  weak.mostPercent = 60.0;
  RegulatorState state = At(0.0, 58.0);
  EXPECT_EQ(NextDrive(weak, state, 1.0, 0.0, 1.0), 60.0);
}

TEST(CoolerRegulator, CountsAStandstillAsOneStep) {
  RegulatorState state = At(10.0, 0.0);
  NextDrive(kPlain, state, 10.0, -20.0, 3600.0);
  EXPECT_NEAR(state.setPoint, 9.5, 1e-9) << "five seconds of ramp";
  NextDrive(kPlain, state, 9.5, -20.0, -3.0);
  EXPECT_NEAR(state.setPoint, 9.5, 1e-9) << "a clock that went back";
}

/// A sensor on a thermoelectric cooler on a heat sink: the sensor follows the heat sink less a difference that
/// bends over at high drive, the sink warms with the power spent.
struct Plant {
  const char* name;
  double ambient;
  double sensorSeconds;    ///< time constant of the sensor
  double deltaPerPercent;  ///< degrees per percent at low drive
  double sinkDegrees;      ///< warming of the sink at full drive
  double sinkSeconds;
  double resolution;  ///< of the thermometer
  double sensor = 0.0;
  double sink = 0.0;

  void Start() {
    sensor = ambient + 3.0;
    sink = ambient;
  }
  void Run(double percent, double seconds) {
    const double u = percent / 100.0;
    for (double t = 0.0; t < seconds - 1e-9; t += 0.05) {
      const double cold = sink + 3.0 - deltaPerPercent * 100.0 * (u - 0.4 * u * u);
      sensor += (cold - sensor) / sensorSeconds * 0.05;
      sink += (ambient + sinkDegrees * u * u - sink) / sinkSeconds * 0.05;
    }
  }
  double Reading() const { return std::floor(sensor / resolution) * resolution; }
};

class CoolerOnPlant : public testing::TestWithParam<Plant> {
 protected:
  void SetUp() override { plant_.Start(); }

  /// The true temperature after each step.
  std::vector<double> Regulate(double target, double seconds, double step = 1.0) {
    std::vector<double> course;
    for (double t = 0.0; t < seconds; t += step) {
      drive_ = NextDrive(tuning_, state_, plant_.Reading(), target, step);
      EXPECT_TRUE(drive_ >= 0.0 && drive_ <= 100.0);
      plant_.Run(drive_, step);
      course.push_back(plant_.sensor);
    }
    return course;
  }

  /// Largest distance from `target`.
  static double Worst(const std::vector<double>& course, double target) {
    double worst = 0.0;
    for (const double t : course) worst = std::max(worst, std::abs(t - target));
    return worst;
  }

  /// Largest change over one minute.
  static double FastestMinute(const std::vector<double>& course) {
    double most = 0.0;
    for (std::size_t i = 60; i < course.size(); ++i) most = std::max(most, std::abs(course[i] - course[i - 60]));
    return most;
  }

  const RegulatorTuning tuning_{};
  RegulatorState state_;
  Plant plant_ = GetParam();
  double drive_ = 0.0;
};

TEST_P(CoolerOnPlant, SettlesWithinTwoTenthsOfADegree) {
  const double target = std::round(plant_.ambient) - 20.0;
  const auto approach = Regulate(target, 600.0);
  EXPECT_LE(FastestMinute(approach), 5.5);
  EXPECT_GE(*std::min_element(approach.begin(), approach.end()), target - 0.7) << "overshoot";
  EXPECT_LT(Worst(Regulate(target, 1200.0), target), 0.2);
}

TEST_P(CoolerOnPlant, WarmsNoFasterThanTheRamp) {
  const double target = std::round(plant_.ambient) - 20.0;
  Regulate(target, 900.0);
  const auto warming = Regulate(target + 15.0, 600.0);
  EXPECT_LE(FastestMinute(warming), 5.5);
  EXPECT_LT(Worst(Regulate(target + 15.0, 600.0), target + 15.0), 0.2);
}

TEST_P(CoolerOnPlant, HoldsTheTargetWhileTheNightGetsColder) {
  const double target = std::round(plant_.ambient) - 20.0;
  Regulate(target, 900.0);
  double worst = 0.0;
  for (int minute = 0; minute < 60; ++minute) {
    plant_.ambient -= 0.1;
    worst = std::max(worst, Worst(Regulate(target, 60.0), target));
  }
  EXPECT_LT(worst, 0.2);
}

TEST_P(CoolerOnPlant, ComesBackFromATargetOutOfReachWithoutAShock) {
  Regulate(plant_.ambient - 70.0, 1800.0);
  EXPECT_EQ(drive_, 100.0);
  const double reached = plant_.sensor;
  plant_.ambient -= 15.0;  // carried outside
  EXPECT_LE(FastestMinute(Regulate(reached - 12.0, 900.0)), 6.5);
}

TEST_P(CoolerOnPlant, StaysStableWhenTheComputerIsSlow) {
  const double target = std::round(plant_.ambient) - 20.0;
  Regulate(target, 900.0, 3.0);
  EXPECT_LT(Worst(Regulate(target, 600.0, 3.0), target), 0.2);
}

TEST_P(CoolerOnPlant, DoesNothingForATargetAboveTheSurroundings) {
  Regulate(plant_.ambient + 8.0, 600.0);
  EXPECT_EQ(drive_, 0.0);
  EXPECT_NEAR(plant_.sensor, plant_.ambient + 3.0, 0.01);
}

INSTANTIATE_TEST_SUITE_P(Plants, CoolerOnPlant,
                         testing::Values(Plant{"quick", 20.0, 20.0, 0.75, 6.0, 80.0, 0.0625},
                                         Plant{"usual", 12.0, 30.0, 0.75, 8.0, 150.0, 0.0625},
                                         Plant{"slow", 25.0, 60.0, 0.7, 10.0, 300.0, 0.0625},
                                         Plant{"weak", 5.0, 40.0, 0.6, 8.0, 200.0, 0.03}),
                         [](const auto& plant) { return std::string(plant.param.name); });

}  // namespace
}  // namespace orq
