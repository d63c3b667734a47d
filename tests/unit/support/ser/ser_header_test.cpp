#include "support/ser/SerHeader.h"

#include <gmock/gmock.h>

#include <string_view>
#include <vector>

namespace orq {
namespace {

SerHeader Example() {
  return {.luId = 0x01020304,
          .colour = 9,
          .byteOrder = 1,
          .width = 640,
          .height = 480,
          .depth = 16,
          .frames = 1000,
          .observer = "Ann",
          .instrument = "ORQ-K1C",
          .telescope = "Newton",
          .localTime = 0x0807060504030201,
          .utcTime = 0x0102030405060708};
}

std::vector<int> At(const std::array<std::uint8_t, kSerHeaderBytes>& bytes, std::size_t offset,
                    std::size_t count) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(offset),
          bytes.begin() + static_cast<std::ptrdiff_t>(offset + count)};
}

TEST(SerHeader, HasItsFieldsWhereTheFormatHasThem) {
  const auto bytes = EncodeSerHeader(Example());
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(bytes.data()), 14), "LUCAM-RECORDER");
  EXPECT_THAT(At(bytes, 14, 4), testing::ElementsAre(4, 3, 2, 1));
  EXPECT_THAT(At(bytes, 18, 4), testing::ElementsAre(9, 0, 0, 0));
  EXPECT_THAT(At(bytes, 22, 4), testing::ElementsAre(1, 0, 0, 0));
  EXPECT_THAT(At(bytes, 26, 8), testing::ElementsAre(0x80, 2, 0, 0, 0xE0, 1, 0, 0));
  EXPECT_THAT(At(bytes, 34, 8), testing::ElementsAre(16, 0, 0, 0, 0xE8, 3, 0, 0));
  EXPECT_THAT(At(bytes, 42, 4), testing::ElementsAre('A', 'n', 'n', 0));
  EXPECT_THAT(At(bytes, 82, 4), testing::ElementsAre('O', 'R', 'Q', '-'));
  EXPECT_THAT(At(bytes, 122, 4), testing::ElementsAre('N', 'e', 'w', 't'));
  EXPECT_THAT(At(bytes, 162, 8), testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_THAT(At(bytes, 170, 8), testing::ElementsAre(8, 7, 6, 5, 4, 3, 2, 1));
}

TEST(SerHeader, ReadsBackWhatItWrites) {
  EXPECT_EQ(ParseSerHeader(EncodeSerHeader(Example())), Example());
}

TEST(SerHeader, CutsTextsThatAreTooLong) {
  SerHeader header = Example();
  header.observer = std::string(50, 'x');
  header.instrument = "next";
  const auto read = ParseSerHeader(EncodeSerHeader(header));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->observer, std::string(40, 'x'));
  EXPECT_EQ(read->instrument, "next");
}

TEST(SerHeader, TakesTextsThatAreFilledWithBlanks) {
  auto bytes = EncodeSerHeader(Example());
  std::fill(bytes.begin() + 45, bytes.begin() + 82, std::uint8_t{' '});
  EXPECT_EQ(ParseSerHeader(bytes)->observer, "Ann");
}

TEST(SerHeader, IsNoHeaderWithoutItsMarkOrItsLength) {
  auto bytes = EncodeSerHeader(Example());
  EXPECT_FALSE(ParseSerHeader(std::span(bytes).first(177)));
  bytes[3] = 'x';
  EXPECT_FALSE(ParseSerHeader(bytes));
  EXPECT_FALSE(LooksLikeSer(bytes));
}

TEST(SerHeader, KnowsEveryColourOfTheFormat) {
  const struct {
    std::int32_t id;
    std::string_view name;
    int planes;
  } rows[] = {{0, "mono", 1},  {8, "RGGB", 1},  {9, "GRBG", 1},  {10, "GBRG", 1}, {11, "BGGR", 1}, {16, "CYYM", 1},
              {17, "YCMY", 1}, {18, "YMCY", 1}, {19, "MYYC", 1}, {100, "RGB", 3}, {101, "BGR", 3}};
  for (const auto& row : rows) {
    EXPECT_EQ(SerColourName(row.id), row.name);
    for (const int depth : {8, 16}) {
      const SerHeader header{.colour = row.id, .width = 6, .height = 4, .depth = depth};
      EXPECT_EQ(SerTrouble(header), "");
      EXPECT_EQ(header.FrameBytes(), static_cast<std::uint64_t>(6 * 4 * row.planes * depth / 8)) << row.name;
    }
  }
  for (const std::int32_t id : {-1, 1, 7, 12, 15, 20, 99, 102}) EXPECT_EQ(SerColourName(id), "") << id;
}

TEST(SerHeader, SaysWhyItsFramesCannotBeRead) {
  const auto trouble = [](const auto& change) {
    SerHeader header = Example();
    change(header);
    return SerTrouble(header);
  };
  EXPECT_EQ(trouble([](SerHeader& h) { h.colour = 7; }), "colour id 7 means nothing");
  EXPECT_EQ(trouble([](SerHeader& h) { h.depth = 0; }), "pixel depth 0 is outside 1 to 16 bits");
  EXPECT_EQ(trouble([](SerHeader& h) { h.depth = 17; }), "pixel depth 17 is outside 1 to 16 bits");
  EXPECT_EQ(trouble([](SerHeader& h) { h.width = 0; }), "frames of 0 x 480 pixels");
  EXPECT_EQ(trouble([](SerHeader& h) { h.height = 65'537; }), "frames of 640 x 65537 pixels");
  EXPECT_EQ(trouble([](SerHeader& h) { h.frames = -1; }), "-1 frames");
}

TEST(SerHeader, CountsTimeFromTheYearOne) {
  // 2023-11-14T22:13:20 UTC is 1,700,000,000 s after 1970, which is 719,162 days after the year 1 began.
  constexpr std::int64_t kSeconds = 1'700'000'000 + 719'162LL * 86'400;
  EXPECT_EQ(SerTimeOf(17'000'000'000'000'000), kSeconds * 10'000'000);
  EXPECT_EQ(UnixTenthsOf(kSeconds * 10'000'000), 17'000'000'000'000'000);
  EXPECT_EQ(UnixTenthsOf(0), std::nullopt);
  EXPECT_EQ(UnixTenthsOf(-5), std::nullopt);
  EXPECT_EQ(UnixTenthsOf(3'155'378'976'000'000'000), std::nullopt);
}

}  // namespace
}  // namespace orq
