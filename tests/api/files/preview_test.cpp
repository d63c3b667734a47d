// Pictures of frames through the C interface, beside the PNG files that it writes.
#include <png.h>

#include "Camera.h"
#include "orqcam/orqcam.hpp"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::Quick;

std::vector<std::uint8_t> ReadPng(const std::string& path, bool colour, int& width, int& height) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << image.message;
  image.format = colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
  EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
  width = static_cast<int>(image.width);
  height = static_cast<int>(image.height);
  return pixels;
}

class ApiPreview : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

TEST_P(ApiPreview, InItsOwnSizeItIsThePictureThatIsSaved) {
  const auto [model, format] = GetParam();
  const TempDirectory folder;
  Camera camera(Quick(model));
  auto corner = sized<orq_region>();
  corner.width = 96;
  corner.height = 64;
  corner.bin = 1;
  corner.format = format;
  camera.region(corner);
  const Frame frame = camera.expose(std::chrono::milliseconds(5));
  frame.save(folder.File("frame.png"));
  const Picture picture = frame.preview();
  EXPECT_EQ(picture.channels, std::string(model) == "k1c" && format != ORQ_FORMAT_Y8 ? 3 : 1);
  int width = 0;
  int height = 0;
  EXPECT_EQ(picture.pixels, ReadPng(folder.File("frame.png"), picture.channels == 3, width, height));
  EXPECT_EQ(picture.width, width);
  EXPECT_EQ(picture.height, height);

  auto small = sized<orq_preview_options>();
  small.max_width = 24;
  const Picture thumb = frame.preview(small);
  EXPECT_EQ(thumb.width, 24);
  EXPECT_EQ(thumb.height, 16);
  EXPECT_EQ(thumb.pixels.size(), std::size_t{24} * 16 * static_cast<std::size_t>(picture.channels));
}

INSTANTIATE_TEST_SUITE_P(Formats, ApiPreview,
                         ::testing::Values(std::tuple("k1c", ORQ_FORMAT_RAW8), std::tuple("k1c", ORQ_FORMAT_RAW16),
                                           std::tuple("k1c", ORQ_FORMAT_RGB24), std::tuple("k1c", ORQ_FORMAT_Y8),
                                           std::tuple("x26m", ORQ_FORMAT_RAW16)));

TEST(ApiPreviews, OptionsAndRoomThatCannotBeAreRefused) {
  Camera camera(Quick("k1c"));
  auto corner = sized<orq_region>();
  corner.width = corner.height = 64;
  corner.bin = 1;
  camera.region(corner);
  const Frame frame = camera.expose(std::chrono::milliseconds(5));
  auto picture = sized<orq_picture>();
  std::vector<std::uint8_t> room(std::size_t{64} * 64 * 3, 7);
  EXPECT_EQ(orq_frame_preview(frame.get(), nullptr, room.data(), room.size() - 1, &picture), ORQ_ERROR_INVALID);
  EXPECT_EQ(picture.width, 0) << "written although it failed";
  EXPECT_EQ(room, std::vector<std::uint8_t>(room.size(), 7)) << "written although it failed";
  constexpr std::uint32_t kSize = sizeof(orq_preview_options);
  const orq_preview_options bad[] = {{kSize, -1, 0, 0}, {kSize, 0, -1, 0}, {kSize, 0, 0, 2}, {kSize, 0, 0, -1}};
  for (const orq_preview_options& options : bad)
    EXPECT_EQ(orq_frame_preview(frame.get(), &options, room.data(), room.size(), &picture), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_frame_preview(frame.get(), nullptr, room.data(), room.size(), &picture), ORQ_OK);
  EXPECT_EQ(picture.channels, 3);
}

}  // namespace
}  // namespace orq
