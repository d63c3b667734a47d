#include "controls/ElectronsPerAdu.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orq {
namespace {

constexpr const char* kStepped = "Tavix ORQ-K1C";
constexpr const char* kDecibel = "Tavix ORQ-X26M";

TEST(GainFactor, FollowsTheSteppedTableOfModelsNamedK1) {
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 0), 1.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 1), 1.0625);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 15), 1.9375);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 16), 2.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 20), 2.5);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 31), 3.875);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 32), 4.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 47), 7.75);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 48), 8.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 63), 15.5);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 64), 16.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 70), 22.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 79), 31.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 80), 32.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 85), 40.0);
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, 100), 64.0);
}

TEST(GainFactor, ContinuesTheLastLineBelowZero) {
  EXPECT_DOUBLE_EQ(GainFactor(kStepped, -10), -112.0);  // (-90) * 32 / 20 + 32
}

TEST(GainFactor, CountsTenthsOfADecibelForOtherModels) {
  EXPECT_EQ(GainFactor(kDecibel, 0), 1.0);
  EXPECT_EQ(GainFactor(kDecibel, 200), 10.0);
  EXPECT_EQ(GainFactor(kDecibel, 400), 100.0);
  // Six decibels, narrowed to single precision.
  EXPECT_EQ(GainFactor(kDecibel, 60), static_cast<double>(static_cast<float>(1.9952623149688795)));
}

TEST(ElectronsPerAdu, DividesTheBaseByTheFactor) {
  EXPECT_FLOAT_EQ(ElectronsPerAdu(3.6F, kStepped, 20), 1.44F);
  EXPECT_FLOAT_EQ(ElectronsPerAdu(3.6F, kStepped, 100), 0.05625F);
  EXPECT_FLOAT_EQ(ElectronsPerAdu(0.78F, kDecibel, 200), 0.078F);
}

TEST(ElectronsPerAdu, FindsK1AnywhereInTheName) {
  EXPECT_FLOAT_EQ(ElectronsPerAdu(1.0F, "K1", 100), 1.0F / 64);
  EXPECT_FLOAT_EQ(ElectronsPerAdu(1.0F, "ORQ-k1", 200), 0.1F);  // small letters are another name
}

}  // namespace
}  // namespace orq
