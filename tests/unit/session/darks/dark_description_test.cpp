#include "session/darks/DarkDescription.h"

#include <gtest/gtest.h>

namespace orq::session {
namespace {

DarkDescription Description() {
  DarkDescription description;
  description.model = "Tavix ORQ-K1M";
  description.serial = "0123456789abcdef";
  description.facts.exposureUs = 1'000'000;
  description.facts.gain = 10;
  description.facts.sensorC = -10.0F;
  return description;
}

TEST(DarkDifferences, AreNoneForTheSameSettings) {
  EXPECT_EQ(DarkDifferences(Description(), Description()), "");
}

TEST(DarkDifferences, AnExposureMayDifferByATenth) {
  DarkDescription now = Description();
  for (const std::uint64_t near : {900'000U, 1'100'000U}) {
    now.facts.exposureUs = near;
    EXPECT_EQ(DarkDifferences(Description(), now), "") << near;
  }
  now.facts.exposureUs = 899'999;
  EXPECT_EQ(DarkDifferences(Description(), now), "exposure 1s, now 899999us");
  now.facts.exposureUs = 1'100'001;
  EXPECT_EQ(DarkDifferences(Description(), now), "exposure 1s, now 1100001us");
  DarkDescription none = Description();
  none.facts.exposureUs = 0;
  EXPECT_NE(DarkDifferences(none, now), "");
}

TEST(DarkDifferences, TheGainMayNotDiffer) {
  DarkDescription now = Description();
  now.facts.gain = 11;
  EXPECT_EQ(DarkDifferences(Description(), now), "gain 10, now 11");
}

TEST(DarkDifferences, TheTemperatureMayDifferByTwoDegrees) {
  DarkDescription now = Description();
  for (const float near : {-12.0F, -8.0F}) {
    now.facts.sensorC = near;
    EXPECT_EQ(DarkDifferences(Description(), now), "") << near;
  }
  now.facts.sensorC = -7.9F;
  EXPECT_EQ(DarkDifferences(Description(), now), "sensor at -10.0 C, now -7.9 C");
  now.facts.sensorC.reset();
  EXPECT_EQ(DarkDifferences(Description(), now), "") << "what is not known does not differ";
}

TEST(DarkDifferences, TheReadoutModeMayNotDiffer) {
  DarkDescription dark = Description();
  DarkDescription now = Description();
  now.facts.readout = Readout{0, "High full well"};
  EXPECT_EQ(DarkDifferences(dark, now), "") << "of an older file it is not known";
  dark.facts.readout = Readout{1, "Low noise"};
  EXPECT_EQ(DarkDifferences(dark, now), "readout mode Low noise, now High full well");
  now.facts.readout = dark.facts.readout;
  EXPECT_EQ(DarkDifferences(dark, now), "");
}

TEST(DarkDifferences, TheOffsetMayDiffer) {
  DarkDescription now = Description();
  now.facts.offset = 50;
  EXPECT_EQ(DarkDifferences(Description(), now), "") << "the dark's average is given back";
}

TEST(DarkDifferences, TellAnotherCameraAndAllThatDiffers) {
  DarkDescription now = Description();
  now.serial = "fedcba9876543210";
  EXPECT_EQ(DarkDifferences(Description(), now), "camera 0123456789abcdef");
  now.facts.gain = 0;
  EXPECT_EQ(DarkDifferences(Description(), now), "gain 10, now 0; camera 0123456789abcdef");
  now.model = "another";
  EXPECT_EQ(DarkDifferences(Description(), now), "gain 10, now 0; camera Tavix ORQ-K1M");
  DarkDescription nameless = Description();
  nameless.serial.clear();
  EXPECT_EQ(DarkDifferences(nameless, Description()), "camera without serial number");
}

}  // namespace
}  // namespace orq::session
