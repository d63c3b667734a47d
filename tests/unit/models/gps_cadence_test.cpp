#include "models/frametime/GpsCadence.h"

#include <gtest/gtest.h>

namespace orq {
namespace {

constexpr UtcTenths kPeriod = 200'000;  ///< 20 ms
constexpr RowPace kNominal{200'000, 10};
constexpr UtcTenths kStart = 19'000'000'000'000'000;
constexpr std::uint32_t kFirstLatch = 100;
constexpr std::uint32_t kFirstSequence = 7'000;

class Cadence : public testing::Test {
 protected:
  Cadence() {
    cadence.Begin();
    cadence.Promise(kNominal);
  }
  static FrameNumbers Frame(int n) {
    return {kFirstSequence + static_cast<std::uint32_t>(n), kFirstLatch + static_cast<std::uint32_t>(n)};
  }
  static FrameGps Fix(UtcTenths start) {
    FrameGps gps;
    gps.state = GpsState::Fix;
    gps.latched = {.startLine = 10, .endLine = 20, .start = start, .end = start + 1'640};
    gps.satellites = 9;
    gps.latitude = 47.5;
    return gps;
  }
  /// The latch of frame `n`, `late` tenths after its time.
  void See(int n, UtcTenths late = 0) { cadence.See(Frame(n), Fix(kStart + n * kPeriod + late)); }
  /// Uses a prediction; its time after that of a perfect camera, and its error.
  struct Guess {
    UtcTenths off = 0;
    UtcTenths error = 0;
  };
  Guess Use(int n) {
    const auto gps = cadence.Predict(Frame(n));
    EXPECT_TRUE(gps.has_value());
    if (!gps) return {};
    cadence.Count();
    return {gps->latched.start - kStart - n * kPeriod, gps->predictionError};
  }
  void ExpectCounts(std::uint64_t predicted, std::uint64_t confirmed, std::uint64_t wrong) {
    EXPECT_EQ(cadence.Counts().predicted, predicted);
    EXPECT_EQ(cadence.Counts().confirmed, confirmed);
    EXPECT_EQ(cadence.Counts().wrong, wrong);
  }

  GpsCadence cadence;
};

TEST(LatchSteps, LeaveOutZero) {
  EXPECT_EQ(LatchSteps(5, 9), 4);
  EXPECT_EQ(LatchSteps(9, 5), -4);
  EXPECT_EQ(LatchSteps(5, 5), 0);
  EXPECT_EQ(LatchSteps(0xFFFFFFFFU, 1), 1);
  EXPECT_EQ(LatchSteps(0xFFFFFFFEU, 3), 4);
  EXPECT_EQ(LatchSteps(1, 0xFFFFFFFFU), -1);
}

TEST(NominalCadence, IsTheLongerOfExposureAndReadout) {
  // 20 ms of exposure, 100 rows of 16.4 us: the clock may be 50 ppm off.
  EXPECT_EQ(NominalCadence(20'000, 100, {164, 0.5}).interval, 200'000.0);
  EXPECT_NEAR(NominalCadence(20'000, 100, {164, 0.5}).error, 10.0, 1e-9);
  // 1 ms and 1.64 ms: 100 rows, each rounded to half a tenth.
  EXPECT_EQ(NominalCadence(1'000, 100, {164, 0.5}).interval, 16'400.0);
  EXPECT_NEAR(NominalCadence(1'000, 100, {164, 0.5}).error, 50.0 + 0.82, 1e-9);
  // A port may slow 1.64 ms of readout down to 4 ms, beyond the 2 ms of exposure.
  EXPECT_EQ(NominalCadence(2'000, 100, {164, 236}).interval, 20'000.0);
  EXPECT_NEAR(NominalCadence(2'000, 100, {164, 236}).error, 20'000.0 + 1.0, 1e-9);
}

TEST_F(Cadence, WithoutALatchKnowsNothing) {
  EXPECT_FALSE(cadence.KnowsALatch());
  EXPECT_FALSE(cadence.Predict(Frame(0)).has_value());
}

TEST_F(Cadence, CarriesALatchForwardAndBack) {
  See(5);
  for (const int n : {0, 4, 6, 105}) {
    const auto gps = cadence.Predict(Frame(n));
    ASSERT_TRUE(gps.has_value()) << n;
    EXPECT_EQ(gps->state, GpsState::Predicted);
    EXPECT_EQ(gps->latched.start, kStart + n * kPeriod) << n;
    EXPECT_EQ(gps->latched.end, kStart + n * kPeriod + 1'640) << n;
    EXPECT_EQ(gps->latched.startLine, 10);
    EXPECT_EQ(gps->satellites, 9);
    EXPECT_EQ(gps->latitude, 47.5);
  }
}

TEST_F(Cadence, IsLessCertainTheFurtherAway) {
  See(0);
  // 1 us a frame as promised, and 1 ppm of 20 ms.
  EXPECT_EQ(Use(1).error, 11);
  EXPECT_EQ(Use(2).error, 21);
  EXPECT_EQ(Use(100).error, 1'020);
}

TEST_F(Cadence, TheNextLatchConfirms) {
  See(0);
  Use(1);
  Use(2);
  ExpectCounts(2, 0, 0);
  See(3);
  ExpectCounts(2, 2, 0);
  See(4);
  ExpectCounts(2, 2, 0);
  Use(5);
  See(6);
  ExpectCounts(3, 3, 0);
}

TEST_F(Cadence, OrCountsAsWrong) {
  See(0);
  Use(1);
  See(2, 40'000);  // 4 ms late
  ExpectCounts(1, 0, 1);
  // From the latch that was late on, but as uncertain as that was.
  const Guess next = Use(3);
  EXPECT_EQ(next.off, 40'000);
  EXPECT_GE(next.error, 40'000);
  See(4, 40'000);
  ExpectCounts(2, 1, 1);
  EXPECT_LT(Use(5).error, 20);
}

TEST_F(Cadence, IsConfirmedWithinTheErrorsOnly) {
  // Two frames on at 1.02 us each and the latch error of 1.2 us.
  for (const auto& [late, confirmed] : {std::pair(32, true), std::pair(-32, true), {33, false}, {-33, false}}) {
    cadence.Begin();
    cadence.Promise(kNominal);
    See(0);
    Use(1);
    See(2, late);
    ExpectCounts(1, confirmed ? 1 : 0, confirmed ? 0 : 1);
  }
}

TEST_F(Cadence, TheSameLatchAgainJudgesNothing) {
  See(3);
  Use(2);
  See(3);
  ExpectCounts(1, 0, 0);
}

TEST_F(Cadence, LearnsAPaceThatWasNotPromised) {
  // Each frame takes 1 ms longer than its settings say.
  const auto see = [&](int n) { See(n, n * 10'000); };
  see(0);
  see(1);
  see(2);
  const Guess guess = Use(4);
  EXPECT_EQ(guess.off, 40'000);
  EXPECT_LE(guess.error, 2 * 13) << "1.2 us a frame";
  see(5);
  ExpectCounts(1, 1, 0);
}

TEST_F(Cadence, MeasuresBetterThanARoughPromise) {
  cadence.Promise({190'000, 20'000});
  See(0);
  EXPECT_GT(Use(1).error, 20'000);
  See(2);
  const Guess guess = Use(3);
  EXPECT_EQ(guess.off, 0);
  EXPECT_LE(guess.error, 7) << "1.2 us over two frames";
}

TEST_F(Cadence, OtherSettingsForget) {
  See(0);
  Use(1);
  cadence.Promise({300'000, 10});
  EXPECT_FALSE(cadence.Predict(Frame(2)).has_value());
  See(3);
  ExpectCounts(1, 0, 0);
  cadence.Forget();
  EXPECT_FALSE(cadence.KnowsALatch());
}

TEST_F(Cadence, TheSamePromiseAgainDoesNot) {
  See(0);
  cadence.Promise(kNominal);
  EXPECT_TRUE(cadence.Predict(Frame(1)).has_value());
}

TEST_F(Cadence, FramesWithoutALatchBetweenBreakIt) {
  See(0);
  EXPECT_FALSE(cadence.Predict({kFirstSequence + 3, kFirstLatch + 2}).has_value());
  Use(1);
  cadence.See({kFirstSequence + 3, kFirstLatch + 2}, Fix(kStart + 3 * kPeriod));
  ExpectCounts(1, 0, 0);
  EXPECT_TRUE(cadence.Predict({kFirstSequence + 4, kFirstLatch + 3}).has_value());
}

TEST_F(Cadence, GoesOnWhereTheNumbersWrap) {
  cadence.See({0xFFFFFFFEU, 0xFFFFFFFFU}, Fix(kStart));
  const auto gps = cadence.Predict({1, 3});
  ASSERT_TRUE(gps.has_value());
  EXPECT_EQ(gps->latched.start, kStart + 3 * kPeriod);
}

TEST_F(Cadence, NumbersBeyondAllSenseGiveNoTime) {
  See(0);
  EXPECT_TRUE(cadence.Predict(Frame(100'000)).has_value());
  EXPECT_FALSE(cadence.Predict(Frame(100'001)).has_value());
  for (const std::uint32_t far : {0x7FFFFFFFU, 0x80000000U}) {
    EXPECT_FALSE(cadence.Predict({kFirstSequence + far, kFirstLatch + far}).has_value());
    cadence.See({kFirstSequence + far, kFirstLatch + far}, Fix(kStart));
    cadence.Forget();
    See(0);
  }
}

TEST_F(Cadence, AnotherCaptureBeginsAnew) {
  See(0);
  Use(1);
  cadence.Begin();
  ExpectCounts(0, 0, 0);
  EXPECT_FALSE(cadence.KnowsALatch());
}

}  // namespace
}  // namespace orq
