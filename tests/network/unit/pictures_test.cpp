// Pictures for browsers, of recorded frames whose pixels are known.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <vector>

#include "live/picture/LivePicture.h"
#include "live/picture/PictureRequest.h"
#include "live/picture/Reduce.h"
#include "live/picture/Stretch.h"

namespace orq::network {
namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 120;

using Value = std::function<int(int x, int y)>;

/// A frame of 16 bits as `value` says, through a virtual camera that replays it.
class Replayed {
 public:
  explicit Replayed(const Value& value, const char* bayer = "mono") {
    char name[] = "/tmp/orqcam-pictures-XXXXXX.pgm";
    const int file = mkstemps(name, 4);
    EXPECT_GE(file, 0);
    close(file);
    path_ = name;
    std::ofstream out(path_, std::ios::binary);
    out << "P5 " << kWidth << ' ' << kHeight << " 65535\n";
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const int one = value(x, y);
        out.put(static_cast<char>(one >> 8)).put(static_cast<char>(one & 255));
      }
    }
    out.close();
    camera_.emplace("virtual:replay,timescale=0,file=" + path_ + ",bayer=" + bayer);
  }
  ~Replayed() { std::remove(path_.c_str()); }
  Frame frame(int format = ORQ_FORMAT_RAW16) {
    orq_region region = camera_->region();
    region.format = format;
    camera_->region(region);
    return camera_->expose(std::chrono::milliseconds(1));
  }

 private:
  std::string path_;
  std::optional<Camera> camera_;
};

PictureRequest fit(int width, int height) {
  PictureRequest wish;
  wish.fitWidth = width;
  wish.fitHeight = height;
  return wish;
}

Planes reduced(const Frame& frame, const PictureRequest& wish) {
  Planes planes;
  reduce(frame, wish, planes);
  return planes;
}

TEST(Reduced, IsTheFrameItselfWhereItFits) {
  Replayed replayed([](int x, int y) { return 100 * x + y; });
  const Planes planes = reduced(replayed.frame(), fit(kWidth, kHeight));
  ASSERT_EQ(planes.width, kWidth);
  ASSERT_EQ(planes.height, kHeight);
  ASSERT_EQ(planes.channels, 1);
  for (int y = 0; y < kHeight; y += 7)
    for (int x = 0; x < kWidth; x += 11) EXPECT_EQ(planes.plane(0)[y * kWidth + x], 100 * x + y);
}

TEST(Reduced, AveragesWholeSquares) {
  Replayed replayed([](int x, int y) { return 100 * x + y; });
  const Planes planes = reduced(replayed.frame(), fit(kWidth / 4, kHeight / 4));
  ASSERT_EQ(planes.width, 40);
  ASSERT_EQ(planes.height, 30);
  // Of columns 8 to 11 and rows 12 to 15: 100 * 9.5 + 13.5, rounded.
  EXPECT_NEAR(planes.plane(0)[3 * 40 + 2], 963.5, 0.6);
}

TEST(Reduced, ShowsTheWishedPart) {
  Replayed replayed([](int x, int y) { return 100 * x + y; });
  PictureRequest wish = fit(500, 500);
  wish.x = 30;
  wish.y = 41;
  wish.width = 20;
  wish.height = 10;
  const Planes planes = reduced(replayed.frame(), wish);
  ASSERT_EQ(planes.width, 20);
  ASSERT_EQ(planes.height, 10);
  EXPECT_EQ(planes.plane(0)[0], 3041);
  EXPECT_EQ(planes.plane(0)[9 * 20 + 19], 4950);
}

TEST(Reduced, IsCutWhereTheFrameEnds) {
  Replayed replayed([](int x, int y) { return 100 * x + y; });
  PictureRequest wish = fit(500, 500);
  wish.x = kWidth - 3;
  wish.y = 9999;
  wish.width = 700;
  wish.height = 700;
  const Planes planes = reduced(replayed.frame(), wish);
  EXPECT_EQ(planes.width, 3);
  EXPECT_EQ(planes.height, 1);
  EXPECT_EQ(planes.plane(0)[0], 100 * (kWidth - 3) + kHeight - 1);
}

TEST(Reduced, MakesFullScaleOfEightBits) {
  Replayed replayed([](int x, int) { return x < 80 ? 0 : 65535; });
  const Planes planes = reduced(replayed.frame(ORQ_FORMAT_RAW8), fit(kWidth, kHeight));
  EXPECT_EQ(planes.plane(0)[10], 0);
  EXPECT_EQ(planes.plane(0)[150], 65535);
}

