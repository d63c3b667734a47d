#include "image/frame/Gamma.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <thread>
#include <vector>

#include "support/RecordingCamera.h"

namespace orq {
namespace {

using test::BareCamera;

/// A camera with tables for frames of no size.
struct GammaCamera : BareCamera {
  GammaCamera() { InitVariable(); }
  std::vector<int> Table16() const { return {&gammaTable16[0], &gammaTable16[0] + kGammaTable16}; }
  std::vector<int> Table8() const { return {gammaTable8.begin(), gammaTable8.end()}; }
};

/// The curve in extended precision, not yet cut to an integer. `most` is the largest sample.
long double Curve(int gamma, int sample, int most) {
  const long double exponent = gamma <= 50 ? 2.0L - gamma / 50.0L : 1.5L - gamma / 100.0L;
  return std::pow(static_cast<long double>(sample) / most, exponent) * most;
}

/// Whether `entry` is the curve's value cut to an integer. Where the value comes as near to an integer as the
/// rounding of a single-precision quotient reaches, either side is right.
bool IsCurve(int gamma, int sample, int most, int entry) {
  const long double value = Curve(gamma, sample, most);
  const long double reach = value * 0x1p-22L;
  const auto cut = [most](long double y) { return static_cast<int>(std::min<long double>(std::floor(y), most)); };
  return entry == cut(value - reach) || entry == cut(value + reach);
}

TEST(GammaExponent, RunsFromTwoOverOneToOneHalf) {
  EXPECT_EQ(GammaExponent(0), 2.0F);
  EXPECT_EQ(GammaExponent(25), 1.5F);
  EXPECT_EQ(GammaExponent(49), 1.02F);
  EXPECT_EQ(GammaExponent(50), 1.0F);
  EXPECT_EQ(GammaExponent(51), 0.99F);
  EXPECT_EQ(GammaExponent(100), 0.5F);
  EXPECT_EQ(GammaExponent(150), 0.0F);
  EXPECT_EQ(GammaExponent(200), -0.5F);
  EXPECT_EQ(GammaExponent(-50), 3.0F);
}

TEST(GammaCurve, FollowsThePowerForEverySettingAndSample) {
  for (int gamma = 0; gamma <= 100; ++gamma) {
    for (int i = 0; i < 65536; ++i) {
      const int entry = GammaCurve16(gamma, static_cast<std::uint16_t>(i));
      ASSERT_TRUE(IsCurve(gamma, i, 65535, entry)) << gamma << " of " << i << ": " << entry;
    }
    for (int i = 0; i < 256; ++i) {
      const int entry = GammaCurve8(gamma, static_cast<std::uint8_t>(i));
      ASSERT_TRUE(IsCurve(gamma, i, 255, entry)) << gamma << " of " << i << ": " << entry;
    }
  }
}

TEST(GammaCurve, FollowsThePowerBeyondOneHundred) {
  for (const int gamma : {101, 120, 149}) {
    for (int i = 0; i < 65536; ++i) {
      ASSERT_TRUE(IsCurve(gamma, i, 65535, GammaCurve16(gamma, static_cast<std::uint16_t>(i))))
          << gamma << " " << i;
    }
    for (int i = 0; i < 256; ++i)
      ASSERT_TRUE(IsCurve(gamma, i, 255, GammaCurve8(gamma, static_cast<std::uint8_t>(i)))) << gamma << " " << i;
  }
}

TEST(GammaCurve, SixteenBitsAreRoundedTwiceInSinglePrecision) {
  // Entries that one rounding fewer would change; worked out step by step.
  EXPECT_EQ(GammaCurve16(0, 22398), 7655);
  EXPECT_EQ(GammaCurve16(10, 11149), 2702);
  EXPECT_EQ(GammaCurve16(25, 16139), 8009);
  EXPECT_EQ(GammaCurve16(40, 7364), 4755);
  EXPECT_EQ(GammaCurve16(60, 11306), 13477);
  EXPECT_EQ(GammaCurve16(76, 579), 1979);
  EXPECT_EQ(GammaCurve16(100, 291), 4367);
  EXPECT_EQ(GammaCurve16(100, 1164), 8734);
}

TEST(GammaCurve, ResultsBeyondTheLargestSampleAreTheLargest) {
  for (const int gamma : {200, 2000, INT_MAX}) {  // the curve falls toward the largest sample
    for (const int sample : {0, 1, 100, 255}) {
      EXPECT_EQ(GammaCurve8(gamma, static_cast<std::uint8_t>(sample)), 255) << gamma << " " << sample;
      EXPECT_EQ(GammaCurve16(gamma, static_cast<std::uint16_t>(sample * 257)), 65535) << gamma << " " << sample;
    }
  }
  EXPECT_EQ(GammaCurve8(INT_MIN, 254), 0);
  EXPECT_EQ(GammaCurve8(INT_MIN, 255), 255);
  EXPECT_EQ(GammaCurve16(INT_MIN, 65535), 65535);
}

TEST(SetGamma, FiftyIsTheIdentity) {
  GammaCamera camera;
  EXPECT_EQ(camera.SetGamma(50), 1);
  EXPECT_EQ(camera.gamma, 50);
  EXPECT_EQ(camera.GetGamma(), 50);
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(camera.gammaTable16[static_cast<std::size_t>(i)], i);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(camera.gammaTable8[static_cast<std::size_t>(i)], i);
}

TEST(SetGamma, ZeroSquares) {
  GammaCamera camera;
  EXPECT_EQ(camera.SetGamma(0), 1);
  EXPECT_EQ(camera.gammaTable8[0], 0);
  EXPECT_EQ(camera.gammaTable8[128], 64);  // 64.25
  EXPECT_EQ(camera.gammaTable8[255], 255);
  EXPECT_EQ(camera.gammaTable16[0], 0);
  EXPECT_EQ(camera.gammaTable16[32768], 16384);  // 16384.25
  EXPECT_EQ(camera.gammaTable16[65535], 65535);
}

TEST(SetGamma, OneHundredTakesTheRoot) {
  GammaCamera camera;
  EXPECT_EQ(camera.SetGamma(100), 1);
  EXPECT_EQ(camera.gammaTable8[0], 0);
  EXPECT_EQ(camera.gammaTable8[64], 127);  // 127.75
  EXPECT_EQ(camera.gammaTable8[255], 255);
  EXPECT_EQ(camera.gammaTable16[0], 0);
  EXPECT_EQ(camera.gammaTable16[16384], 32767);  // 32767.75
  EXPECT_EQ(camera.gammaTable16[65535], 65535);
}

TEST(SetGamma, BothTablesHoldTheCurve) {
  GammaCamera camera;
  for (const int gamma : {0, 1, 33, 49, 51, 77, 99, 100}) {
    ASSERT_EQ(camera.SetGamma(gamma), 1);
    for (int i = 0; i < 65536; ++i)
      ASSERT_TRUE(IsCurve(gamma, i, 65535, camera.gammaTable16[static_cast<std::size_t>(i)])) << gamma << " " << i;
    for (int i = 0; i < 256; ++i)
      ASSERT_TRUE(IsCurve(gamma, i, 255, camera.gammaTable8[static_cast<std::size_t>(i)])) << gamma << " " << i;
  }
}

TEST(SetGamma, WithoutTablesNothingChanges) {
  BareCamera camera;
  camera.gamma = 33;
  camera.gammaTable8.fill(7);
  EXPECT_EQ(camera.SetGamma(80), 0);
  EXPECT_EQ(camera.gamma, 33);
  EXPECT_EQ(camera.GetGamma(), 33);
  for (const int entry : camera.gammaTable8) EXPECT_EQ(entry, 7);
}

TEST(SetGamma, AStoredValueAbove100MakesTheNextOne100) {
  GammaCamera camera;
  for (const int wanted : {0, 50, 150}) {
    camera.gamma = 120;
    EXPECT_EQ(camera.SetGamma(wanted), 1);
    EXPECT_EQ(camera.gamma, 100) << wanted;
    EXPECT_EQ(camera.gammaTable8[64], 127);
  }
  camera.gamma = 101;
  camera.SetGamma(0);
  EXPECT_EQ(camera.gamma, 100);
}

TEST(SetGamma, AStoredValueUpTo100TakesAnyNextOne) {
  GammaCamera camera;
  camera.gamma = 80;
  EXPECT_EQ(camera.SetGamma(150), 1);
  EXPECT_EQ(camera.gamma, 150);
  // The exponent is zero: zero to the power of zero is one as well.
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(camera.gammaTable16[static_cast<std::size_t>(i)], 65535);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(camera.gammaTable8[static_cast<std::size_t>(i)], 255);
  EXPECT_EQ(camera.SetGamma(0), 1);
  EXPECT_EQ(camera.gamma, 100) << "the value before was above 100";
  EXPECT_EQ(camera.SetGamma(120), 1);
  EXPECT_EQ(camera.gamma, 120) << "the value before was 100";
  camera.gamma = 0;
  EXPECT_EQ(camera.SetGamma(-30), 1);
  EXPECT_EQ(camera.gamma, -30);
}

TEST(SetGamma, TheControlClampsSetsAndReadsIt) {
  GammaCamera camera;
  camera.limits.gammaMin = 1;
  camera.limits.gammaMax = 100;
  EXPECT_EQ(camera.SetControlValue(ORQ_GAMMA, 150, false), 0);
  long value = 0;
  ORQ_BOOL automatic = 9;
  EXPECT_EQ(camera.GetControlValue(ORQ_GAMMA, &value, &automatic), 0);
  EXPECT_EQ(value, 100);
  EXPECT_EQ(automatic, 0);
  EXPECT_EQ(camera.gammaTable8[64], 127);
  BareCamera without;
  EXPECT_EQ(without.SetControlValue(ORQ_GAMMA, 50, false), 16);
}

TEST(SetGamma, AReaderMeanwhileSeesWholeEntriesOfEitherCurve) {
  GammaCamera camera;
  camera.SetGamma(0);
  std::atomic<bool> done{false};
  int wrong = 0;
  std::thread reader([&] {
    do {
      const int narrow = std::atomic_ref(camera.gammaTable8[128]).load(std::memory_order_relaxed);
      const int wide = std::atomic_ref(camera.gammaTable16[32768]).load(std::memory_order_relaxed);
      // The square and the root of about one half: 64.25 and 180.67 of 255, 16384.25 and 46340.6 of 65535.
      if ((narrow != 64 && narrow != 180) || (wide != 16384 && wide != 46340)) ++wrong;
    } while (!done);
  });
  for (int i = 0; i < 10; ++i) camera.SetGamma(i % 2 == 0 ? 100 : 0);
  done = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orq
