#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "image/timemark/TimeMark.h"
#include "support/RecordingCamera.h"

namespace orq {
namespace {

using testing::Each;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

std::tm At(int year, int month, int day, int hour, int minute, int second) {
  std::tm when{};
  when.tm_year = year - 1900;
  when.tm_mon = month - 1;
  when.tm_mday = day;
  when.tm_hour = hour;
  when.tm_min = minute;
  when.tm_sec = second;
  return when;
}

std::string Text(const std::array<char, 8>& characters) {
  return {characters.begin(), characters.end()};
}

MarkText TextOf(const std::string& date, const std::string& time) {
  MarkText text;
  std::copy_n(date.begin(), 8, text.date.begin());
  std::copy_n(time.begin(), 8, text.time.begin());
  return text;
}

/// A frame of one value and a view of it.
struct Canvas {
  Canvas(int w, int h, int c, std::uint8_t value) : width(w), height(h), channels(c) {
    bytes.assign(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c), value);
  }
  MarkedFrame View() { return {bytes, width, height, channels}; }
  std::uint8_t& At(int x, int y, int channel = 0) {
    return bytes.at(static_cast<std::size_t>((y * width + x) * channels + channel));
  }
  /// Rows 7 to 22 of eight columns from `x` on: '#' where the pixel is `ink`.
  std::vector<std::string> Cell(int x, std::uint8_t ink) {
    std::vector<std::string> rows;
    for (int y = 7; y <= 22; ++y) {
      std::string row;
      for (int column = x; column < x + 8; ++column) row += At(column, y) == ink ? '#' : '.';
      rows.push_back(row);
    }
    return rows;
  }
  int width, height, channels;
  Bytes bytes;
};

TEST(MarkText, CountsMonthsFromZero) {
  const MarkText text = MarkTextOf(At(2024, 1, 3, 9, 5, 7));
  EXPECT_EQ(Text(text.date), "20240003");
  EXPECT_EQ(Text(text.time), "09:05:07");
  const MarkText late = MarkTextOf(At(2099, 12, 31, 23, 59, 60));
  EXPECT_EQ(Text(late.date), "20991131");
  EXPECT_EQ(Text(late.time), "23:59:60");
}

TEST(MarkText, HasEightCharactersInAnyYear) {
  EXPECT_EQ(Text(MarkTextOf(At(812, 6, 7, 0, 0, 0)).date), " 8120507");
  EXPECT_EQ(Text(MarkTextOf(At(12024, 6, 7, 0, 0, 0)).date), "12024050");
}

TEST(MarkInk, ContrastsWithTheBackground) {
  const std::array<std::pair<int, int>, 8> shades{
      {{0, 180}, {129, 180}, {130, 220}, {150, 220}, {179, 220}, {180, 120}, {181, 120}, {255, 120}}};
  for (const auto& [background, ink] : shades) EXPECT_EQ(MarkInk(background), ink) << background;
}

TEST(MarkBackground, IsTheMeanOfTheAreaAlone) {
  Canvas canvas(230, 40, 1, 255);
  for (int y = 7; y <= 22; ++y)
    for (int x = 30; x <= 157; ++x) canvas.At(x, y) = 100;
  EXPECT_EQ(MarkBackground(canvas.View()), 100);
  canvas.At(30, 7) = canvas.At(157, 22) = 255;  // both corners belong to it: 310 more of 2048
  EXPECT_EQ(MarkBackground(canvas.View()), 100);
  for (int x = 30; x <= 43; ++x) canvas.At(x, 8) = 224;  // 14 * 124 more: 2046 more in all
  EXPECT_EQ(MarkBackground(canvas.View()), 100) << "rounded down";
  canvas.At(31, 9) = 102;
  EXPECT_EQ(MarkBackground(canvas.View()), 101);
}

TEST(MarkBackground, OfColourPixelsIsTheirTruncatedMean) {
  Canvas canvas(200, 23, 3, 0);
  for (std::size_t i = 0; i < canvas.bytes.size(); i += 3) {
    canvas.bytes[i] = 10;
    canvas.bytes[i + 2] = 13;  // 23 / 3
  }
  EXPECT_EQ(MarkBackground(canvas.View()), 7);
}

TEST(DrawMark, PutsTheFirstDateCharacterTwoHundredColumnsFromTheRight) {
  Canvas canvas(210, 30, 1, 0);
  DrawMark(canvas.View(), TextOf("2       ", "        "));
  EXPECT_THAT(canvas.Cell(10, 180), ElementsAre("........",  //
                                                "........",  //
                                                ".#######",  // fe
                                                ".##...##",  // c6
                                                "..##....",  // 0c
                                                "...##...",  // 18
                                                "....##..",  // 30
                                                ".....##.",  // 60
                                                ".....##.",  // 60
                                                ".##...##",  // c6
                                                ".##...##",  // c6
                                                ".##...##",  // c6
                                                "..#####.",  // 7c
                                                "........",  //
                                                "........",  //
                                                "........"));
  for (int y = 7; y <= 22; ++y)
    for (int x = 10; x < 18; ++x) canvas.At(x, y) = 0;
  EXPECT_THAT(canvas.bytes, Each(0)) << "nothing outside the cell";
}

TEST(DrawMark, PutsTheColonIntoItsThreeColumns) {
  Canvas canvas(200, 23, 1, 0);
  DrawMark(canvas.View(), TextOf("        ", "  :     "));
  EXPECT_THAT(canvas.Cell(72 + 16, 180), ElementsAre("........", "........", "...###..", "...###..",  //
                                                     "........", "........", "........", "........",  //
                                                     "...###..", "...###..", "........", "........",  //
                                                     "........", "........", "........", "........"));
}

TEST(DrawMark, KnowsEveryGlyph) {
  const std::array<std::array<int, 16>, 11> fontRows{{
      {0x00, 0x00, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x7e, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x1e, 0x18, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0xfe, 0xc6, 0x0c, 0x18, 0x30, 0x60, 0x60, 0xc6, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x3c, 0x66, 0xc6, 0xc0, 0xc0, 0x60, 0x38, 0x60, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0xf8, 0x60, 0x60, 0xfe, 0x66, 0x66, 0x6c, 0x6c, 0x78, 0x70, 0x60, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x3c, 0x66, 0xc6, 0xc0, 0xc0, 0x6e, 0x3e, 0x06, 0x06, 0x06, 0xfe, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0x6e, 0x3e, 0x06, 0x06, 0x6c, 0x78, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x18, 0x18, 0x18, 0x18, 0x18, 0x30, 0x30, 0x66, 0x66, 0xfe, 0x00, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x7c, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x3c, 0x6c, 0xc0, 0xc0, 0xf8, 0xec, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x00, 0x00, 0x00},
      {0x00, 0x00, 0x38, 0x38, 0x00, 0x00, 0x00, 0x00, 0x38, 0x38, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
  }};
  for (int glyph = 0; glyph < 11; ++glyph) {
    Canvas canvas(200, 23, 1, 200);  // ink 120 on bright
    DrawMark(canvas.View(), TextOf(std::string(1, static_cast<char>('0' + glyph)) + "       ", "        "));
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 8; ++x) {
        const bool set =
            fontRows[static_cast<std::size_t>(glyph)][static_cast<std::size_t>(y)] / (1 << x) % 2 == 1;
        EXPECT_EQ(canvas.At(x, 7 + y), set ? 120 : 200) << glyph << " at " << x << ", " << y;
      }
    }
  }
}

