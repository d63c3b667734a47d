#include "session/pictures/PngPreview.h"

#include <png.h>

#include <array>
#include <cstring>
#include <string>

#include "image/frame/Algorithm.h"
#include "session/Failure.h"
#include "session/frame/FrameFacts.h"
#include "session/pictures/Stretch.h"

namespace orq::session {

namespace {

// Reads a frame's samples as 16-bit values whatever its format.
std::uint16_t SampleAt(std::span<const std::uint8_t> bytes, IMG_TYPE format, std::size_t index) {
  if (format != ORQ_IMG_RAW16) {
    return static_cast<std::uint16_t>(bytes[index] * 257U);  // 255 becomes 65535
  }
  std::uint16_t value = 0;
  std::memcpy(&value, bytes.data() + 2 * index, sizeof value);
  return value;
}

// Which of `channels` a sample belongs to: for Bayer frames 0 red, 1 green, 2 blue.
struct ChannelMap {
  std::size_t channels = 1;
  std::array<std::size_t, 4> bayer{};  ///< by 2 * (row & 1) + (column & 1)
  bool interleaved = false;            ///< three bytes per pixel

  explicit ChannelMap(const FrameInfo& info) {
    const std::string_view pattern = BayerText(info);
    interleaved = info.region.format == ORQ_IMG_RGB24;
    if (interleaved || !pattern.empty()) channels = 3;
    for (std::size_t i = 0; i < pattern.size(); ++i) bayer[i] = pattern[i] == 'R' ? 0 : pattern[i] == 'G' ? 1 : 2;
  }
  std::size_t Of(std::size_t row, std::size_t column) const {
    return interleaved ? column % 3 : bayer[2 * (row & 1U) + (column & 1U)];
  }
};

std::vector<std::uint8_t> Stretched(std::span<const std::uint8_t> bytes, const FrameInfo& info) {
  const ChannelMap map(info);
  const IMG_TYPE format = info.region.format;
  const auto rows = static_cast<std::size_t>(info.region.height);
  const std::size_t columns = static_cast<std::size_t>(info.region.width) * (map.interleaved ? 3U : 1U);
  std::vector<Histogram> histograms(map.channels);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      histograms[map.Of(row, column)].Add(SampleAt(bytes, format, row * columns + column));
    }
  }
  const std::vector<StretchTable> tables(histograms.begin(), histograms.end());
  std::vector<std::uint8_t> samples(rows * columns);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      const std::size_t index = row * columns + column;
      samples[index] = tables[map.Of(row, column)][SampleAt(bytes, format, index)];
    }
  }
  return samples;
}

std::vector<std::uint8_t> Demosaiced(const std::vector<std::uint8_t>& bayer, const FrameInfo& info) {
  CAlgorithm algorithm;
  algorithm.RGBYUV_Init();
  algorithm.SetBayer(info.bayerPattern);
  std::vector<std::uint8_t> bgr(bayer.size() * 3);
  algorithm.BayerToRGB24(bayer.data(), info.region.width, info.region.height, bgr.data());
  return bgr;
}

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
  if (png_image_write_to_memory(&image, png.data(), &bytes, 0, samples.data(), 0, nullptr) == 0) {
    throw Failure(Status::File, std::string("cannot make the PNG file: ") + image.message);
  }
  png.resize(bytes);
  return png;
}

}  // namespace

std::vector<std::uint8_t> EncodePreview(std::span<const std::uint8_t> bytes, const FrameInfo& info) {
  const int width = info.region.width;
  const int height = info.region.height;
  if (bytes.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                          static_cast<std::size_t>(BytesPerPixel(info.region.format))) {
    throw Failure(Status::Invalid, "cannot make the picture: the pixels are not those of the region");
  }
  const std::vector<std::uint8_t> samples = Stretched(bytes, info);
  if (info.region.format == ORQ_IMG_RGB24) return Encode(samples, width, height, PNG_FORMAT_BGR);
  if (BayerText(info).empty()) return EncodeGrey(samples, width, height);
  return Encode(Demosaiced(samples, info), width, height, PNG_FORMAT_BGR);
}

std::vector<std::uint8_t> EncodeGrey(const std::vector<std::uint8_t>& samples, int width, int height) {
  return Encode(samples, width, height, PNG_FORMAT_GRAY);
}

}  // namespace orq::session
