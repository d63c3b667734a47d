#include "devices/Thermometers.h"

#include <gtest/gtest.h>

#include <optional>

namespace orq {
namespace {

std::optional<float> Tmp100(int count) {
  return Tmp100Celsius(static_cast<std::uint8_t>(count << 4), static_cast<std::uint8_t>(count >> 4));
}

TEST(Tmp100, CountsSixteenthsInTwosComplement) {
  EXPECT_EQ(Tmp100(0x7FF), 127.9375F);
  EXPECT_EQ(Tmp100(0x800), -128.0F);
  EXPECT_EQ(Tmp100(0xFFF), -0.0625F);
  EXPECT_EQ(Tmp100(0x001), 0.0625F);
  EXPECT_EQ(Tmp100(0x190), 25.0F);
  EXPECT_EQ(Tmp100(0xE70), -25.0F);
}

TEST(Tmp100, AReadingOfZeroIsNone) {
  EXPECT_EQ(Tmp100(0), std::nullopt);
  EXPECT_EQ(Tmp100Celsius(0x0F, 0x00), std::nullopt) << "the low four bits do not count";
}

TEST(Tmp100, EveryWordIsASignedNumberShiftedRight) {
  for (int word = 0; word <= 0xFFFF; ++word) {
    const int sixteenths = static_cast<std::int16_t>(word) >> 4;
    const auto celsius =
        Tmp100Celsius(static_cast<std::uint8_t>(word & 0xFF), static_cast<std::uint8_t>(word >> 8));
    if (sixteenths == 0)
      ASSERT_EQ(celsius, std::nullopt) << word;
    else
      ASSERT_EQ(celsius, static_cast<float>(sixteenths / 16.0)) << word;
  }
}

TEST(Tmp451, AddsSixteenthsOfTheFirstByteToTheSecond) {
  EXPECT_EQ(Tmp451Celsius(0x80, 25), 33.0F);
  EXPECT_EQ(Tmp451Celsius(0, 0), 0.0F);
  EXPECT_EQ(Tmp451Celsius(1, 0), 0.0625F);
  EXPECT_EQ(Tmp451Celsius(255, 255), 270.9375F) << "both bytes are unsigned";
  EXPECT_EQ(Tmp451Celsius(0, 0x80), 128.0F);
}

TEST(ConverterCounts, AreTheUpperBitsOfTheWord) {
  // Bytes 0x4A, 0xC3: the word 0xC34A without its low four bits is 0xC34, of which eight bits are 0x34.
  EXPECT_EQ(Ad7142Count(0x4A, 0xC3), 0xC34);
  EXPECT_EQ(Adc081Count(0x4A, 0xC3), 0x34);
  EXPECT_EQ(Ads1014Count(0x4A, 0xC3), 0xC34);
  EXPECT_EQ(Ad7142Count(0xFF, 0xFF), 4095);
  EXPECT_EQ(Adc081Count(0xFF, 0xFF), 255);
  EXPECT_EQ(Ads1014Count(0xFF, 0xFF), 4095);
  for (int word = 0; word <= 0xFFFF; ++word) {
    const auto first = static_cast<std::uint8_t>(word % 256);
    const auto second = static_cast<std::uint8_t>(word / 256);
    ASSERT_EQ(Ad7142Count(first, second), word / 16) << word;
    ASSERT_EQ(Adc081Count(first, second), word / 16 % 256) << word;
    ASSERT_EQ(Ads1014Count(first, second), word / 16) << word;
  }
}

TEST(Ads1014, SpreadsTwiceItsReferenceOver4096Counts) {
  EXPECT_EQ(Ads1014Volts(0), 0.0F);
  EXPECT_EQ(Ads1014Volts(2048), 6.148F);
  for (int count = 0; count < 4096; ++count)
    ASSERT_EQ(Ads1014Volts(count), static_cast<float>(12.296L * count / 4096)) << count;
}

}  // namespace
}  // namespace orq
