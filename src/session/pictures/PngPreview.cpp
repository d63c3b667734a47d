#include "session/pictures/PngPreview.h"

#include <png.h>

#include <string>

#include "session/Failure.h"
#include "session/pictures/Picture.h"

namespace orq::session {

namespace {

std::vector<std::uint8_t> Encode(const std::vector<std::uint8_t>& samples, int width, int height,
                                 png_uint_32 format) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = format;
  image.flags = PNG_IMAGE_FLAG_FAST;
  std::vector<std::uint8_t> png(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t bytes = png.size();
  if (png_image_write_to_memory(&image, png.data(), &bytes, 0, samples.data(), 0, nullptr) == 0)
    throw Failure(Status::File, std::string("cannot make the PNG file: ") + image.message);
  png.resize(bytes);
  return png;
}

}  // namespace

std::vector<std::uint8_t> EncodePreview(std::span<const std::uint8_t> bytes, const FrameInfo& info) {
  const Picture picture = MakePicture(bytes, info, {});
  return Encode(picture.samples, picture.width, picture.height,
                picture.channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB);
}

std::vector<std::uint8_t> EncodeGrey(const std::vector<std::uint8_t>& samples, int width, int height) {
  return Encode(samples, width, height, PNG_FORMAT_GRAY);
}

}  // namespace orq::session
