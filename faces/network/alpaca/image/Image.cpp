#include "alpaca/image/Image.h"

#include <algorithm>
#include <cstring>

namespace orq::network::alpaca {
namespace {

/// A frame of single pixels, as places on the sensor find their samples in it.
struct Pixels {
  const std::uint8_t* bytes;
  orq_frame_info info;

  int endX() const { return info.start_x + info.width; }
  int endY() const { return info.start_y + info.height; }
  unsigned at(int x, int y) const {
    const int column = (info.flips & ORQ_FLIP_HORIZONTAL) != 0 ? endX() - 1 - x : x - info.start_x;
    const int row = (info.flips & ORQ_FLIP_VERTICAL) != 0 ? endY() - 1 - y : y - info.start_y;
    const std::size_t index =
        static_cast<std::size_t>(row) * static_cast<std::size_t>(info.width) + static_cast<std::size_t>(column);
    return info.bytes_per_pixel == 1 ? bytes[index] : reinterpret_cast<const std::uint16_t*>(bytes)[index];
  }
};

// Where the pixels of one binned pixel begin on the sensor, and how far apart they are: those of one colour are
// two apart, and the colours take turns among the binned ones, too.
struct Block {
  int first;
  int step;
};

Block blockOf(int binned, int bin, bool colour) {
  return colour ? Block{binned / 2 * 2 * bin + binned % 2, 2} : Block{binned * bin, 1};
}

// Sixteen-bit samples are averaged, those of eight bits summed, as the library bins. At the sensor's end a block
// may lack some of its pixels: its mean is that of the others.
unsigned binned(const Pixels& pixels, Block x, Block y, int bin) {
  unsigned sum = 0;
  unsigned count = 0;
  for (int j = 0; j < bin; ++j) {
    for (int i = 0; i < bin; ++i) {
      const int column = x.first + i * x.step;
      const int row = y.first + j * y.step;
      if (column >= pixels.endX() || row >= pixels.endY()) continue;
      sum += pixels.at(column, row);
      ++count;
    }
  }
  count = std::max(count, 1U);  // a block begins on the sensor
  const auto whole = static_cast<unsigned>(bin * bin);
  if (pixels.info.bytes_per_pixel == 1) return std::min(sum * whole / count, 255U);
  return (sum + count / 2) / count;
}

void cut(const Frame& frame, const Subframe& inside, Image& image) {
  const orq_frame_info info = frame.info();
  const auto sample = static_cast<std::size_t>(info.bytes_per_pixel);
  const std::size_t frameRow = static_cast<std::size_t>(info.width) * sample;
  const std::uint8_t* from = frame.data() + static_cast<std::size_t>(inside.startY) * frameRow +
                             static_cast<std::size_t>(inside.startX) * sample;
  for (std::size_t at = 0; at < image.rows.size(); at += image.rowBytes(), from += frameRow)
    std::memcpy(image.rows.data() + at, from, image.rowBytes());
}

void bin(const Pixels& pixels, const Reading& reading, const Optics& optics, Image& image) {
  const bool flipX = (pixels.info.flips & ORQ_FLIP_HORIZONTAL) != 0;
  const bool flipY = (pixels.info.flips & ORQ_FLIP_VERTICAL) != 0;
  std::uint8_t* to = image.rows.data();
  for (int y = 0; y < image.height; ++y) {
    const int row = reading.inside.startY + (flipY ? image.height - 1 - y : y);
    const Block rows = blockOf(row, reading.computerBin, optics.colour);
    for (int x = 0; x < image.width; ++x, to += image.sampleBytes) {
      const int column = reading.inside.startX + (flipX ? image.width - 1 - x : x);
      const Block columns = blockOf(column, reading.computerBin, optics.colour);
      const auto value = static_cast<std::uint16_t>(binned(pixels, columns, rows, reading.computerBin));
      if (image.sampleBytes == 2)
        std::memcpy(to, &value, sizeof value);
      else
        *to = static_cast<std::uint8_t>(value);
    }
  }
}

}  // namespace

Image imageOf(const Frame& frame, const Reading& reading, const Optics& optics) {
  const orq_frame_info info = frame.info();
  if (info.width != reading.region.width || info.height != reading.region.height ||
      info.bin != reading.region.bin || info.format != reading.region.format)
    throw StateError("the camera's region was changed during the exposure; take it again");
  Image image;
  image.width = reading.inside.width;
  image.height = reading.inside.height;
  image.sampleBytes = info.bytes_per_pixel;
  image.exposureUs = info.exposure_us;
  image.startUnixNs = info.time_unix_ns;
  image.rows.resize(image.rowBytes() * static_cast<std::size_t>(image.height));
  if (reading.computerBin == 1)
    cut(frame, reading.inside, image);
  else
    bin(Pixels{frame.data(), info}, reading, optics, image);
  return image;
}

}  // namespace orq::network::alpaca