// A mosaic of even light: red, green and blue come out as they went in, at every size and from every corner.
TEST(Reduced, GivesAMosaicItsColours) {
  const struct {
    const char* name;
    int colours[4];  // of a cell, row by row: 0 red, 1 green, 2 blue
  } patterns[] = {{"RGGB", {0, 1, 1, 2}}, {"BGGR", {2, 1, 1, 0}}, {"GRBG", {1, 0, 2, 1}}, {"GBRG", {1, 2, 0, 1}}};
  const int light[] = {10'000, 30'000, 50'000};
  for (const auto& pattern : patterns) {
    Replayed replayed([&](int x, int y) { return light[pattern.colours[2 * (y % 2) + x % 2]]; }, pattern.name);
    const Frame frame = replayed.frame();
    for (const int size : {kWidth, kWidth / 2, kWidth / 4, kWidth / 7}) {
      for (const int corner : {0, 1, 33}) {
        PictureRequest wish = fit(size, size);
        wish.x = wish.y = corner;
        const Planes planes = reduced(frame, wish);
        ASSERT_EQ(planes.channels, 3);
        ASSERT_GE(planes.crop.x, 0);
        ASSERT_LE(planes.crop.x + planes.crop.width, kWidth);
        for (int channel = 0; channel < 3; ++channel) {
          for (std::size_t i = 0; i < planes.pixels(); ++i) {
            ASSERT_EQ(planes.plane(channel)[i], light[channel])
                << pattern.name << " channel " << channel << " at size " << size << " from " << corner;
          }
        }
      }
    }
  }
}

Planes flat(std::vector<std::uint16_t> values) {
  Planes planes;
  planes.width = static_cast<int>(values.size());
  planes.height = 1;
  planes.values = std::move(values);
  return planes;
}

TEST(Stretch, ByHandPutsBlackMiddleAndWhiteWhereTheyAreWished) {
  StretchWish wish{false, 0.2, 0.6, 0.25};
  const Planes planes = flat({0, 13'107, 19'661, 39'321, 65'535});  // 0, 0.2, 0.3, 0.6 and 1 of full scale
  std::vector<std::uint8_t> pixels;
  stretch(planes, stretchOf(planes, wish), pixels);
  EXPECT_EQ(pixels[0], 0);
  EXPECT_EQ(pixels[1], 0);
  EXPECT_NEAR(pixels[2], 128, 1) << "a quarter of the way from black to white";
  EXPECT_EQ(pixels[3], 255);
  EXPECT_EQ(pixels[4], 255);
}

TEST(Stretch, ByItselfBringsTheSkyToAQuarter) {
  std::vector<std::uint16_t> values(10'001);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<std::uint16_t>(1000 + i % 101);  // median 1050
  values.push_back(1050);
  const Planes planes = flat(values);
  std::vector<std::uint8_t> pixels;
  stretch(planes, stretchOf(planes, {}), pixels);
  EXPECT_NEAR(pixels.back(), 64, 2);
}

TEST(Stretch, ByItselfLeavesABrightFrameBright) {
  const Planes planes = flat(std::vector<std::uint16_t>(5000, 60'000));
  std::vector<std::uint8_t> pixels;
  stretch(planes, stretchOf(planes, {}), pixels);
  EXPECT_LE(pixels[0], 255);
  const std::vector<StretchPoints> points = stretchOf(planes, {});
  EXPECT_LE(points[0].mid, 0.5);
}

TEST(Picture, IsAJpegOfTheWishedSize) {
  Replayed replayed([](int x, int) { return 300 * x; }, "RGGB");
  PictureMaker maker;
  const LivePicture picture = maker.make(replayed.frame(), fit(kWidth / 2, kHeight / 2));
  EXPECT_EQ(picture.width, kWidth / 2);
  EXPECT_EQ(picture.height, kHeight / 2);
  EXPECT_EQ(picture.stretch.size(), 3U);
  ASSERT_GT(picture.jpeg.size(), 100U);
  EXPECT_EQ(picture.jpeg[0], 0xFF);
  EXPECT_EQ(picture.jpeg[1], 0xD8);
}

PictureRequest asked(const char* query) {
  return pictureRequestOf(*Parameters::parse(query));
}

TEST(Request, IsReadFromAQuery) {
  const PictureRequest wish =
      asked("width=640&height=480&x=10&y=20&w=30&h=40&quality=50&black=0.1&white=0.9&mid=0.2");
  EXPECT_EQ(wish.fitWidth, 640);
  EXPECT_EQ(wish.fitHeight, 480);
  EXPECT_EQ(wish.x, 10);
  EXPECT_EQ(wish.height, 40);
  EXPECT_EQ(wish.quality, 50);
  EXPECT_EQ(wish.stretch, (StretchWish{false, 0.1, 0.9, 0.2}));
  EXPECT_EQ(asked(""), PictureRequest());
}

TEST(Request, ThatMakesNoSenseIsRefused) {
  for (const char* query : {"width=0", "width=1e9", "height=x", "x=-1", "quality=100", "black=2", "mid=nan",
                            "white=", "black=0.5&white=0.5", "w=99999999999"})
    EXPECT_THROW(asked(query), InvalidError) << query;
}

}  // namespace
}  // namespace orq::network
