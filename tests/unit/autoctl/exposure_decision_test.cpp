#include "autoctl/ExposureDecision.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace orq {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

/// Applies what it is given, and notes it; may do something else on the way.
class Camera final : public ExposureSetters {
 public:
  ExposureState Now() const override { return state; }
  void SetGain(std::int32_t gain, bool autoGain) override {
    calls.push_back("SetGain " + std::to_string(gain) + (autoGain ? " auto" : ""));
    state.gain = gain;
    state.autoGain = autoGain;
    if (onGain) onGain(state);
  }
  void SetExp(std::uint64_t exposureUs, bool autoExp) override {
    calls.push_back("SetExp " + std::to_string(exposureUs) + (autoExp ? " auto" : ""));
    state.exposureUs = exposureUs;
    state.autoExp = autoExp;
    if (onExp) onExp(state);
  }

  ExposureState state;
  std::function<void(ExposureState&)> onGain;
  std::function<void(ExposureState&)> onExp;
  Calls calls;
};

constexpr int kTarget = 100;
// Steps of 6 and 12.
constexpr ExposureLimits kLimits{.gainMin = -100, .gainMax = 500, .autoGainMax = 50, .autoExpMaxMs = 30'000};

Calls CallsFor(const ExposureState& state, int mean, int target = kTarget,
               const ExposureLimits& limits = kLimits) {
  Camera camera;
  camera.state = state;
  AdjustExposure(target, mean, limits, camera);
  return camera.calls;
}

ExposureState GainOnly(int gain) {
  return {.exposureUs = 50'000, .gain = gain, .expReg = 1000, .autoGain = true};
}
ExposureState ExposureOnly(std::uint64_t exposureUs, int expReg = 3) {
  return {.exposureUs = exposureUs, .gain = 20, .expReg = expReg, .autoExp = true};
}
ExposureState Both(std::uint64_t exposureUs, int gain = 20, int expReg = 3) {
  return {.exposureUs = exposureUs, .gain = gain, .expReg = expReg, .autoExp = true, .autoGain = true};
}

TEST(ExposureDecision, DoesNothingInsideFifteenPercent) {
  for (const ExposureState& state : {GainOnly(20), ExposureOnly(50'000), ExposureOnly(500'000), Both(50'000)}) {
    for (const int mean : {85, 100, 115}) EXPECT_THAT(CallsFor(state, mean), IsEmpty()) << mean;
    for (const int mean : {84, 116}) EXPECT_FALSE(CallsFor(state, mean).empty()) << mean;
  }
}

TEST(ExposureDecision, TheBandFollowsTheTargetTruncated) {
  EXPECT_THAT(CallsFor(GainOnly(20), 57, 50), IsEmpty());  // 15 % of 50 is 7
  EXPECT_THAT(CallsFor(GainOnly(20), 43, 50), IsEmpty());
  EXPECT_FALSE(CallsFor(GainOnly(20), 58, 50).empty());
  EXPECT_FALSE(CallsFor(GainOnly(20), 42, 50).empty());
  EXPECT_THAT(CallsFor(GainOnly(20), 184, 160), IsEmpty());  // 24
  EXPECT_THAT(CallsFor(GainOnly(20), 136, 160), IsEmpty());
  EXPECT_FALSE(CallsFor(GainOnly(20), 185, 160).empty());
  EXPECT_FALSE(CallsFor(GainOnly(20), 135, 160).empty());
  EXPECT_FALSE(CallsFor(GainOnly(20), 4, 3).empty());  // 0
  EXPECT_EQ(ToleranceOf(160), 24);
  EXPECT_EQ(ToleranceOf(50), 7);
}

TEST(TooBright, GainAloneGoesDownASmallStepWithoutALowerLimit) {
  EXPECT_THAT(CallsFor(GainOnly(100), 116), ElementsAre("SetGain 94 auto"));
  EXPECT_THAT(CallsFor(GainOnly(0), 255), ElementsAre("SetGain -6 auto"));
  ExposureState neither = GainOnly(100);
  neither.autoGain = false;
  EXPECT_THAT(CallsFor(neither, 116), ElementsAre("SetGain 94"));
}

TEST(TooBright, AboveTenthOfASecondTheExposureAloneIsShortened) {
  // 100 * 100,001 / 400 = 25,000.25
  EXPECT_THAT(CallsFor(ExposureOnly(100'001), 200), ElementsAre("SetExp 75001 auto"));
  EXPECT_THAT(CallsFor(Both(100'001, 20, 3), 200), ElementsAre("SetExp 75001 auto"));
  EXPECT_THAT(CallsFor(Both(100'001, 20, 1), 116), ElementsAre("SetExp 96001 auto"))
      << "16 * 100,001 / 400 = 4000.04; no wider tolerance here";
}

TEST(TooBright, ExposureWithoutGain) {
  EXPECT_THAT(CallsFor(ExposureOnly(50'000), 200), ElementsAre("SetExp 37500 auto"));
  EXPECT_THAT(CallsFor(ExposureOnly(100'000), 116), ElementsAre("SetExp 96000 auto"));
}

TEST(TooBright, ExposuresOfTwoLinesWaitForThirtyPercentOfOneLineForFortyFive) {
  EXPECT_THAT(CallsFor(ExposureOnly(100'000, 2), 130), IsEmpty());
  EXPECT_THAT(CallsFor(ExposureOnly(100'000, 2), 131), ElementsAre("SetExp 92250 auto"));
  for (const int lines : {0, 1}) {
    EXPECT_THAT(CallsFor(ExposureOnly(100'000, lines), 145), IsEmpty());
    EXPECT_THAT(CallsFor(ExposureOnly(100'000, lines), 146), ElementsAre("SetExp 88500 auto"));
  }
  EXPECT_THAT(CallsFor(ExposureOnly(100'000, -1), 116), ElementsAre("SetExp 96000 auto"))
      << "a negative count of lines is a large one";
}

TEST(TooBright, WithGainTheGainGoesDownAsWell) {
  EXPECT_THAT(CallsFor(Both(50'000, 20), 200), ElementsAre("SetExp 37500 auto", "SetGain 14 auto"));
  EXPECT_THAT(CallsFor(Both(100'000, 20), 200), ElementsAre("SetExp 75000 auto", "SetGain 14 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 20, -7), 200), ElementsAre("SetExp 37500 auto", "SetGain 14 auto"));
}

TEST(TooBright, WithGainAtTwoLinesTheGainGoesDownTwice) {
  EXPECT_THAT(CallsFor(Both(50'000, 20, 2), 200),
              ElementsAre("SetExp 37500 auto", "SetGain 14 auto", "SetGain 8 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 20, 2), 130), ElementsAre("SetGain 14 auto", "SetGain 8 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 20, 1), 145), ElementsAre("SetGain 14 auto", "SetGain 8 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 20, 0), 146),
              ElementsAre("SetExp 44250 auto", "SetGain 14 auto", "SetGain 8 auto"));
}

TEST(TooBright, WithExposureTheGainEndsAtOne) {
  EXPECT_THAT(CallsFor(Both(50'000, 0), 200), ElementsAre("SetExp 37500 auto", "SetGain 1 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 7), 200), ElementsAre("SetExp 37500 auto", "SetGain 1 auto"));
  EXPECT_THAT(CallsFor(Both(50'000, 8, 2), 120), ElementsAre("SetGain 2 auto", "SetGain 1 auto"));
}

TEST(TooBright, LinesAndGainAreReadAgainAfterEachSetter) {
  Camera camera;
  camera.state = Both(50'000, 20, 3);
  camera.onExp = [](ExposureState& state) { state.expReg = 2; };
  camera.onGain = [](ExposureState& state) { state.gain += 100; };
  AdjustExposure(kTarget, 200, kLimits, camera);
  EXPECT_THAT(camera.calls, ElementsAre("SetExp 37500 auto", "SetGain 14 auto", "SetGain 108 auto"));
}

TEST(TooBright, AutomaticGainThatASetterSwitchesOffIsNotSwitchedOnAgain) {
  Camera camera;
  camera.state = Both(50'000, 20, 3);
  camera.onExp = [](ExposureState& state) { state.autoGain = false; };
  AdjustExposure(kTarget, 200, kLimits, camera);
  EXPECT_THAT(camera.calls, ElementsAre("SetExp 37500 auto", "SetGain 14"));
}

TEST(TooDark, GainAloneGoesUpALargeStepToTheHighest) {
  EXPECT_THAT(CallsFor(GainOnly(30), 84), ElementsAre("SetGain 42 auto"));
  EXPECT_THAT(CallsFor(GainOnly(45), 84), ElementsAre("SetGain 50 auto"));
  EXPECT_THAT(CallsFor(GainOnly(80), 84), ElementsAre("SetGain 50 auto")) << "a higher gain comes down to it";
}

TEST(TooDark, ExposureWithoutGainAtAnyLength) {
  EXPECT_THAT(CallsFor(ExposureOnly(10'000), 50), ElementsAre("SetExp 12500 auto"));
  EXPECT_THAT(CallsFor(ExposureOnly(200'000), 50), ElementsAre("SetExp 250000 auto"));
  EXPECT_THAT(CallsFor(ExposureOnly(200'000, 2), 71), IsEmpty());
}

TEST(TooDark, ExposureEndsAtTheLongest) {
  ExposureLimits limits = kLimits;
  limits.autoExpMaxMs = 12;
  EXPECT_THAT(CallsFor(ExposureOnly(10'000), 50, kTarget, limits), ElementsAre("SetExp 12000 auto"));
  EXPECT_THAT(CallsFor(ExposureOnly(20'000), 50, kTarget, limits), ElementsAre("SetExp 12000 auto"));
}

TEST(TooDark, ExposuresOfTwoLinesWaitForThirtyPercentOfOneLineForFortyFive) {
  EXPECT_THAT(CallsFor(ExposureOnly(10'000, 2), 70), IsEmpty());
  EXPECT_THAT(CallsFor(ExposureOnly(10'000, 2), 69), ElementsAre("SetExp 11550 auto"));
  for (const int lines : {0, 1}) {
    EXPECT_THAT(CallsFor(ExposureOnly(10'000, lines), 55), IsEmpty());
    EXPECT_THAT(CallsFor(ExposureOnly(10'000, lines), 54), ElementsAre("SetExp 12300 auto"));
  }
  EXPECT_THAT(CallsFor(ExposureOnly(10'000, -5), 84), ElementsAre("SetExp 10800 auto"));
}

TEST(TooDark, WithGainUpToATenthOfASecondBothGoUp) {
  EXPECT_THAT(CallsFor(Both(100'000, 20), 50),
              ElementsAre("SetGain 26 auto", "SetExp 125000 auto", "SetGain 32 auto"));
  EXPECT_THAT(CallsFor(Both(100'000, 50), 50),
              ElementsAre("SetGain 50 auto", "SetExp 125000 auto", "SetGain 50 auto"));
  EXPECT_THAT(CallsFor(Both(100'000, 20, 2), 70), ElementsAre("SetGain 26 auto", "SetGain 32 auto"));
  EXPECT_THAT(CallsFor(Both(100'000, 20, 1), 54),
              ElementsAre("SetGain 26 auto", "SetExp 123000 auto", "SetGain 32 auto"));
}

TEST(TooDark, WithGainAboveATenthOfASecondGainComesFirst) {
  EXPECT_THAT(CallsFor(Both(100'001, 20), 50), ElementsAre("SetGain 26 auto", "SetGain 38 auto"));
  EXPECT_THAT(CallsFor(Both(100'001, 43), 50), ElementsAre("SetGain 49 auto", "SetGain 50 auto"));
  EXPECT_THAT(CallsFor(Both(100'001, 44), 50), ElementsAre("SetGain 50 auto", "SetExp 125001 auto"));
  EXPECT_THAT(CallsFor(Both(100'001, 90, 1), 80), ElementsAre("SetGain 50 auto", "SetExp 110001 auto"))
      << "20 * 100,001 / 200 = 10,000.1; no wider tolerance here";
}

TEST(TooDark, ExposureIsReadAgainAfterTheFirstGain) {
  Camera camera;
  camera.state = Both(90'000, 20);
  camera.onGain = [](ExposureState& state) { state.exposureUs = 100'001; };
  AdjustExposure(kTarget, 50, kLimits, camera);
  EXPECT_THAT(camera.calls, ElementsAre("SetGain 26 auto", "SetGain 38 auto"));
}

TEST(TooDark, AGainThatTheCameraHoldsBelowTheHighestKeepsTheExposure) {
  Camera camera;
  camera.state = Both(200'000, 40);
  camera.onGain = [](ExposureState& state) { state.gain = 40; };
  AdjustExposure(kTarget, 20, kLimits, camera);
  EXPECT_THAT(camera.calls, ElementsAre("SetGain 46 auto", "SetGain 50 auto"));
}

TEST(GainSteps, AreHundredthsAndFiftiethsOfTheRangeTruncated) {
  ExposureLimits limits = kLimits;
  limits.gainMin = 0;
  limits.gainMax = 99;
  EXPECT_THAT(CallsFor(GainOnly(20), 200, kTarget, limits), ElementsAre("SetGain 20 auto"));
  EXPECT_THAT(CallsFor(GainOnly(20), 20, kTarget, limits), ElementsAre("SetGain 21 auto"));
  limits.gainMax = 250;
  EXPECT_THAT(CallsFor(GainOnly(20), 200, kTarget, limits), ElementsAre("SetGain 18 auto"));
  EXPECT_THAT(CallsFor(GainOnly(20), 20, kTarget, limits), ElementsAre("SetGain 25 auto"));
}

TEST(GainSteps, WrapInsteadOfOverflowing) {
  ExposureLimits limits = kLimits;
  limits.autoGainMax = 2'147'483'647;
  // 2^31 - 4 + 12 is 8 beyond the largest: -2^31 + 8.
  EXPECT_THAT(CallsFor(GainOnly(2'147'483'644), 20, kTarget, limits), ElementsAre("SetGain -2147483640 auto"));
}

TEST(LongerExposure, IsASigned32BitSum) {
  EXPECT_EQ(LongerExposure(10'000, 50, 30'000), 12'500U);
  EXPECT_EQ(LongerExposure(199, 1, 30'000), 199U);
  // 2e9 + 1e9 is 3e9 - 2^32 in 32 bits, which is below the limit and sign-extended.
  EXPECT_EQ(LongerExposure(2'000'000'000, 100, 2'000'000), 0xFFFFFFFF00000000ULL + 3'000'000'000ULL);
  // Of 2^32 + 5 only the 5 counts; 2 * (2^32 + 5) / 200 = 42,949,673.
  EXPECT_EQ(LongerExposure(0x100000005ULL, 2, 2'000'000), 42'949'678U);
  // The product is formed in 64 bits: 99 * 1e9 / 200.
  EXPECT_EQ(LongerExposure(1'000'000'000, 99, 2'000'000), 1'495'000'000U);
}

TEST(LongerExposure, TheLimitIsA32BitProductToo) {
  EXPECT_EQ(LongerExposure(10'000, 50, 3'000'000), 0xFFFFFFFF00000000ULL + 3'000'000'000ULL);
  EXPECT_EQ(LongerExposure(10'000, 50, -1), 0xFFFFFFFFFFFFFFFFULL - 999);
  EXPECT_EQ(LongerExposure(10'000, 50, 0), 0U);
}

TEST(ShorterExposure, IsUnsigned64Bit) {
  EXPECT_EQ(ShorterExposure(50'000, 100), 37'500U);
  EXPECT_EQ(ShorterExposure(399, 1), 399U);
  EXPECT_EQ(ShorterExposure(400, 1), 399U);
  EXPECT_EQ(ShorterExposure(10'000'000'000, 155), 6'125'000'000U);
  // 155 * 2^63 is 2^63 in 64 bits; 2^63 / 400 = 23,058,430,092,136,939.52.
  EXPECT_EQ(ShorterExposure(0x8000000000000000ULL, 155), 9'200'313'606'762'638'869U);
}

}  // namespace
}  // namespace orq