TEST(DrawMark, SpreadsDateAndTimeOverTheirColumns) {
  Canvas canvas(640, 48, 1, 150);
  DrawMark(canvas.View(), TextOf("11111111", "11111111"));
  // The stroke of a 1 takes columns 3 and 4 of its cell, from the third row on.
  std::vector<int> columns;
  for (int x = 0; x < 640; ++x)
    if (canvas.At(x, 7 + 5) == 220) columns.push_back(x);
  std::vector<int> expected;
  for (const int first : {440, 512})
    for (int i = 0; i < 8; ++i) expected.insert(expected.end(), {first + 8 * i + 3, first + 8 * i + 4});
  EXPECT_EQ(columns, expected);
}

TEST(DrawMark, InksAllThreeBytesOfAColourPixel) {
  Canvas canvas(200, 23, 3, 255);
  DrawMark(canvas.View(), TextOf("       8", "        "));
  int inked = 0;
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 200; ++x) {
      const int value = canvas.At(x, y, 0);
      EXPECT_EQ(canvas.At(x, y, 1), value);
      EXPECT_EQ(canvas.At(x, y, 2), value);
      inked += value == 120 ? 1 : 0;
      EXPECT_TRUE(value == 255 || (x >= 56 && x < 64 && y >= 9 && y <= 19)) << x << ", " << y;
    }
  }
  // The rows of an 8: 7c, three c6, 6c, 38, 6c, three c6, 7c.
  EXPECT_EQ(inked, 5 + 3 * 4 + 4 + 3 + 4 + 3 * 4 + 5);
}

