#include "link/WireProtocol.h"

#include <gtest/gtest.h>

#include <array>

namespace orq {
namespace {

using Header = std::array<std::uint8_t, 64>;
using Trailer = std::array<std::uint8_t, 16>;

wire::FrameHeader EveryFieldDifferent() {
  wire::FrameHeader header;
  header.sequence = 0x04030201;
  header.payloadBytes = 0x08070605;
  header.width = 0x0A09;
  header.height = 0x0C0B;
  header.startX = 0x0E0D;
  header.startY = 0x100F;
  header.bin = 0x11;
  header.format = 0x12;
  header.adcBits = 0x13;
  header.flags = 0x14;
  header.gpsLatch = 0x18171615;
  header.exposureUs = 0x201F1E1D1C1B1A19;
  header.gain = 0x2221;
  header.blackLevel = 0x2423;
  header.settingsTag = 0x28272625;
  header.readoutMode = 0x29;
  return header;
}

// clang-format off
constexpr Header kHeader = {
    'O', 'R', 'Q', 'F', 2, 0, 64, 0,
    0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
    0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10,
    0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,
    0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20,
    0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28,
    0x29, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0};
constexpr Trailer kTrailer = {
    'O', 'R', 'Q', 'E', 0x01, 0x02, 0x03, 0x04,
    0x05, 0x06, 0x07, 0x08, 0, 0, 0, 0};
// clang-format on

TEST(WireProtocol, PutsEveryHeaderFieldAtItsOffset) {
  Header bytes;
  bytes.fill(0xEE);
  wire::PutHeader(EveryFieldDifferent(), bytes);
  EXPECT_EQ(bytes, kHeader);
}

TEST(WireProtocol, GetsEveryHeaderFieldFromItsOffset) {
  const auto header = wire::GetHeader(kHeader);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->sequence, 0x04030201U);
  EXPECT_EQ(header->payloadBytes, 0x08070605U);
  EXPECT_EQ(header->width, 0x0A09);
  EXPECT_EQ(header->height, 0x0C0B);
  EXPECT_EQ(header->startX, 0x0E0D);
  EXPECT_EQ(header->startY, 0x100F);
  EXPECT_EQ(header->bin, 0x11);
  EXPECT_EQ(header->format, 0x12);
  EXPECT_EQ(header->adcBits, 0x13);
  EXPECT_EQ(header->flags, 0x14);
  EXPECT_EQ(header->gpsLatch, 0x18171615U);
  EXPECT_EQ(header->exposureUs, 0x201F1E1D1C1B1A19U);
  EXPECT_EQ(header->gain, 0x2221);
  EXPECT_EQ(header->blackLevel, 0x2423);
  EXPECT_EQ(header->settingsTag, 0x28272625U);
  EXPECT_EQ(header->readoutMode, 0x29);
}

TEST(WireProtocol, GetsNoHeaderFromADamagedMagicVersionOrLength) {
  for (std::size_t at = 0; at < 8; ++at) {
    Header bytes = kHeader;
    bytes[at] ^= 0x01;
    EXPECT_FALSE(wire::GetHeader(bytes)) << "byte " << at;
  }
}

TEST(WireProtocol, GetsNoHeaderFromTooFewBytes) {
  EXPECT_FALSE(wire::GetHeader(std::span(kHeader).first(63)));
  EXPECT_FALSE(wire::GetHeader({}));
}

TEST(WireProtocol, IgnoresReservedHeaderBytesAndWhatFollows) {
  std::array<std::uint8_t, 70> bytes{};
  std::copy(kHeader.begin(), kHeader.end(), bytes.begin());
  for (std::size_t at = 48; at < 70; ++at) bytes[at] = 0xFF;
  const auto header = wire::GetHeader(bytes);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->blackLevel, 0x2423);
}

TEST(WireProtocol, PutsEveryTrailerFieldAtItsOffset) {
  Trailer bytes;
  bytes.fill(0xEE);
  wire::PutTrailer(0x04030201, 0x08070605, bytes);
  EXPECT_EQ(bytes, kTrailer);
}

TEST(WireProtocol, GetsTheSequenceFromATrailer) {
  EXPECT_EQ(wire::GetTrailer(kTrailer, 0x08070605), 0x04030201U);
}

TEST(WireProtocol, GetsNothingFromADamagedOrShortTrailerOrOneOfAnotherLength) {
  for (const std::size_t at : {0U, 1U, 2U, 3U, 8U, 9U, 10U, 11U}) {
    Trailer bytes = kTrailer;
    bytes[at] ^= 0x80;
    EXPECT_FALSE(wire::GetTrailer(bytes, 0x08070605)) << "byte " << at;
  }
  EXPECT_FALSE(wire::GetTrailer(kTrailer, 0x08070604));
  EXPECT_FALSE(wire::GetTrailer(std::span(kTrailer).first(15), 0x08070605));
}

}  // namespace
}  // namespace orq