TEST(DrawMark, LeavesFramesAloneThatAreTooSmall) {
  for (const auto& [width, height] : {std::pair{199, 23}, {200, 22}, {1, 1}, {0, 0}}) {
    Canvas canvas(width, height, 1, 9);
    DrawMark(canvas.View(), TextOf("88888888", "88888888"));
    EXPECT_THAT(canvas.bytes, Each(9)) << width << " x " << height;
  }
  Canvas least(200, 23, 1, 9);
  DrawMark(least.View(), TextOf("88888888", "88888888"));
  EXPECT_THAT(least.bytes, testing::Contains(180));
}

// The camera's own operation -----------------------------------------------------------------------------------

class AddTimeMark : public testing::Test {
 protected:
  /// The frame that a mark of this time makes of `canvas`.
  static Bytes Marked(Canvas canvas, std::time_t when) {
    std::tm local{};
    ::localtime_r(&when, &local);
    DrawMark(canvas.View(), MarkTextOf(local));
    return canvas.bytes;
  }
  /// Whether the camera prints the time that it is into `canvas`.
  void ExpectMark(Canvas canvas, IMAGE_TYPE type) {
    camera.iHeight = canvas.height;
    std::vector<Bytes> possible;
    const Canvas before = canvas;
    const std::time_t start = std::time(nullptr);
    camera.AddTimeMark(canvas.bytes.data(), canvas.width, type);
    for (std::time_t when = start; when <= std::time(nullptr); ++when) possible.push_back(Marked(before, when));
    EXPECT_THAT(possible, testing::Contains(canvas.bytes));
    EXPECT_NE(canvas.bytes, before.bytes);
  }

  test::BareCamera camera;
};

TEST_F(AddTimeMark, PrintsTheLocalTime) {
  ExpectMark(Canvas(320, 40, 1, 0), IMAGE_ONE_BYTE);
  ExpectMark(Canvas(200, 23, 3, 150), IMAGE_THREE_BYTES);
}

TEST_F(AddTimeMark, FollowsAChangeOfTheTimeZone) {
  const char* old = std::getenv("TZ");
  const std::string zone = old == nullptr ? "" : old;
  for (const char* there : {"UTC-11:17", "UTC+9:43"}) {
    ::setenv("TZ", there, 1);
    ExpectMark(Canvas(200, 23, 1, 0), IMAGE_ONE_BYTE);
  }
  if (old == nullptr)
    ::unsetenv("TZ");
  else
    ::setenv("TZ", zone.c_str(), 1);
  ::tzset();
}

TEST_F(AddTimeMark, LeavesOtherLayoutsUntouched) {
  camera.iHeight = 30;
  Canvas canvas(200, 30, 3, 9);
  for (const int type : {2, 3, -1}) {
    camera.AddTimeMark(canvas.bytes.data(), 200, static_cast<IMAGE_TYPE>(type));
    EXPECT_THAT(canvas.bytes, Each(9)) << type;
  }
}

TEST_F(AddTimeMark, LeavesSmallFramesUntouched) {
  Canvas canvas(200, 30, 1, 9);
  for (const auto& [width, height] : {std::pair{199, 30}, {200, 22}, {0, 30}, {-200, 30}, {200, 0}, {200, -1}}) {
    camera.iHeight = height;
    camera.AddTimeMark(canvas.bytes.data(), width, IMAGE_ONE_BYTE);
    EXPECT_THAT(canvas.bytes, Each(9)) << width << " x " << height;
  }
  camera.iHeight = 30;
  camera.AddTimeMark(nullptr, 200, IMAGE_ONE_BYTE);
}

}  // namespace
}  // namespace orq
